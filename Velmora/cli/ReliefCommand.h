#pragma once
// `velmora relief`: the running applications of this user ranked by CPU and by memory, each
// with its id and whether it may be asked to quit (and why not). `velmora relief quit ID...`
// asks the named applications to quit after confirmation: an ordinary request (SIGTERM) that
// an application may answer by asking to save work, never a forced end.
//
// Exit status: 0 listed, or every request sent (or the person declined); 1 some request was not
// sent; 2 an unknown id, no capability (sandbox), or no terminal to confirm without --yes.
#include <optional>
#include <string>
#include <vector>

#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::cli {

struct ReliefCommandOptions {
    std::optional<std::string> homeOverride;
    std::optional<AppLanguage> runLanguage;  ///< the global --language, for the human output
    bool json = false;
    bool quit = false;             ///< `relief quit`
    std::vector<std::string> ids;  ///< candidate ids to ask
    bool yes = false;
};
int runReliefCommand(const ReliefCommandOptions& options);

}  // namespace velmora::cli
