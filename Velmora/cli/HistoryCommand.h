#pragma once
// `velmora history`: the cleanup history, newest first; `--verify` checks its digest chain.
// Exit status: 0, or 1 when `--verify` finds the chain broken.
#include <optional>
#include <string>

namespace velmora::cli {

struct HistoryCommandOptions {
    std::optional<std::string> homeOverride;
    bool json = false;
    bool verify = false;
};
int runHistoryCommand(const HistoryCommandOptions& options);

}  // namespace velmora::cli
