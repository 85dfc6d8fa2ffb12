#include "Velmora/cli/GrowthCommand.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "CleanerCore/scanning/ModelJson.h"
#include "CleanerCore/workflows/GrowthRun.h"
#include "CleanerCore/workflows/ScanSetup.h"
#include "Velmora/cli/CleanOutput.h"
#include "Velmora/cli/CommandPreferences.h"
#include "Velmora/cli/ExitStatus.h"
#include "Velmora/cli/FoldersCommand.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/dashboard/GrowthTexts.h"
#include "VelmoraUI/dashboard/SnapshotTexts.h"

namespace velmora::cli {

namespace {

// The folders a scan would look at now, with the kept custom folders, to name the roots.
std::vector<std::string> currentRootPaths(const GrowthCommandOptions& options) {
    ScanRequest request;
    request.homeOverride = options.homeOverride;
    request.catalogue = options.catalogue;
    addKeptFolders(request, options.runLanguage);
    return currentScanRootPaths(std::move(request));
}

// A store that had to be set aside is said once, on standard error, in the scan's words.
void explainStore(const KeptSnapshots& kept, AppLanguage language) {
    if (!kept.storeIssue) return;
    if (auto sentence = snapshotStoreSentence(*kept.storeIssue, language))
        std::cerr << "velmora: " << *sentence << "\n";
}

std::string rootName(const GrowthReport& report, const DeltaBlameRootDescriptorID& id,
                     const std::string& home, AppLanguage language) {
    const auto it = report.rootPaths.find(id.rawValue);
    return it == report.rootPaths.end() ? unnamedRootText(language)
                                        : printable(displayPath(it->second, home));
}

nlohmann::json tallyJSON(const DeltaBlameTally& t) {
    return {{"count", t.count}, {"change", t.change}};
}

nlohmann::json growthJSON(const GrowthReport& report) {
    nlohmann::json j;
    j["keptSnapshots"] = report.kept.snapshots.size();
    j["comparableSnapshots"] = report.selection.comparableSnapshots;
    if (report.kept.storeIssue) j["storeIssue"] = rawValue(*report.kept.storeIssue);
    if (!report.kept.keyAvailable) {
        j["status"] = "noKey";
        return j;
    }
    if (!report.comparison) {
        j["status"] = "notEnoughSnapshots";
        j["message"] = *growthUnavailableSentence(
            std::nullopt, report.selection.comparableSnapshots, AppLanguage::english);
        return j;
    }
    const auto& c = *report.comparison;
    j["status"] = c.compared() ? "compared" : "notComparable";
    j["comparability"] = rawValue(c.comparability.kind);
    j["earlier"] = {{"snapshotID", c.earlierSnapshotID}, {"capturedAt", c.earlierCapturedAt}};
    j["later"] = {{"snapshotID", c.laterSnapshotID}, {"capturedAt", c.laterCapturedAt}};
    j["sinceNotReached"] = report.selection.sinceNotReached;
    if (auto why = growthUnavailableSentence(c, report.selection.comparableSnapshots,
                                             AppLanguage::english))
        j["message"] = *why;
    auto& sides = j["notComparableSides"] = nlohmann::json::array();
    for (const auto& s : c.sides)
        sides.push_back({{"side", rawValue(s.side)}, {"trust", rawValue(s.trust)}});
    auto& roots = j["roots"] = nlohmann::json::array();
    for (const auto& r : c.roots) {
        nlohmann::json row{{"rootDescriptorID", r.rootDescriptorID.rawValue},
                           {"kind", rawValue(r.kind)},
                           {"earlierBytes", r.earlierBytes},
                           {"laterBytes", r.laterBytes},
                           {"change", r.change()}};
        if (auto it = report.rootPaths.find(r.rootDescriptorID.rawValue);
            it != report.rootPaths.end())
            row["path"] = validUTF8(it->second);
        if (r.reason) row["reason"] = rawValue(*r.reason);
        if (r.side) row["side"] = rawValue(*r.side);
        if (r.outcome) row["outcome"] = rawValue(*r.outcome);
        roots.push_back(std::move(row));
    }
    if (!c.compared()) return j;
    j["earlierBytes"] = c.earlierBytes;
    j["laterBytes"] = c.laterBytes;
    j["change"] = c.change();
    auto& categories = j["categories"] = nlohmann::json::array();
    for (const auto& cat : c.categories) {
        nlohmann::json items = nlohmann::json::object();
        for (size_t k = 0; k < kDeltaBlameChangeKindCount; ++k) {
            if (cat.tallies[k].count)
                items[std::string(rawValue(DeltaBlameChangeKind(k)))] = tallyJSON(cat.tallies[k]);
        }
        categories.push_back({{"category", cat.categoryKey.rawValue},
                              {"kind", rawValue(cat.kind)},
                              {"earlierBytes", cat.earlierBytes},
                              {"laterBytes", cat.laterBytes},
                              {"earlierCount", cat.earlierCount},
                              {"laterCount", cat.laterCount},
                              {"change", cat.change()},
                              {"items", items}});
    }
    auto& items = j["items"] = nlohmann::json::array();
    for (const auto& item : c.items) {
        const auto& o = item.observation();
        nlohmann::json row{{"kind", rawValue(item.kind)},
                           {"category", o.categoryKey.rawValue},
                           {"rootDescriptorID", o.rootDescriptorID.rawValue},
                           {"change", item.change()}};
        if (item.reason) row["reason"] = rawValue(*item.reason);
        if (item.earlier) row["earlierBytes"] = item.earlier->byteCount;
        if (item.later) row["laterBytes"] = item.later->byteCount;
        if (o.lastModified) row["lastModified"] = *o.lastModified;
        items.push_back(std::move(row));
    }
    j["omittedItems"] = tallyJSON(c.omittedItems);
    return j;
}

void printComparison(std::ostream& out, const GrowthReport& report, const std::string& home,
                     AppLanguage language) {
    const auto& c = *report.comparison;
    out << growthHeadline(c, formatLocalTime(c.earlierCapturedAt), language) << "\n";
    const auto column = [](std::string text) { return padLeft(text, 10) + "  "; };
    if (!c.categories.empty()) out << "\n" << byCategoryHeading(language) << "\n";
    bool cut = false;
    for (const auto& cat : c.categories) {
        out << "  " << column(signedBytes(cat.change()))
            << categoryKeyTitle(cat.categoryKey, language);
        if (auto tally = categoryTallyText(cat, language); !tally.empty())
            out << "  (" << tally << ")";
        out << "\n";
        cut = cut || cat.tallies[size_t(DeltaBlameChangeKind::notComparable)].count > 0;
    }
    // Compared folders by the size of their change; folders empty both times say nothing.
    std::vector<const DeltaBlameRootChange*> folders;
    bool anyLeftOut = false;
    for (const auto& r : c.roots) {
        anyLeftOut = anyLeftOut || r.reason.has_value();
        if (!r.reason && (r.earlierBytes || r.laterBytes)) folders.push_back(&r);
    }
    std::stable_sort(folders.begin(), folders.end(), [](const auto* a, const auto* b) {
        return std::llabs(a->change()) > std::llabs(b->change());
    });
    if (!folders.empty()) out << "\n" << byFolderHeading(language) << "\n";
    for (const auto* r : folders) {
        out << "  " << column(signedBytes(r->change()))
            << rootName(report, r->rootDescriptorID, home, language) << "\n";
    }
    if (anyLeftOut) {
        out << "\n" << notComparedHeading(language) << "\n";
        for (const auto& r : c.roots) {
            if (!r.reason) continue;
            out << "  " << rootName(report, r.rootDescriptorID, home, language) << ": "
                << rootNotComparedText(r, language) << "\n";
        }
    }
    // The largest item changes, without the unchanged ones: a name is never kept, so an item is
    // its category, its change and how it changed.
    std::vector<const DeltaBlameItemChange*> shown;
    for (const auto& item : c.items) {
        if (item.kind != DeltaBlameChangeKind::unchanged && shown.size() < 10)
            shown.push_back(&item);
    }
    if (!shown.empty()) {
        out << "\n" << largestChangesHeading(language) << "\n";
        for (const auto* item : shown) {
            out << "  " << column(signedBytes(item->change()))
                << categoryKeyTitle(item->observation().categoryKey, language) << ", "
                << changeKindLabel(item->kind, language) << "\n";
        }
    }
    if (cut) out << "\n" << evidenceBoundSentence(language) << "\n";
}

}  // namespace

int runGrowthCommand(const GrowthCommandOptions& options) {
    const UserEnvironment environment = currentUserEnvironment(options.homeOverride);
    const AppLanguage language =
        options.json ? AppLanguage::english
                     : openCommandPreferences(options.homeOverride, options.runLanguage).language;
    GrowthRequest request;
    if (options.sinceDays) request.since = currentDate() - *options.sinceDays * 86400.0;
    request.knownRootPaths = currentRootPaths(options);
    const GrowthReport report = runGrowthComparison(environment, request);
    explainStore(report.kept, language);
    if (options.json) {
        std::cout << dumpJSON(growthJSON(report), true) << "\n";
        return report.kept.keyAvailable ? kExitDone : kExitFailures;
    }
    if (!report.kept.keyAvailable) return kExitFailures;  // explained above
    if (report.selection.sinceNotReached && report.comparison) {
        std::cout << sinceNotReachedSentence(formatLocalTime(report.comparison->earlierCapturedAt),
                                             language)
                  << "\n";
    }
    if (auto why = growthUnavailableSentence(report.comparison,
                                             report.selection.comparableSnapshots, language)) {
        std::cout << *why << "\n";
        return kExitDone;
    }
    printComparison(std::cout, report, environment.home, language);
    return kExitDone;
}

int runSnapshotsCommand(const SnapshotsCommandOptions& options) {
    const UserEnvironment environment = currentUserEnvironment(options.homeOverride);
    const AppLanguage language =
        options.json ? AppLanguage::english
                     : openCommandPreferences(options.homeOverride, options.runLanguage).language;
    const KeptSnapshots kept = readKeptSnapshots(environment);
    explainStore(kept, language);
    if (!kept.keyAvailable) return kExitFailures;
    if (options.json) {
        nlohmann::json list = nlohmann::json::array();
        for (const auto& s : kept.summaries) {
            list.push_back({{"snapshotID", s.snapshotID},
                            {"capturedAt", s.capturedAt},
                            {"scanMode", s.scanMode},
                            {"totalBytes", s.totalBytes},
                            {"itemCount", s.itemCount},
                            {"rootCount", s.rootCount},
                            {"trust", rawValue(s.trust)},
                            {"coverage", rawValue(s.coverage)},
                            {"comparable", s.comparable}});
        }
        std::cout << dumpJSON(nlohmann::json{{"snapshots", list}}, true) << "\n";
        return kExitDone;
    }
    const DeltaBlameLimits limits;
    std::cout << keptSnapshotsSentence(kept.summaries.size(), limits.maximumSnapshots, language)
              << "\n";
    for (const auto& s : kept.summaries) {
        std::cout << "  " << formatLocalTime(s.capturedAt) << "  "
                  << padLeft(formatBytes(s.totalBytes), 10) << "  "
                  << padRight(snapshotItemsText(s.itemCount, language), 14) << "  "
                  << printable(scanModeLabel(s.scanMode, language));
        if (!s.comparable) std::cout << "  (" << snapshotTrustLabel(s.trust, language) << ")";
        std::cout << "\n";
    }
    return kExitDone;
}

}  // namespace velmora::cli
