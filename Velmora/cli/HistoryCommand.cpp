#include "Velmora/cli/HistoryCommand.h"

#include <fmt/format.h>

#include <iostream>

#include "CleanerCore/audit/CleanupAuditChain.h"
#include "CleanerCore/audit/CleanupAuditJson.h"
#include "CleanerCore/audit/CleanupAuditMarkers.h"
#include "CleanerCore/audit/CleanupAuditStore.h"
#include "CleanerCore/platform/Environment.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "Velmora/cli/CleanOutput.h"
#include "Velmora/cli/ExitStatus.h"
#include "VelmoraUI/dashboard/Formatting.h"

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

// Why the file could not be checked, for the sentence that says so.
std::string damageText(const std::string& damage) {
    if (damage == "oversized") return "it is larger than 1 MiB";
    if (damage == "unreadable") return "it is not a regular file that can be read";
    if (damage == "undecodable") return "it is damaged and does not hold a valid history";
    return "the system could not open it just now";
}

std::string unreadableSentence(const CleanupAuditReadResult& read) {
    std::string s = "Record integrity: the history file could not be read (" +
                    damageText(*read.damage) + "), so nothing was checked.";
    if (read.backupPath) {
        s += " It was moved aside to " + printable(*read.backupPath);
        if (!read.entries.empty()) {
            s += fmt::format(", and the {} entries that could still be read were kept",
                             read.entries.size());
        }
        s += "; the history starts again from there.";
    } else if (*read.damage != "unavailable") {
        s += " It could not be moved aside either, so it was left as it is.";
    } else {
        s += " Try again.";
    }
    return s;
}

// Whether `head` (the newest entry the last append wrote) is still in the history unchanged.
bool holdsHead(const std::vector<CleanupAuditEntry>& entries, const CleanupAuditHead& head) {
    for (const auto& e : entries) {
        if (e.id == head.entryID)
            return e.chainLink && e.chainLink->entryDigest == head.entryDigest;
    }
    return false;
}

int verifyHistory(const CleanupAuditStore& store, bool json) {
    const CleanupAuditReadResult read = store.readRecentEntries();
    if (read.damage) {
        const std::string message = unreadableSentence(read);
        if (json) {
            nlohmann::json j{
                {"status", "unreadable"}, {"damage", *read.damage}, {"message", message}};
            if (read.backupPath) j["backupPath"] = validUTF8(*read.backupPath);
            std::cout << j.dump(2) << "\n";
        } else {
            std::cout << message << "\n";
        }
        return kExitFailures;
    }
    const auto& entries = read.entries;
    CleanupAuditChainReport report = verifyChain(entries);
    std::string message = integritySentence(report);
    if (report.firstBrokenEntryID) {
        message += " The chain breaks at entry " + *report.firstBrokenEntryID + ".";
    }
    // The chain cannot show that its newest entries were removed: compare with the head
    // recorded beside the history.
    const auto head = readCleanupAuditHead(store.filePath());
    std::optional<std::string> missingNewest;
    if (head && !holdsHead(entries, *head)) {
        missingNewest = head->entryID;
        report.status = CleanupAuditChainStatus::broken;
        message = "Record integrity: the newest entry that was recorded (" + head->entryID +
                  ") is missing or changed, so entries were removed from the newest end of this "
                  "log or the file was replaced. This log no longer matches what was written.";
    } else if (report.status != CleanupAuditChainStatus::broken && !entries.empty() &&
               entries.front().chainLink) {
        // A history without a recorded head (written before heads were kept) gets one now.
        (void)writeCleanupAuditHead(store.filePath(),
                                    {entries.front().id, entries.front().chainLink->entryDigest});
    }
    if (json) {
        nlohmann::json j{{"status", rawValue(report.status)},
                         {"verifiedEntryCount", report.verifiedEntryCount},
                         {"unverifiableEntryCount", report.unverifiableEntryCount},
                         {"message", message}};
        if (report.firstBrokenEntryID) j["firstBrokenEntryID"] = *report.firstBrokenEntryID;
        if (missingNewest) j["missingNewestEntryID"] = *missingNewest;
        std::cout << j.dump(2) << "\n";
    } else {
        std::cout << message << "\n";
    }
    return report.status == CleanupAuditChainStatus::broken ? kExitFailures : kExitDone;
}

}  // namespace

int runHistoryCommand(const HistoryCommandOptions& options) {
    const UserEnvironment environment = currentUserEnvironment(options.homeOverride);
    CleanupAuditStore store(CleanupAuditStore::defaultFilePath(environment));
    if (options.verify) return verifyHistory(store, options.json);

    const auto entries = store.recentEntries();
    if (options.json) {
        std::cout << dumpJSON(nlohmann::json(entries), true) << "\n";
    } else {
        std::cout << std::string(kCleanupHistoryExplanation) << "\n\n";
        printHistory(std::cout, entries, environment.home);
    }
    return kExitDone;
}

}  // namespace velmora::cli
