#include "Velmora/cli/InsightsCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <iostream>

#include "CleanerCore/insights/InsightJson.h"
#include "CleanerCore/insights/MacStorageInsightReportJson.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "Velmora/cli/CommandPreferences.h"
#include "Velmora/cli/ExitStatus.h"
#include "Velmora/cli/Interrupt.h"
#include "Velmora/cli/ProgressBar.h"
#include "VelmoraUI/dashboard/CleanupTexts.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/dashboard/InsightTexts.h"
#include "VelmoraUI/localization/Localizer.h"

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
void printFindings(std::ostream& out, const std::string& title,
                   const std::vector<FileInsight>& list, const std::string& home,
                   const std::string& whenEmpty, AppLanguage language,
                   const std::function<std::string(const FileInsight&)>& middle = {}) {
    out << "\n" << title << " (" << list.size() << ")\n";
    if (list.empty()) out << "  " << whenEmpty << "\n";
    const size_t shown = std::min(list.size(), kListedFindings);
    size_t middleWidth = 0;
    for (size_t i = 0; middle && i < shown; ++i)
        middleWidth = std::max(middleWidth, displayWidth(middle(list[i])));
    for (size_t i = 0; i < shown; ++i) {
        const auto& f = list[i];
        out << "  " << padLeft(bytesText(f.sizeBytes, language), kSizeColumn) << "  ";
        if (middle) out << padRight(middle(f), middleWidth) << "  ";
        out << printable(displayPath(f.url.path, home)) << "\n";
    }
    if (list.size() > kListedFindings) {
        const std::string more = std::to_string(list.size() - kListedFindings);
        // i18n-example: "… and 12 more"
        out << "  " << VelmoraCopy{language}.text("… and " + more + " more", "… 외 " + more + "개")
            << "\n";
    }
}

void printKeeperReasons(std::ostream& out, const DuplicateKeeperRecommendation& r,
                        AppLanguage language) {
    if (r.reasons.empty()) return;
    out << "      " << keeperReasonsText(r.reasons, language) << "\n";
}

// What to raise when a budget kept files from being compared, one sentence per budget.
std::string budgetAdvice(DuplicateBudget budget, const MacStorageInsightScanner::Configuration& c,
                         AppLanguage language) {
    const VelmoraCopy copy{language};
    switch (budget) {
        case DuplicateBudget::hashBytesPerFile: {
            const std::string size = bytesText(c.maximumDuplicateFullHashBytesPerFile, language);
            // clang-format off
            // i18n-example: "Files larger than 512.0 MB were not compared for duplicates; to compare them, raise --duplicate-file-budget."
            // clang-format on
            return copy.text("Files larger than " + size +
                                 " were not compared for duplicates; to compare them, raise "
                                 "--duplicate-file-budget.",
                             size +
                                 "보다 큰 파일은 중복인지 비교하지 않았습니다. 비교하려면 "
                                 "--duplicate-file-budget 값을 늘리세요.");
        }
        case DuplicateBudget::hashBytes: {
            const std::string size = bytesText(c.maximumDuplicateHashBytes, language);
            // clang-format off
            // i18n-example: "The 1.07 GB that may be read to confirm duplicates ran out; to compare the remaining files, raise --duplicate-budget."
            // clang-format on
            return copy.text("The " + size +
                                 " that may be read to confirm duplicates ran out; to compare the "
                                 "remaining files, raise --duplicate-budget.",
                             "중복을 확인하려고 읽을 수 있는 " + size +
                                 "을(를) 모두 썼습니다. 나머지 파일을 비교하려면 "
                                 "--duplicate-budget 값을 늘리세요.");
        }
        case DuplicateBudget::hashFiles: {
            const std::string count = std::to_string(c.maximumDuplicateHashFiles);
            // clang-format off
            // i18n-example: "Only 500 files may be read to confirm duplicates; to compare the remaining files, raise --duplicate-files."
            // clang-format on
            return copy.text("Only " + count +
                                 " files may be read to confirm duplicates; to compare the "
                                 "remaining files, raise --duplicate-files.",
                             "중복을 확인하려고 읽을 수 있는 파일은 " + count +
                                 "개까지입니다. 나머지 파일을 비교하려면 --duplicate-files 값을 "
                                 "늘리세요.");
        }
        case DuplicateBudget::fingerprintBytes: {
            const std::string size = bytesText(c.maximumDuplicateFingerprintBytes, language);
            // clang-format off
            // i18n-example: "The 268.4 MB that may be sampled for duplicate fingerprints ran out; to compare the remaining files, raise --fingerprint-budget."
            // clang-format on
            return copy.text("The " + size +
                                 " that may be sampled for duplicate fingerprints ran out; to "
                                 "compare the remaining files, raise --fingerprint-budget.",
                             "중복 지문을 만들려고 읽을 수 있는 " + size +
                                 "을(를) 모두 썼습니다. 나머지 파일을 비교하려면 "
                                 "--fingerprint-budget 값을 늘리세요.");
        }
        case DuplicateBudget::fingerprintFiles: {
            const std::string count = std::to_string(c.maximumDuplicateFingerprintFiles);
            // clang-format off
            // i18n-example: "Only 2000 files may be sampled for duplicate fingerprints; to compare the remaining files, raise --fingerprint-files."
            // clang-format on
            return copy.text("Only " + count +
                                 " files may be sampled for duplicate fingerprints; to compare "
                                 "the remaining files, raise --fingerprint-files.",
                             "중복 지문을 만들 수 있는 파일은 " + count +
                                 "개까지입니다. 나머지 파일을 비교하려면 --fingerprint-files "
                                 "값을 늘리세요.");
        }
    }
    return {};
}

std::vector<std::string> advice(const MacStorageInsightReport& report,
                                const MacStorageInsightScanner::Notes& notes,
                                const MacStorageInsightScanner::Configuration& c,
                                AppLanguage language) {
    std::vector<std::string> out;
    if (std::any_of(report.heatmapItems.begin(), report.heatmapItems.end(),
                    [](const StorageMapItem& i) { return i.isTruncated; })) {
        const std::string limit = std::to_string(c.maximumVisitedItemsPerRoot);
        // clang-format off
        // i18n-example: "Folders marked \"not fully scanned\" stopped after 8000 items; to map them completely, raise --visit-limit."
        // clang-format on
        out.push_back(VelmoraCopy{language}.text(
            "Folders marked \"not fully scanned\" stopped after " + limit +
                " items; to map them completely, raise --visit-limit.",
            "\"전체를 검사하지 못함\"으로 표시된 폴더는 항목 " + limit +
                "개에서 멈췄습니다. 전부 살펴보려면 --visit-limit 값을 늘리세요."));
    }
    for (auto budget : notes.exceededDuplicateBudgets)
        out.push_back(budgetAdvice(budget, c, language));
    return out;
}

void printSummary(std::ostream& out, const InsightRun& run, AppLanguage language) {
    const VelmoraCopy copy{language};
    const MacStorageInsightReport& report = run.report;
    const std::string& home = run.home;
    const auto& config = run.configuration;
    out << insightSectionTitle(InsightSection::storageMap, language) << "\n";
    if (report.heatmapItems.empty())
        out << "  " << copy.text("no scanned folders", "검사한 폴더 없음") << "\n";
    const int64_t largest = report.heatmapItems.empty() ? 0 : report.heatmapItems.front().sizeBytes;
    size_t countWidth = 0;
    for (const auto& item : report.heatmapItems)
        countWidth = std::max(countWidth, displayWidth(fileCountText(item.itemCount, language)));
    const std::string homeNote =
        copy.text("(the files directly in the home folder)", "(홈 폴더 바로 아래의 파일)");
    const std::string truncatedNote = copy.text("(not fully scanned)", "(전체를 검사하지 못함)");
    for (const auto& item : report.heatmapItems) {
        out << "  " << bar(item.sizeBytes, largest) << "  "
            << padLeft(bytesText(item.sizeBytes, language), kSizeColumn) << "  "
            << padLeft(fileCountText(item.itemCount, language), countWidth) << "  "
            << printable(item.displayName) << (item.id == home ? "  " + homeNote : "")
            << (item.isTruncated ? "  " + truncatedNote : "") << "\n";
    }
    const std::string largeSize = bytesText(config.minimumLargeFileBytes, language);
    // i18n-example: "no files of 104.9 MB or more"
    printFindings(
        out, insightSectionTitle(InsightSection::largestFiles, language), report.largeFiles, home,
        copy.text("no files of " + largeSize + " or more", largeSize + " 이상인 파일 없음"),
        language);
    const Date scannedAt = report.scannedAt;
    printFindings(out, insightSectionTitle(InsightSection::olderDownloads, language),
                  report.downloadFiles, home,
                  noOlderDownloadsText(config.minimumReviewFileAge, language), language,
                  [scannedAt, language, copy](const FileInsight& f) {
                      return f.lastModified ? downloadAgeText(scannedAt - *f.lastModified, language)
                                            : copy.text("age unknown", "기간 알 수 없음");
                  });

    out << "\n"
        << insightSectionTitle(InsightSection::duplicateGroups, language) << " ("
        << report.duplicateGroups.size() << ")\n";
    if (report.duplicateGroups.empty()) {
        const std::string size = bytesText(config.minimumDuplicateFileBytes, language);
        // i18n-example: "no identical files of 21.0 MB or more"
        out << "  "
            << copy.text("no identical files of " + size + " or more",
                         size + " 이상인 같은 파일 없음")
            << "\n";
    }
    // The mark of the copy to keep, and blanks as wide for the others.
    const std::string keepMark = copy.text("keep", "남김");
    const std::string noMark(displayWidth(keepMark), ' ');
    for (const auto& group : report.duplicateGroups) {
        const std::string copies = std::to_string(group.files.size());
        const std::string size = bytesText(group.sizeBytes, language);
        const std::string recoverable = bytesText(group.estimatedReclaimableBytes(), language);
        // i18n-example: "2 copies of 22.0 MB, up to 0 bytes recoverable"
        out << "  "
            << copy.text(copies + " copies of " + size + ", up to " + recoverable + " recoverable",
                         size + " 사본 " + copies + "개, 최대 " + recoverable + " 확보 가능")
            << "\n";
        const auto keeper = std::find_if(run.keepers.begin(), run.keepers.end(),
                                         [&](const auto& k) { return k.groupID == group.id; });
        for (const auto& f : group.files) {
            const bool keep = keeper != run.keepers.end() && keeper->keeperID == f.id;
            out << "    " << (keep ? keepMark : noMark) << " "
                << printable(displayPath(f.url.path, home)) << "\n";
        }
        if (keeper != run.keepers.end()) printKeeperReasons(out, *keeper, language);
        if (const int64_t linked = group.hardLinkedMemberCount(); linked == 1) {
            out << "      "
                << copy.text(
                       "1 of these copies is a hard link (one file under several names): "
                       "deleting it frees no space, and the recoverable figure leaves it "
                       "out",
                       "이 중 사본 1개는 하드 링크(여러 이름으로 된 하나의 파일)입니다. 이 "
                       "사본은 지워도 공간이 생기지 않으므로 확보 가능한 용량에서 "
                       "뺐습니다.")
                << "\n";
        } else if (linked > 1) {
            const std::string count = std::to_string(linked);
            // clang-format off
            // i18n-example: "2 of these copies are hard links (one file under several names): deleting such a copy frees no space, and the recoverable figure leaves them out"
            // clang-format on
            out << "      "
                << copy.text(count +
                                 " of these copies are hard links (one file under several "
                                 "names): deleting such a copy frees no space, and the "
                                 "recoverable figure leaves them out",
                             "이 중 사본 " + count +
                                 "개는 하드 링크(여러 이름으로 된 하나의 파일)입니다. 이런 "
                                 "사본은 지워도 공간이 생기지 않으므로 확보 가능한 용량에서 "
                                 "뺐습니다.")
                << "\n";
        }
    }
    printFindings(out, insightSectionTitle(InsightSection::securityReview, language),
                  report.securityFindings, home,
                  copy.text("no installers, disk images or other programs to review",
                            "검토할 설치 프로그램, 디스크 이미지나 다른 프로그램 없음"),
                  language, [language](const FileInsight& f) {
                      return securitySignalText(f.detail, language);
                  });

    const auto& s = report.systemSnapshot;
    out << "\n"
        << insightSectionTitle(InsightSection::system, language) << "\n"
        << "  " << memoryLine(s, language) << "\n"
        << "  " << processorLine(s, language) << "\n"
        << "  " << temperatureLine(s.thermalState, language) << "\n"
        << "  " << uptimeLine(s.uptime, language) << "\n";

    if (!report.skippedItems.empty()) {
        out << "\n"
            << insightSectionTitle(InsightSection::skipped, language) << " ("
            << report.skippedItems.size() << ")\n";
        for (const auto& item : report.skippedItems) {
            out << "  " << printable(displayPath(item.url.path, home)) << ": "
                << printable(insightSkipReasonText(item.reason, language)) << "\n";
        }
    }
    if (report.isTruncated) {
        out << "\n"
            << copy.text("Not everything was scanned; the figures are lower bounds.",
                         "전체를 검사하지 못했으므로 수치는 최소값입니다.")
            << "\n";
    }
}

}  // namespace

int runInsightsCommand(const InsightsCommandOptions& options) {
    CancellationToken cancel;
    InterruptScope interrupts(cancel);
    const UserEnvironment env = insightEnvironment(options.request);
    const AppLanguage language =
        openCommandPreferences(options.request.homeOverride, options.runLanguage).language;
    TerminalProgress progress(env.home, options.quiet, language);
    // The command prints no storage tree, so its walk does not build one.
    InsightRunRequest request = options.request;
    request.storageTree.reset();
    const InsightRun run = runInsightScan(request, env, progress.callback(), cancel);
    progress.finish();
    const VelmoraCopy copy{language};

    if (options.json && options.keepers) {
        std::cout << dumpJSON(nlohmann::ordered_json(run.keepers), true) << "\n";
    } else if (options.json) {
        std::cout << dumpJSON(nlohmann::ordered_json(run.report), true) << "\n";
    } else if (options.keepers) {
        if (run.keepers.empty())
            std::cout << copy.text("No duplicate groups.", "중복 파일 묶음이 없습니다.") << "\n";
        for (const auto& k : run.keepers) {
            const std::string path = printable(displayPath(k.keeperPath, run.home));
            const std::string others = std::to_string(k.duplicateCount);
            // i18n-example: "keep ~/Documents/d.iso (1 other copy)"
            // i18n-example: "keep ~/Documents/d.iso (3 other copies)"
            std::cout << copy.text("keep " + path + " (" +
                                       countText(k.duplicateCount, "other copy", "other copies") +
                                       ")",
                                   "남김 " + path + " (다른 사본 " + others + "개)")
                      << "\n";
            printKeeperReasons(std::cout, k, language);
        }
    } else {
        printSummary(std::cout, run, language);
    }
    // Beside JSON the advice goes to standard error, so the JSON stays one document.
    std::ostream& adviceOut = options.json ? std::cerr : std::cout;
    for (const auto& line : advice(run.report, run.notes, run.configuration, language))
        adviceOut << line << "\n";
    std::cout.flush();
    if (run.wasCancelled) {
        std::cerr << "velmora: "
                  << copy.text(
                         "the insight scan was cancelled; what was found before it stopped "
                         "is shown.",
                         "인사이트 검사가 취소되었습니다. 멈추기 전까지 찾은 내용을 "
                         "보여 줍니다.")
                  << "\n";
        return interrupts.exitStatus();
    }
    return kExitDone;
}

}  // namespace velmora::cli
