#pragma once
// `velmora history`: the cleanup history, newest first; `--verify` checks its digest chain.
// Exit status: 0, or 1 when `--verify` finds the chain broken. People read it in the run's
// language; the JSON is the same in every language.
#include <optional>
#include <string>

#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::cli {

struct HistoryCommandOptions {
    std::optional<std::string> homeOverride;
    std::optional<AppLanguage> runLanguage;  ///< the global --language, for the human output
    bool json = false;
    bool verify = false;
};
int runHistoryCommand(const HistoryCommandOptions& options);

}  // namespace velmora::cli
