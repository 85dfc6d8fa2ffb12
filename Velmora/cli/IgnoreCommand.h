#pragma once
// `velmora ignore` and `velmora unignore`: the person's ignore list. Ignoring scans as
// `velmora scan` would and ignores the candidates named by id or path for a day, a week or until
// they are shown again; `ignore --list` shows the active items; `unignore` shows items again.
// `velmora scan` hides the ignored candidates and `clean --defaults` never selects one; naming
// one to `clean` still cleans it.
//
// Exit status: 0 done; 1 the list could not be written, or some named item was unknown while
// others were handled; 2 wrong arguments, or every named item was unknown (nothing changed);
// 130 the scan was cancelled (nothing changed).
#include <cstddef>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "CleanerCore/workflows/ScanSetup.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::cli {

struct IgnoreCommandOptions {
    ScanRequest request;
    std::optional<AppLanguage> runLanguage;
    /// The language of the scan's messages (the run's, resolved while the request was made).
    AppLanguage language = AppLanguage::english;
    std::vector<std::string> items;  ///< ids or paths (relative to the working folder)
    std::string duration = "ever";   ///< day, week or ever
    bool list = false;
    bool json = false;
    bool quiet = false;
};
int runIgnoreCommand(const IgnoreCommandOptions& options);

struct UnignoreCommandOptions {
    std::optional<std::string> homeOverride;
    std::optional<AppLanguage> runLanguage;
    std::vector<std::string> items;  ///< ids or paths of ignored items
    bool all = false;
    bool json = false;
};
int runUnignoreCommand(const UnignoreCommandOptions& options);

/// The ids the ignore list hides now, and the language of the run. A list that could not be
/// read (it was set aside) or whose expired items could not be dropped is said on standard error.
struct ActiveIgnoreList {
    std::unordered_set<std::string> ids;
    AppLanguage language = AppLanguage::english;
};
ActiveIgnoreList loadActiveIgnoreList(const std::optional<std::string>& homeOverride,
                                      std::optional<AppLanguage> runLanguage);

/// The sentence that says `hidden` ignored candidates are not shown; nothing when none is.
std::optional<std::string> ignoredHiddenSentence(size_t hidden, AppLanguage language);
/// The sentence that says `leftOut` ignored candidates were kept out of `--defaults`; nothing
/// when none was.
std::optional<std::string> ignoredLeftOutSentence(size_t leftOut, AppLanguage language);

}  // namespace velmora::cli
