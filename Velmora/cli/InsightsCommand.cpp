#include "Velmora/cli/InsightsCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <iostream>

#include "CleanerCore/insights/InsightJson.h"
#include "CleanerCore/insights/MacStorageInsightReportJson.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "Velmora/cli/ExitStatus.h"
#include "Velmora/cli/Interrupt.h"
#include "Velmora/cli/ProgressBar.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/dashboard/InsightTexts.h"

namespace velmora::cli {

namespace {

constexpr int kBarWidth = 24;
constexpr size_t kListedFindings = 10;
constexpr size_t kSizeColumn = 9;  // "999 bytes", "999.9 MB"

std::string bar(int64_t size, int64_t largest) {
    const int filled =
        largest > 0
            ? static_cast<int>(static_cast<double>(size) / static_cast<double>(largest) * kBarWidth)
            : 0;
    return std::string(static_cast<size_t>(filled), '#') +
           std::string(static_cast<size_t>(kBarWidth - filled), '.');
}

// One list of findings: a title with the count, then size, an optional middle column (aligned
// to its widest entry) and path per file, or `whenEmpty` when there is none.
void printFindings(std::ostream& out, const char* title, const std::vector<FileInsight>& list,
                   const std::string& home, const std::string& whenEmpty,
                   const std::function<std::string(const FileInsight&)>& middle = {}) {
    out << "\n" << title << " (" << list.size() << ")\n";
    if (list.empty()) out << "  " << whenEmpty << "\n";
    const size_t shown = std::min(list.size(), kListedFindings);
    size_t middleWidth = 0;
    for (size_t i = 0; middle && i < shown; ++i)
        middleWidth = std::max(middleWidth, displayWidth(middle(list[i])));
    for (size_t i = 0; i < shown; ++i) {
        const auto& f = list[i];
        out << "  " << padLeft(formatBytes(f.sizeBytes), kSizeColumn) << "  ";
        if (middle) out << padRight(middle(f), middleWidth) << "  ";
        out << printable(displayPath(f.url.path, home)) << "\n";
    }
    if (list.size() > kListedFindings)
        out << "  … and " << list.size() - kListedFindings << " more\n";
}

void printKeeperReasons(std::ostream& out, const DuplicateKeeperRecommendation& r) {
    if (r.reasons.empty()) return;
    out << "      Keep this copy because ";
    for (size_t i = 0; i < r.reasons.size(); ++i) {
        out << (i == 0                      ? ""
                : i + 1 == r.reasons.size() ? ", and "
                                            : ", ")
            << keeperReasonText(r.reasons[i]);
    }
    out << ".\n";
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

void printSummary(std::ostream& out, const InsightRun& run) {
    const MacStorageInsightReport& report = run.report;
    const std::string& home = run.home;
    const auto& config = run.configuration;
    out << "Storage map\n";
    if (report.heatmapItems.empty()) out << "  no scanned folders\n";
    const int64_t largest = report.heatmapItems.empty() ? 0 : report.heatmapItems.front().sizeBytes;
    size_t countWidth = 0;
    for (const auto& item : report.heatmapItems)
        countWidth = std::max(countWidth, displayWidth(countText(item.itemCount, "file", "files")));
    for (const auto& item : report.heatmapItems) {
        out << "  " << bar(item.sizeBytes, largest) << "  "
            << padLeft(formatBytes(item.sizeBytes), kSizeColumn) << "  "
            << padLeft(countText(item.itemCount, "file", "files"), countWidth) << "  "
            << printable(item.displayName)
            << (item.id == home ? "  (the files directly in the home folder)" : "")
            << (item.isTruncated ? "  (not fully scanned)" : "") << "\n";
    }
    printFindings(out, "Largest files", report.largeFiles, home,
                  "no files of " + formatBytes(config.minimumLargeFileBytes) + " or more");
    const Date scannedAt = report.scannedAt;
    printFindings(out, "Older downloads", report.downloadFiles, home,
                  "no downloads older than " + durationText(config.minimumReviewFileAge),
                  [scannedAt](const FileInsight& f) {
                      return f.lastModified ? durationText(scannedAt - *f.lastModified) + " old"
                                            : std::string("age unknown");
                  });

    out << "\nDuplicate groups (" << report.duplicateGroups.size() << ")\n";
    if (report.duplicateGroups.empty()) {
        out << "  no identical files of " << formatBytes(config.minimumDuplicateFileBytes)
            << " or more\n";
    }
    for (const auto& group : report.duplicateGroups) {
        out << "  " << group.files.size() << " copies of " << formatBytes(group.sizeBytes)
            << ", up to " << formatBytes(group.estimatedReclaimableBytes()) << " recoverable\n";
        const auto keeper = std::find_if(run.keepers.begin(), run.keepers.end(),
                                         [&](const auto& k) { return k.groupID == group.id; });
        for (const auto& f : group.files) {
            const bool keep = keeper != run.keepers.end() && keeper->keeperID == f.id;
            out << "    " << (keep ? "keep " : "     ") << printable(displayPath(f.url.path, home))
                << "\n";
        }
        if (keeper != run.keepers.end()) printKeeperReasons(out, *keeper);
        if (const int64_t linked = group.hardLinkedMemberCount(); linked > 0) {
            out << "      " << linked << " of these copies are hard links (one file under "
                << "several names): deleting such a copy frees no space, and the recoverable "
                << "figure leaves them out\n";
        }
    }
    printFindings(out, "Security review", report.securityFindings, home,
                  "no installers, disk images or other programs to review",
                  [](const FileInsight& f) { return f.detail; });

    const auto& s = report.systemSnapshot;
    out << "\nSystem\n"
        << "  memory " << formatBytes(static_cast<int64_t>(s.usedMemoryBytes)) << " used of "
        << formatBytes(static_cast<int64_t>(s.physicalMemoryBytes)) << ", pressure "
        << memoryPressureText(s.memoryPressure) << "\n"
        << "  processor load " << static_cast<int>(s.normalizedCPULoad * 100) << "% of "
        << countText(s.activeProcessorCount, "processor", "processors") << ", load average "
        << fmt::format("{:.2f}", s.cpuLoadAverage) << "\n"
        << "  temperature " << thermalStateText(s.thermalState) << "\n";

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
    const UserEnvironment env = insightEnvironment(options.request);
    TerminalProgress progress(env.home, options.quiet);
    const InsightRun run = runInsightScan(options.request, env, progress.callback(), cancel);
    progress.finish();

    if (options.json && options.keepers) {
        std::cout << dumpJSON(nlohmann::ordered_json(run.keepers), true) << "\n";
    } else if (options.json) {
        std::cout << dumpJSON(nlohmann::ordered_json(run.report), true) << "\n";
    } else if (options.keepers) {
        if (run.keepers.empty()) std::cout << "No duplicate groups.\n";
        for (const auto& k : run.keepers) {
            std::cout << "keep " << printable(displayPath(k.keeperPath, run.home)) << " ("
                      << countText(k.duplicateCount, "other copy", "other copies") << ")\n";
            printKeeperReasons(std::cout, k);
        }
    } else {
        printSummary(std::cout, run);
    }
    // Beside JSON the advice goes to standard error, so the JSON stays one document.
    std::ostream& adviceOut = options.json ? std::cerr : std::cout;
    for (const auto& line : advice(run.report, run.notes, run.configuration))
        adviceOut << line << "\n";
    std::cout.flush();
    if (run.wasCancelled) {
        std::cerr << "velmora: the insight scan was cancelled; what was found before it stopped "
                     "is shown.\n";
        return interrupts.exitStatus();
    }
    return kExitDone;
}

}  // namespace velmora::cli
