#include "VelmoraUI/dashboard/GrowthViewModel.h"

#include <algorithm>
#include <cstdlib>

#include "CleanerCore/base/PrintableText.h"
#include "CleanerCore/platform/Environment.h"
#include "CleanerCore/workflows/ScanSetup.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/dashboard/GrowthTexts.h"
#include "VelmoraUI/dashboard/SnapshotTexts.h"
#include "VelmoraUI/state/CustomScanFolders.h"

namespace velmora {

namespace {

std::optional<int> sinceDays(GrowthSince since) {
    switch (since) {
        case GrowthSince::sevenDays:
            return 7;
        case GrowthSince::thirtyDays:
            return 30;
        case GrowthSince::previousScan:
            break;
    }
    return std::nullopt;
}

}  // namespace

GrowthViewModel::GrowthViewModel(CleanerEnvironment environment, CustomScanFolderStore& folderStore,
                                 QObject* parent)
    : QObject(parent), environment_(std::move(environment)), folderStore_(folderStore) {}

GrowthViewModel::~GrowthViewModel() {
    task_.cancelAndWait();
}

void GrowthViewModel::setBusy(bool busy) {
    if (busy_ == busy) return;
    busy_ = busy;
    emit busyChanged();
}

bool GrowthViewModel::reload() {
    if (busy_) {
        reloadWhenDone_ = true;
        return false;
    }
    setBusy(true);
    ScanRequest request;
    request.homeOverride = environment_.homeOverride;
    request.catalogue = environment_.catalogue;
    GrowthRequest growth;
    if (const auto days = sinceDays(since_)) growth.since = environment_.now() - *days * 86400.0;
    task_.start([this, request = std::move(request), folders = folderStore_.folders(),
                 growth = std::move(growth)](const CancellationToken&) mutable {
        addKeptFolders(request, folders);
        const UserEnvironment user = currentUserEnvironment(request.homeOverride);
        growth.knownRootPaths = currentScanRootPaths(request);
        Loaded loaded{runGrowthComparison(user, growth), user.home};
        postTo(this, [this, loaded = std::move(loaded)]() mutable {
            report_ = std::move(loaded.report);
            home_ = std::move(loaded.home);
            emit reportChanged();
            setBusy(false);
            // Asked again during the read (a new choice, a scan that ended): read once more.
            if (reloadWhenDone_) {
                reloadWhenDone_ = false;
                reload();
            }
        });
    });
    return true;
}

void GrowthViewModel::setSince(GrowthSince since) {
    if (since == since_) return;
    since_ = since;
    reload();
}

const DeltaBlameComparison* GrowthViewModel::comparedPair() const {
    if (!report_ || !report_->comparison || !report_->comparison->compared()) return nullptr;
    return &*report_->comparison;
}

std::optional<std::string> GrowthViewModel::headline(AppLanguage language,
                                                     const DateWriter& date) const {
    const auto* c = comparedPair();
    if (!c) return std::nullopt;
    return growthHeadline(*c, date(c->earlierCapturedAt), language);
}

std::optional<std::string> GrowthViewModel::unavailableSentence(AppLanguage language) const {
    if (!report_) return std::nullopt;
    // Without the installation key nothing was read: the store says nothing, so nothing is
    // kept as far as this installation can tell.
    return growthUnavailableSentence(report_->comparison, report_->selection.comparableSnapshots,
                                     language);
}

std::optional<std::string> GrowthViewModel::sinceNotReachedSentence(AppLanguage language,
                                                                    const DateWriter& date) const {
    if (!report_ || !report_->selection.sinceNotReached || !report_->comparison)
        return std::nullopt;
    return velmora::sinceNotReachedSentence(date(report_->comparison->earlierCapturedAt), language);
}

std::optional<std::string> GrowthViewModel::storeNotice(AppLanguage language) const {
    if (!report_ || !report_->kept.storeIssue) return std::nullopt;
    return snapshotStoreNotice(*report_->kept.storeIssue, language);
}

std::optional<std::string> GrowthViewModel::evidenceNotice(AppLanguage language) const {
    const auto* c = comparedPair();
    if (!c) return std::nullopt;
    for (const auto& category : c->categories) {
        if (category.tallies[size_t(DeltaBlameChangeKind::notComparable)].count > 0)
            return evidenceBoundSentence(language);
    }
    return std::nullopt;
}

std::string GrowthViewModel::folderName(const DeltaBlameRootDescriptorID& id,
                                        AppLanguage language) const {
    const auto it = report_->rootPaths.find(id.rawValue);
    return it == report_->rootPaths.end() ? unnamedRootText(language)
                                          : printable(displayPath(it->second, home_));
}

std::vector<GrowthCategoryRow> GrowthViewModel::categoryRows(AppLanguage language) const {
    std::vector<GrowthCategoryRow> rows;
    const auto* c = comparedPair();
    if (!c) return rows;
    for (const auto& category : c->categories) {
        GrowthCategoryRow row;
        row.title = categoryKeyTitle(category.categoryKey, language);
        row.change = category.change();
        row.changeText = signedBytes(row.change);
        row.tally = categoryTallyText(category, language);
        row.hiddenItems = category.hiddenItems;
        for (size_t index : category.expandedItems) {
            if (index >= c->items.size()) continue;
            const auto& item = c->items[index];
            row.items.push_back({item.change(), signedBytes(item.change()),
                                 changeKindLabel(item.kind, language),
                                 item.observation().lastModified});
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

std::vector<GrowthFolderRow> GrowthViewModel::folderRows(AppLanguage language) const {
    std::vector<GrowthFolderRow> rows;
    const auto* c = comparedPair();
    if (!c) return rows;
    for (const auto& root : c->roots) {
        if (root.reason || (!root.earlierBytes && !root.laterBytes)) continue;
        rows.push_back({folderName(root.rootDescriptorID, language), root.change(),
                        signedBytes(root.change()), std::nullopt});
    }
    std::stable_sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) {
        return std::llabs(a.change) > std::llabs(b.change);
    });
    return rows;
}

std::vector<GrowthFolderRow> GrowthViewModel::notComparedRows(AppLanguage language) const {
    std::vector<GrowthFolderRow> rows;
    if (!report_ || !report_->comparison) return rows;
    for (const auto& root : report_->comparison->roots) {
        if (!root.reason) continue;
        rows.push_back({folderName(root.rootDescriptorID, language),
                        0,
                        {},
                        rootNotComparedText(root, language)});
    }
    return rows;
}

std::vector<GrowthTimelinePoint> GrowthViewModel::timeline() const {
    std::vector<GrowthTimelinePoint> points;
    if (!report_) return points;
    for (const auto& s : report_->kept.summaries) {
        if (s.comparable) points.push_back({s.capturedAt, s.totalBytes});
    }
    return points;
}

}  // namespace velmora
