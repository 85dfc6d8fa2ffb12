#include "Velmora/cli/InsightsCommand.h"

#include <algorithm>
#include <iostream>

#include "CleanerCore/insights/InsightJson.h"
#include "CleanerCore/insights/MacStorageInsightReportJson.h"
#include "CleanerCore/insights/MacStorageInsightScanner.h"
#include "CleanerCore/platform/Environment.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "Velmora/cli/ExitStatus.h"
#include "Velmora/cli/Interrupt.h"
#include "Velmora/cli/ProgressBar.h"
#include "VelmoraUI/dashboard/Formatting.h"

namespace velmora::cli {

namespace {

constexpr int kBarWidth = 24;
constexpr size_t kListedFindings = 10;

std::string bar(int64_t size, int64_t largest) {
    const int filled =
        largest > 0
            ? static_cast<int>(static_cast<double>(size) / static_cast<double>(largest) * kBarWidth)
            : 0;
    return std::string(static_cast<size_t>(filled), '#') +
           std::string(static_cast<size_t>(kBarWidth - filled), '.');
}

void printFindings(std::ostream& out, const char* title, const std::vector<FileInsight>& list,
                   const std::string& home, bool withDetail) {
    out << "\n" << title << " (" << list.size() << ")\n";
    if (list.empty()) out << "  none\n";
    for (size_t i = 0; i < list.size() && i < kListedFindings; ++i) {
        const auto& f = list[i];
        out << "  " << formatBytes(f.sizeBytes) << "  " << printable(displayPath(f.url.path, home));
        if (withDetail) out << "  (" << f.detail << ")";
        out << "\n";
    }
    if (list.size() > kListedFindings)
        out << "  … and " << list.size() - kListedFindings << " more\n";
}

void printKeeperReasons(std::ostream& out, const DuplicateKeeperRecommendation& r) {
    out << "      why: ";
    for (size_t i = 0; i < r.reasons.size(); ++i) {
        out << (i ? ", " : "") << rawValue(r.reasons[i]);
    }
    out << "\n";
}

// What to raise when a budget kept files from being compared, one sentence per budget.
std::string budgetAdvice(DuplicateBudget budget, const MacStorageInsightScanner::Configuration& c) {
    switch (budget) {
        case DuplicateBudget::hashBytesPerFile:
            return "Files larger than " + formatBytes(c.maximumDuplicateFullHashBytesPerFile) +
                   " were not compared for duplicates; to compare them, raise "
                   "--duplicate-file-budget.";
        case DuplicateBudget::hashBytes:
            return "The " + formatBytes(c.maximumDuplicateHashBytes) +
                   " that may be read to confirm duplicates ran out; to compare the remaining "
                   "files, raise --duplicate-budget.";
        case DuplicateBudget::hashFiles:
            return "Only " + std::to_string(c.maximumDuplicateHashFiles) +
                   " files may be read to confirm duplicates; to compare the remaining files, "
                   "raise --duplicate-files.";
        case DuplicateBudget::fingerprintBytes:
            return "The " + formatBytes(c.maximumDuplicateFingerprintBytes) +
                   " that may be sampled for duplicate fingerprints ran out; to compare the "
                   "remaining files, raise --fingerprint-budget.";
        case DuplicateBudget::fingerprintFiles:
            return "Only " + std::to_string(c.maximumDuplicateFingerprintFiles) +
                   " files may be sampled for duplicate fingerprints; to compare the remaining "
                   "files, raise --fingerprint-files.";
    }
    return {};
}

std::vector<std::string> advice(const MacStorageInsightReport& report,
                                const MacStorageInsightScanner::Notes& notes,
                                const MacStorageInsightScanner::Configuration& c) {
    std::vector<std::string> out;
    if (std::any_of(report.heatmapItems.begin(), report.heatmapItems.end(),
                    [](const StorageMapItem& i) { return i.isTruncated; })) {
        out.push_back("Folders marked \"not fully scanned\" stopped after " +
                      std::to_string(c.maximumVisitedItemsPerRoot) +
                      " items; to map them completely, raise --visit-limit.");
    }
    for (auto budget : notes.exceededDuplicateBudgets) out.push_back(budgetAdvice(budget, c));
    return out;
}

void printSummary(std::ostream& out, const MacStorageInsightReport& report,
                  const std::vector<DuplicateKeeperRecommendation>& keepers,
                  const std::string& home) {
    out << "Storage map\n";
    if (report.heatmapItems.empty()) out << "  no scanned folders\n";
    const int64_t largest = report.heatmapItems.empty() ? 0 : report.heatmapItems.front().sizeBytes;
    for (const auto& item : report.heatmapItems) {
        out << "  " << bar(item.sizeBytes, largest) << "  " << formatBytes(item.sizeBytes) << "  "
            << item.itemCount << (item.itemCount == 1 ? " file  " : " files  ")
            << printable(item.displayName)
            << (item.id == home ? "  (the files directly in the home folder)" : "")
            << (item.isTruncated ? "  (not fully scanned)" : "") << "\n";
    }
    printFindings(out, "Largest files", report.largeFiles, home, false);
    printFindings(out, "Older downloads", report.downloadFiles, home, false);

    out << "\nDuplicate groups (" << report.duplicateGroups.size() << ")\n";
    if (report.duplicateGroups.empty()) out << "  none\n";
    for (const auto& group : report.duplicateGroups) {
        out << "  " << group.files.size() << " copies of " << formatBytes(group.sizeBytes)
            << ", up to " << formatBytes(group.estimatedReclaimableBytes()) << " recoverable\n";
        const auto keeper = std::find_if(keepers.begin(), keepers.end(),
                                         [&](const auto& k) { return k.groupID == group.id; });
        for (const auto& f : group.files) {
            const bool keep = keeper != keepers.end() && keeper->keeperID == f.id;
            out << "    " << (keep ? "keep " : "     ") << printable(displayPath(f.url.path, home))
                << "\n";
        }
        if (keeper != keepers.end()) printKeeperReasons(out, *keeper);
        if (const int64_t linked = group.hardLinkedMemberCount(); linked > 0) {
            out << "      " << linked << " of these copies are hard links (one file under "
                << "several names): deleting such a copy frees no space, and the recoverable "
                << "figure leaves them out\n";
        }
    }
    printFindings(out, "Security review", report.securityFindings, home, true);

    const auto& s = report.systemSnapshot;
    out << "\nSystem\n"
        << "  memory " << formatBytes(static_cast<int64_t>(s.usedMemoryBytes)) << " used of "
        << formatBytes(static_cast<int64_t>(s.physicalMemoryBytes)) << " ("
        << rawValue(s.memoryPressure) << " pressure)\n"
        << "  processor load " << static_cast<int>(s.normalizedCPULoad * 100) << "% of "
        << s.activeProcessorCount << " processors, load average " << s.cpuLoadAverage << "\n"
        << "  thermal state " << rawValue(s.thermalState) << "\n";

    if (!report.skippedItems.empty()) {
        out << "\nSkipped (" << report.skippedItems.size() << ")\n";
        for (const auto& item : report.skippedItems) {
            out << "  " << printable(displayPath(item.url.path, home)) << ": "
                << printable(item.reason) << "\n";
        }
    }
    if (report.isTruncated) out << "\nNot everything was scanned; the figures are lower bounds.\n";
}

}  // namespace

int runInsightsCommand(const InsightsCommandOptions& options) {
    CancellationToken cancel;
    InterruptScope interrupts(cancel);
    const UserEnvironment env = currentUserEnvironment(options.homeOverride);
    MacStorageInsightScanner::Options scanOptions;
    scanOptions.catalogue = options.catalogue;
    scanOptions.configHome = env.xdgConfigHome;
    if (options.homeOverride) scanOptions.platformHome = currentUserEnvironment({}).home;
    TerminalProgress progress(env.home, options.quiet);
    scanOptions.progress = progress.callback();
    auto config = MacStorageInsightScanner::Configuration::forCatalogue(options.catalogue);
    auto set = [](int64_t& field, const std::optional<int64_t>& value) {
        if (value) field = *value;
    };
    set(config.maximumVisitedItemsPerRoot, options.visitLimit);
    set(config.maximumResultCount, options.resultLimit);
    set(config.minimumLargeFileBytes, options.largeFileBytes);
    set(config.minimumDuplicateFileBytes, options.duplicateFileBytes);
    set(config.maximumDuplicateHashBytes, options.duplicateBudget);
    set(config.maximumDuplicateFullHashBytesPerFile, options.duplicateFileBudget);
    set(config.maximumDuplicateHashFiles, options.duplicateFiles);
    set(config.maximumDuplicateFingerprintBytes, options.fingerprintBudget);
    set(config.maximumDuplicateFingerprintFiles, options.fingerprintFiles);
    MacStorageInsightScanner scanner(env.home, config, scanOptions);
    MacStorageInsightScanner::Notes notes;
    const MacStorageInsightReport report = scanner.scan(cancel, &notes);
    progress.finish();
    const auto keepers = duplicateKeeperRecommendations(report, options.catalogue);

    if (options.json && options.keepers) {
        std::cout << dumpJSON(nlohmann::ordered_json(keepers), true) << "\n";
    } else if (options.json) {
        std::cout << dumpJSON(nlohmann::ordered_json(report), true) << "\n";
    } else if (options.keepers) {
        if (keepers.empty()) std::cout << "No duplicate groups.\n";
        for (const auto& k : keepers) {
            std::cout << "keep " << printable(displayPath(k.keeperPath, scanner.home())) << " ("
                      << k.duplicateCount << " other copies)\n";
            printKeeperReasons(std::cout, k);
        }
    } else {
        printSummary(std::cout, report, keepers, scanner.home());
    }
    // Beside JSON the advice goes to standard error, so the JSON stays one document.
    std::ostream& adviceOut = options.json ? std::cerr : std::cout;
    for (const auto& line : advice(report, notes, scanner.configuration()))
        adviceOut << line << "\n";
    std::cout.flush();
    if (cancel.isCancellationRequested()) {
        std::cerr << "velmora: the insight scan was cancelled; what was found before it stopped "
                     "is shown.\n";
        return interrupts.exitStatus();
    }
    return kExitDone;
}

}  // namespace velmora::cli
