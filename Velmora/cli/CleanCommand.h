#pragma once
// `velmora clean` and `velmora restore`: the only commands that change anything. Both show what
// they are about to do, ask (or require --yes without a terminal), act item by item through the
// cleaning or restore service, record the run in the cleanup history and print every result.
//
// Exit status: 0 every item done (or nothing selected); 1 some item failed; 2 usage error or
// refused input, nothing changed; 130 cancelled with Ctrl-C (what was done stays done and is
// recorded).
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/workflows/ScanSetup.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::cli {

struct CleanCommandOptions {
    ScanRequest request;
    /// `--defaults` never selects a candidate on the person's ignore list. A review profile
    /// that does not keep the ignore rules turns this off.
    bool respectsIgnoreList = true;
    std::vector<std::string> paths;  ///< as typed (relative to the working folder)
    std::vector<std::string> ids;
    bool defaults = false;
    std::optional<std::string> reportFile;
    bool deletePermanently = false;
    bool yes = false;
    bool json = false;
    /// Only the results: no progress, and no list of the selection unless a question needs it.
    bool quiet = false;
    /// The language of the human output and of the messages on standard error.
    AppLanguage language = AppLanguage::english;
};
int runCleanCommand(const CleanCommandOptions& options);

struct RestoreCommandOptions {
    ScanRequest request;
    bool last = false;
    std::optional<std::string> entryID;
    std::vector<std::string> paths;  ///< restrict to these items of the entry
    bool yes = false;
    bool json = false;
    AppLanguage language = AppLanguage::english;
};
int runRestoreCommand(const RestoreCommandOptions& options);

/// An absolute, standardized path for a path typed on the command line.
std::string absolutePathFromArgument(const std::string& argument);

}  // namespace velmora::cli
