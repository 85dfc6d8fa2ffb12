#pragma once
// "What grew" in the desktop application: the comparison of two kept scan snapshots
// (CleanerCore/workflows/GrowthRun.h) and the totals of every comparable kept snapshot for the
// trend timeline, read on one background task.
//
// The earlier side is chosen by `since`: the previous scan, or the newest scan at least 7 or 30
// days old (the oldest kept one when none is). Roots are named by the folders a scan would look
// at now, the kept custom folders included. Rows are built from the last read in the language
// asked for; dates come back as dates so that the window writes them in its own form.
//
// Threading: a QObject of the UI thread; members are called and signals emitted there.
#include <QObject>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/workflows/GrowthRun.h"
#include "VelmoraUI/dashboard/BackgroundTask.h"
#include "VelmoraUI/dashboard/CleanerViewModel.h"

namespace velmora {

enum class GrowthSince { previousScan, sevenDays, thirtyDays };

/// One item of a category: how it changed and when it was last modified (when known).
struct GrowthItemRow {
    int64_t change = 0;
    std::string changeText;  ///< "+1.2 GB"
    std::string kindLabel;   ///< "appeared", "grew", ...
    std::optional<Date> lastModified;
};

struct GrowthCategoryRow {
    std::string title;
    int64_t change = 0;
    std::string changeText;
    std::string tally;  ///< the items by kind; empty when nothing is itemized
    /// At most the comparison's `maximumExpandedRows`, largest change first.
    std::vector<GrowthItemRow> items;
    int64_t hiddenItems = 0;  ///< kept items of the category not in `items`
};

/// A compared folder, or one that was not compared with why (`why` set).
struct GrowthFolderRow {
    std::string name;  ///< its display path, or the text for a folder not scanned now
    int64_t change = 0;
    std::string changeText;
    std::optional<std::string> why;
};

struct GrowthTimelinePoint {
    Date capturedAt = 0;
    int64_t totalBytes = 0;
};

class GrowthViewModel final : public QObject {
    Q_OBJECT

  public:
    /// Writes a date in the person's form, for the sentences that name one.
    using DateWriter = std::function<std::string(Date)>;

    GrowthViewModel(CleanerEnvironment environment, CustomScanFolderStore& folderStore,
                    QObject* parent = nullptr);
    ~GrowthViewModel() override;

    bool isBusy() const { return busy_; }
    /// Whether a read has ended since the model was made.
    bool hasLoaded() const { return report_.has_value(); }
    /// Reads the store and compares again. While a read runs: false, and one more read follows
    /// it (the store may have changed since that one began).
    bool reload();

    GrowthSince since() const { return since_; }
    /// Chooses the earlier side and reads again.
    void setSince(GrowthSince since);

    /// The headline of a comparison that was made; nullopt otherwise.
    std::optional<std::string> headline(AppLanguage language, const DateWriter& date) const;
    /// Why nothing can be compared (the store could not be opened, too few snapshots, a pair
    /// that is not comparable); nullopt when the comparison was made.
    std::optional<std::string> unavailableSentence(AppLanguage language) const;
    /// Said when the date asked for is older than every kept scan.
    std::optional<std::string> sinceNotReachedSentence(AppLanguage language,
                                                       const DateWriter& date) const;
    /// Said when the store had to be set aside or partly left out on this read.
    std::optional<std::string> storeNotice(AppLanguage language) const;
    /// Said when some items may lie among the bytes a side kept only as a total.
    std::optional<std::string> evidenceNotice(AppLanguage language) const;

    /// Largest change first; empty unless a comparison was made.
    std::vector<GrowthCategoryRow> categoryRows(AppLanguage language) const;
    /// Compared folders that held something either time, largest change first.
    std::vector<GrowthFolderRow> folderRows(AppLanguage language) const;
    /// Folders of either scan that were not compared, each with why.
    std::vector<GrowthFolderRow> notComparedRows(AppLanguage language) const;
    /// Every comparable kept snapshot, oldest first.
    std::vector<GrowthTimelinePoint> timeline() const;

  signals:
    void busyChanged();
    void reportChanged();

  private:
    struct Loaded {
        GrowthReport report;
        std::string home;
    };
    void setBusy(bool busy);
    std::string folderName(const DeltaBlameRootDescriptorID& id, AppLanguage language) const;
    const DeltaBlameComparison* comparedPair() const;

    CleanerEnvironment environment_;
    CustomScanFolderStore& folderStore_;
    bool busy_ = false;
    bool reloadWhenDone_ = false;
    GrowthSince since_ = GrowthSince::previousScan;
    std::optional<GrowthReport> report_;
    std::string home_;
    BackgroundTask task_;
};

}  // namespace velmora
