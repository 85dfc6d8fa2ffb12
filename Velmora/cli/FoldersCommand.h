#pragma once
// `velmora folders`: the folders a person keeps in every cleanup scan (as `--folder` adds one
// for a single run). `list` (the default) shows each with whether the next scan can use it,
// `add DIR` keeps one, `remove ID` drops one.
// Exit status: 0 done, 1 the preference could not be written, 2 a refused folder, an unknown
// id or a wrong action.
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/workflows/ScanSetup.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::cli {

struct FoldersCommandOptions {
    std::optional<std::string> homeOverride;
    std::optional<AppLanguage> runLanguage;
    Catalogue catalogue = Catalogue::linux;
    std::vector<std::string> words;  ///< the action and its argument
    bool json = false;
};

int runFoldersCommand(const FoldersCommandOptions& options);

/// Adds the kept folders the scan can use to `request` (those it cannot, with their reasons,
/// as unavailable folders the report lists), skipping any the request already names. Returns
/// the language of the run (`runLanguage`, else the kept or the system's), read from the same
/// preferences.
AppLanguage addKeptFolders(ScanRequest& request, std::optional<AppLanguage> runLanguage);

}  // namespace velmora::cli
