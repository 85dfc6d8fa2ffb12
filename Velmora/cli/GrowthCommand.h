#pragma once
// `velmora growth`: what grew between two kept scan snapshots, by category, by folder and by
// the largest items; `velmora snapshots`: the kept snapshots, oldest first. Both only read
// (a damaged store is set aside, as every reader does). Exit status 0, also when there is
// nothing to compare yet (the output says why); 1 when the snapshots cannot be read at all.
// People read them in the run's language; the JSON is the same in every language.
#include <optional>
#include <string>

#include "CleanerCore/scanning/StorageProfiles.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::cli {

struct GrowthCommandOptions {
    std::optional<std::string> homeOverride;
    std::optional<AppLanguage> runLanguage;
    Catalogue catalogue = hostCatalogue();
    std::optional<int> sinceDays;  ///< compare with the scan this many days ago
    bool json = false;
};
int runGrowthCommand(const GrowthCommandOptions& options);

struct SnapshotsCommandOptions {
    std::optional<std::string> homeOverride;
    std::optional<AppLanguage> runLanguage;
    bool json = false;
};
int runSnapshotsCommand(const SnapshotsCommandOptions& options);

}  // namespace velmora::cli
