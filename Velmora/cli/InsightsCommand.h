#pragma once
// `velmora insights`: the read-only storage insight scan of the home folder, printed as a
// summary for people, as the MacStorageInsightReport JSON (`--json`), or as the list of
// DuplicateKeeperRecommendation records (`--keepers --json`; `--keepers` alone prints the
// keepers as text). Runs on the calling (main) thread; Ctrl-C cancels the scan. On a terminal,
// a progress line on standard error follows the walk and the duplicate check. When a visit
// limit or a duplicate budget kept something from being seen or compared, the output names the
// option that raises it (on standard error with `--json`).
#include <optional>

#include "CleanerCore/workflows/InsightRun.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::cli {

struct InsightsCommandOptions {
    InsightRunRequest request;  ///< the home folder, catalogue and configuration overrides
    bool json = false;
    bool keepers = false;
    bool quiet = false;  ///< no progress line (it is shown only on a terminal anyway)
    /// The global --language: the language of everything but the JSON.
    std::optional<AppLanguage> runLanguage;
};

/// Exit status: 0 done, 130 cancelled (what was found is still printed).
int runInsightsCommand(const InsightsCommandOptions& options);

}  // namespace velmora::cli
