#pragma once
// Which candidates of a scan report a cleanup acts on: those selected by default (when asked),
// every candidate at one of the given paths, and the candidate of each given id. Pure;
// thread-safe.
#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

struct CandidateSelectionRequest {
    bool defaults = false;           ///< the candidates the scan selects by default
    std::vector<std::string> paths;  ///< absolute, standardized
    std::vector<std::string> ids;
    /// Candidates the defaults never select (the person's ignore list); naming one by path or
    /// id still selects it, because the person asked for it. Unset: none is withheld.
    std::function<bool(const CleanupCandidate&)> withheldFromDefaults;
};

/// Why a selection was refused; nothing may be cleaned then. `text` is the path or id as given.
struct CandidateSelectionRefusal {
    enum class Kind {
        unknownPath,  ///< no candidate lies at the path
        unknownID,    ///< no candidate has the id
        ambiguousID,  ///< the id, rendered as text, names several candidates (non-UTF-8 names)
    };
    Kind kind = Kind::unknownPath;
    std::string text;
};

/// The indices of the selected candidates in report order, or the first refusal. An id copied
/// from JSON output names a non-UTF-8 path with U+FFFD in place of the bytes that are not text;
/// it selects the one candidate whose id renders so, never several.
std::variant<std::vector<size_t>, CandidateSelectionRefusal> selectCandidates(
    const ScanReport& report, const CandidateSelectionRequest& request);

/// Moves the candidates at `indices` out of `report` and releases the rest of it, so that a
/// scan of a million candidates is not held twice.
std::vector<CleanupCandidate> takeSelection(ScanReport& report, const std::vector<size_t>& indices);

}  // namespace velmora
