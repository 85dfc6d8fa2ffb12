#include "Velmora/cli/HistoryCommand.h"

#include <iostream>

#include "CleanerCore/audit/CleanupAuditChain.h"
#include "CleanerCore/audit/CleanupAuditJson.h"
#include "CleanerCore/audit/CleanupAuditMarkers.h"
#include "CleanerCore/audit/CleanupAuditStore.h"
#include "CleanerCore/platform/Environment.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "Velmora/cli/CleanOutput.h"
#include "Velmora/cli/CommandPreferences.h"
#include "Velmora/cli/ExitStatus.h"
#include "VelmoraUI/dashboard/CoreTexts.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/dashboard/HistoryTexts.h"

namespace velmora::cli {

namespace {

// Whether `head` (the newest entry the last append wrote) is still in the history unchanged.
bool holdsHead(const std::vector<CleanupAuditEntry>& entries, const CleanupAuditHead& head) {
    for (const auto& e : entries) {
        if (e.id == head.entryID)
            return e.chainLink && e.chainLink->entryDigest == head.entryDigest;
    }
    return false;
}

std::string unreadableSentence(const CleanupAuditReadResult& read, AppLanguage language) {
    std::optional<std::string> backup;
    if (read.backupPath) backup = printable(*read.backupPath);
    return unreadableHistorySentence(*read.damage, backup, read.entries.size(), language);
}

// The JSON's "message" is the English sentence whatever the language, so the document never
// changes with it; people read the sentence in `language`.
int verifyHistory(const CleanupAuditStore& store, bool json, AppLanguage language) {
    const CleanupAuditReadResult read = store.readRecentEntries();
    if (read.damage) {
        const std::string message = unreadableSentence(read, AppLanguage::english);
        if (json) {
            nlohmann::json j{
                {"status", "unreadable"}, {"damage", *read.damage}, {"message", message}};
            if (read.backupPath) j["backupPath"] = validUTF8(*read.backupPath);
            std::cout << j.dump(2) << "\n";
        } else {
            std::cout << unreadableSentence(read, language) << "\n";
        }
        return kExitFailures;
    }
    const auto& entries = read.entries;
    CleanupAuditChainReport report = verifyChain(entries);
    auto sentence = [&](AppLanguage in) {
        std::string s = presentedIntegritySentence(report, in);
        if (report.firstBrokenEntryID)
            s += " " + chainBreakSentence(*report.firstBrokenEntryID, in);
        return s;
    };
    // The chain cannot show that its newest entries were removed: compare with the head
    // recorded beside the history.
    const auto head = readCleanupAuditHead(store.filePath());
    std::optional<std::string> missingNewest;
    if (head && !holdsHead(entries, *head)) {
        missingNewest = head->entryID;
        report.status = CleanupAuditChainStatus::broken;
    } else if (report.status != CleanupAuditChainStatus::broken && !entries.empty() &&
               entries.front().chainLink) {
        // A history without a recorded head (written before heads were kept) gets one now.
        (void)writeCleanupAuditHead(store.filePath(),
                                    {entries.front().id, entries.front().chainLink->entryDigest});
    }
    const auto message = [&](AppLanguage in) {
        return missingNewest ? missingNewestEntrySentence(*missingNewest, in) : sentence(in);
    };
    if (json) {
        nlohmann::json j{{"status", rawValue(report.status)},
                         {"verifiedEntryCount", report.verifiedEntryCount},
                         {"unverifiableEntryCount", report.unverifiableEntryCount},
                         {"message", message(AppLanguage::english)}};
        if (report.firstBrokenEntryID) j["firstBrokenEntryID"] = *report.firstBrokenEntryID;
        if (missingNewest) j["missingNewestEntryID"] = *missingNewest;
        std::cout << j.dump(2) << "\n";
    } else {
        std::cout << message(language) << "\n";
    }
    return report.status == CleanupAuditChainStatus::broken ? kExitFailures : kExitDone;
}

// The history, newest first: one block per entry.
void printEntries(std::ostream& out, const std::vector<CleanupAuditEntry>& entries,
                  const std::string& home, AppLanguage language) {
    if (entries.empty()) {
        out << emptyHistorySentence(language) << "\n";
        return;
    }
    for (const auto& e : entries) {
        out << formatLocalTime(e.occurredAt) << "  " << historyOperationTitle(e, language) << "\n";
        if (auto source = historySourceSentence(e.source, language)) out << "  " << *source << "\n";
        out << "  " << historyEntrySummary(e, language) << "\n";
        for (const auto& p : e.samplePaths)
            out << "    " << printable(displayPath(p, home)) << "\n";
        for (const auto& r : e.failureReasons)
            out << "    ! " << printable(presentedReason(r, language)) << "\n";
        out << "  id " << e.id << "\n\n";
    }
}

}  // namespace

int runHistoryCommand(const HistoryCommandOptions& options) {
    const UserEnvironment environment = currentUserEnvironment(options.homeOverride);
    CleanupAuditStore store(CleanupAuditStore::defaultFilePath(environment));
    const AppLanguage language =
        options.json ? AppLanguage::english
                     : openCommandPreferences(options.homeOverride, options.runLanguage).language;
    if (options.verify) return verifyHistory(store, options.json, language);

    const auto entries = store.recentEntries();
    if (options.json) {
        std::cout << dumpJSON(nlohmann::json(entries), true) << "\n";
    } else {
        std::cout << historyExplanation(language) << "\n\n";
        printEntries(std::cout, entries, environment.home, language);
    }
    return kExitDone;
}

}  // namespace velmora::cli
