#include "Velmora/cli/HistoryCommand.h"

#include <iostream>

#include "CleanerCore/audit/CleanupAuditChain.h"
#include "CleanerCore/audit/CleanupAuditJson.h"
#include "CleanerCore/audit/CleanupAuditStore.h"
#include "CleanerCore/platform/Environment.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "Velmora/cli/CleanOutput.h"

namespace velmora::cli {

namespace {

std::string_view rawValue(CleanupAuditChainStatus status) {
    switch (status) {
        case CleanupAuditChainStatus::intact:
            return "intact";
        case CleanupAuditChainStatus::unverifiable:
            return "unverifiable";
        case CleanupAuditChainStatus::broken:
            break;
    }
    return "broken";
}

}  // namespace

int runHistoryCommand(const HistoryCommandOptions& options) {
    const UserEnvironment environment = currentUserEnvironment(options.homeOverride);
    CleanupAuditStore store(CleanupAuditStore::defaultFilePath(environment));
    const auto entries = store.recentEntries();

    if (options.verify) {
        const CleanupAuditChainReport report = verifyChain(entries);
        if (options.json) {
            nlohmann::json j{{"status", rawValue(report.status)},
                             {"verifiedEntryCount", report.verifiedEntryCount},
                             {"unverifiableEntryCount", report.unverifiableEntryCount},
                             {"message", integritySentence(report)}};
            if (report.firstBrokenEntryID) j["firstBrokenEntryID"] = *report.firstBrokenEntryID;
            std::cout << j.dump(2) << "\n";
        } else {
            std::cout << integritySentence(report) << "\n";
        }
        return report.status == CleanupAuditChainStatus::broken ? 1 : 0;
    }
    if (options.json) {
        std::cout << dumpJSON(nlohmann::json(entries), true) << "\n";
    } else {
        std::cout << std::string(kCleanupHistoryExplanation) << "\n\n";
        printHistory(std::cout, entries, environment.home);
    }
    return 0;
}

}  // namespace velmora::cli
