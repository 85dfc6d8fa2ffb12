#include "CleanerCore/workflows/CleanupSelection.h"

#include "CleanerCore/scanning/ModelJson.h"

namespace velmora {

std::variant<std::vector<size_t>, CandidateSelectionRefusal> selectCandidates(
    const ScanReport& report, const CandidateSelectionRequest& request) {
    using Kind = CandidateSelectionRefusal::Kind;
    const auto& candidates = report.candidates;
    std::vector<bool> chosen(candidates.size(), false);
    for (size_t i = 0; i < candidates.size(); ++i) {
        chosen[i] = request.defaults && candidates[i].isSelectedByDefault &&
                    !(request.withheldFromDefaults && request.withheldFromDefaults(candidates[i]));
    }
    for (const auto& path : request.paths) {
        bool found = false;
        for (size_t i = 0; i < candidates.size(); ++i) {
            if (candidates[i].url.path == path) chosen[i] = found = true;
        }
        if (!found) return CandidateSelectionRefusal{Kind::unknownPath, path};
    }
    for (const auto& id : request.ids) {
        std::vector<size_t> exact, rendered;
        for (size_t i = 0; i < candidates.size(); ++i) {
            const std::string candidateId = candidates[i].id();
            if (candidateId == id) exact.push_back(i);
            if (validUTF8(candidateId) == id) rendered.push_back(i);
        }
        const auto& matches = exact.empty() ? rendered : exact;
        if (matches.empty()) return CandidateSelectionRefusal{Kind::unknownID, id};
        if (matches.size() > 1) return CandidateSelectionRefusal{Kind::ambiguousID, id};
        chosen[matches[0]] = true;
    }
    std::vector<size_t> selection;
    for (size_t i = 0; i < candidates.size(); ++i) {
        if (chosen[i]) selection.push_back(i);
    }
    return selection;
}

std::vector<CleanupCandidate> takeSelection(ScanReport& report,
                                            const std::vector<size_t>& indices) {
    // In place: the selected candidates close up at the front of the report's own list, so a
    // scan of a million candidates is not held twice.
    auto& candidates = report.candidates;
    size_t kept = 0;
    for (size_t i : indices) {
        if (i != kept) candidates[kept] = std::move(candidates[i]);
        ++kept;
    }
    candidates.erase(candidates.begin() + static_cast<std::ptrdiff_t>(kept), candidates.end());
    std::vector<CleanupCandidate> selection = std::move(candidates);
    report = ScanReport{};
    return selection;
}

}  // namespace velmora
