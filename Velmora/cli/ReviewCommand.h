#pragma once
// `velmora review`: the review loop. With no action (or `status`) it says when the next review
// is due, with the cadence and the selected profile; `cadence off|weekly|monthly` and
// `profile ID` change them; `done` records a review completed now.
// Exit status: 0 done, 1 the preference could not be written, 2 an unknown action or value.
#include <optional>
#include <string>
#include <vector>

#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::cli {

struct ReviewCommandOptions {
    std::optional<std::string> homeOverride;
    std::optional<AppLanguage> runLanguage;
    std::vector<std::string> words;  ///< the action and its value
    bool json = false;
};

int runReviewCommand(const ReviewCommandOptions& options);

}  // namespace velmora::cli
