#include "Velmora/desktop/InsightsPage.h"

#include <fmt/format.h>
#include <QDialog>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QTabWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "CleanerCore/base/PrintableText.h"
#include "CleanerCore/insights/InsightSecurity.h"
#include "Velmora/desktop/Appearance.h"
#include "Velmora/desktop/DesktopSession.h"
#include "Velmora/desktop/FileManagerReveal.h"
#include "Velmora/desktop/ReviewDialogs.h"
#include "Velmora/desktop/StorageMapView.h"
#include "Velmora/desktop/SystemPanel.h"
#include "Velmora/desktop/UiText.h"
#include "VelmoraUI/dashboard/CleanupTexts.h"
#include "VelmoraUI/dashboard/CoreTexts.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/dashboard/InsightTexts.h"

namespace velmora::desktop {
namespace {

constexpr int kIDRole = Qt::UserRole;
constexpr int kPathRole = Qt::UserRole + 1;

enum Column { kName, kSize, kFolder, kNote, kColumnCount };

QLabel* wrapped(const QString& text = {}) {
    auto* label = new QLabel(text);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

QTreeWidget* findingTree(const char* objectName) {
    auto* tree = new QTreeWidget;
    tree->setObjectName(objectName);
    tree->setColumnCount(kColumnCount);
    tree->setRootIsDecorated(false);
    tree->setUniformRowHeights(false);
    tree->setWordWrap(true);
    tree->header()->setStretchLastSection(true);
    tree->header()->setSectionResizeMode(QHeaderView::Interactive);
    return tree;
}

QString severityText(int severity, const UiCopy& copy) {
    if (severity >= 4) return copy.text("High severity", "심각도 높음");
    if (severity == 3) return copy.text("Medium severity", "심각도 중간");
    return copy.text("Low severity", "심각도 낮음");
}

// What will move, every path listed, and the promise that each is checked again.
class InsightConfirmationDialog final : public QDialog {
  public:
    InsightConfirmationDialog(const std::vector<const FileInsight*>& findings,
                              const std::string& home, AppLanguage language, QWidget* parent)
        : QDialog(parent) {
        setObjectName("insightConfirmationDialog");
        const UiCopy copy{language};
        setWindowTitle(copy.text("Move to Trash", "휴지통으로 이동"));
        int64_t bytes = 0;
        for (const auto* f : findings) bytes += f->sizeBytes;
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(
            wrapped(qs(selectionSummaryText(int64_t(findings.size()), bytes, language))));
        std::vector<MovingItem> items;
        for (const auto* f : findings) items.push_back({f->url.path, f->sizeBytes});
        addMoveConfirmationEnd(*this, *layout, items, home, language);
        resize(560, 420);
    }
};

}  // namespace

InsightsPage::InsightsPage(DesktopSession& session, QWidget* parent)
    : QWidget(parent),
      session_(session),
      heading_(new QLabel),
      scan_(new QPushButton),
      cancel_(new QPushButton),
      progress_(new QProgressBar),
      summary_(wrapped()),
      message_(wrapped()),
      tabs_(new QTabWidget),
      largeFiles_(findingTree("largeFilesTree")),
      downloads_(findingTree("downloadsTree")),
      duplicates_(findingTree("duplicatesTree")),
      security_(findingTree("securityTree")),
      storageMap_(new StorageMapView(session.language())),
      system_(new SystemPanel(session.insights(), session.language())),
      skipped_(new QPushButton),
      reveal_(new QPushButton),
      move_(new QPushButton),
      results_(new QListWidget) {
    setObjectName("insightsPage");
    scan_->setObjectName("insightsScanButton");
    cancel_->setObjectName("insightsCancelButton");
    progress_->setObjectName("insightsProgress");
    summary_->setObjectName("insightsSummary");
    message_->setObjectName("insightsMessage");
    tabs_->setObjectName("insightsTabs");
    storageMap_->setObjectName("storageMap");
    skipped_->setObjectName("skippedItemsButton");
    reveal_->setObjectName("revealButton");
    move_->setObjectName("insightsMoveButton");
    results_->setObjectName("insightsResults");
    markHeading(heading_, 1);
    duplicates_->setRootIsDecorated(true);
    progress_->setRange(0, 1000);

    // The map comes first: where the space goes is the first question.
    tabs_->addTab(storageMap_, {});
    tabs_->addTab(largeFiles_, {});
    tabs_->addTab(downloads_, {});
    tabs_->addTab(duplicates_, {});
    tabs_->addTab(security_, {});
    tabs_->addTab(system_, {});

    auto* top = new QHBoxLayout;
    top->addWidget(scan_);
    top->addWidget(cancel_);
    top->addWidget(progress_, 1);
    // The buttons keep their size while the progress bar is hidden.
    top->addStretch(0);
    for (QPushButton* b : {scan_, cancel_})
        b->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
    auto* actions = new QHBoxLayout;
    actions->addWidget(reveal_);
    actions->addWidget(move_);
    actions->addStretch(1);
    actions->addWidget(skipped_);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading_);
    layout->addLayout(top);
    layout->addWidget(summary_);
    layout->addWidget(message_);
    layout->addWidget(tabs_, 3);
    layout->addLayout(actions);
    layout->addWidget(results_, 1);

    InsightsViewModel& insights = session_.insights();
    connect(scan_, &QPushButton::clicked, &insights, &InsightsViewModel::startScan);
    connect(cancel_, &QPushButton::clicked, &insights, &InsightsViewModel::cancel);
    connect(move_, &QPushButton::clicked, this, &InsightsPage::moveToTrash);
    connect(reveal_, &QPushButton::clicked, this, &InsightsPage::reveal);
    connect(skipped_, &QPushButton::clicked, this, &InsightsPage::showSkipped);
    connect(tabs_, &QTabWidget::currentChanged, this, &InsightsPage::refresh);
    connect(&insights, &InsightsViewModel::phaseChanged, this, &InsightsPage::refresh);
    connect(&insights, &InsightsViewModel::messageChanged, this, &InsightsPage::refresh);
    connect(&insights, &InsightsViewModel::progressChanged, this, &InsightsPage::refreshProgress);
    connect(&insights, &InsightsViewModel::reportChanged, this, &InsightsPage::rebuildLists);
    connect(&insights, &InsightsViewModel::reportChanged, this,
            [this] { storageMap_->setTree(session_.insights().storageTree()); });
    connect(&insights, &InsightsViewModel::moveFinished, this, &InsightsPage::showResults);
    for (QTreeWidget* tree : {largeFiles_, downloads_, duplicates_, security_}) {
        connect(tree, &QTreeWidget::itemChanged, this, &InsightsPage::refresh);
        connect(tree, &QTreeWidget::currentItemChanged, this, &InsightsPage::refresh);
    }
    retranslate();
}

void InsightsPage::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    session_.insights().setSystemSamplingActive(true);
}

void InsightsPage::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    session_.insights().setSystemSamplingActive(false);
}

void InsightsPage::retranslate() {
    const AppLanguage language = session_.language();
    const UiCopy copy{language};
    heading_->setText(copy.text("Insights", "인사이트"));
    scan_->setText(copy.text("Scan", "검사"));
    cancel_->setText(copy.text("Cancel", "취소"));
    reveal_->setText(copy.text("Reveal in file manager", "파일 관리자에서 보기"));
    move_->setText(copy.text("Move to Trash", "휴지통으로 이동"));
    const InsightSection sections[] = {
        InsightSection::storageMap,     InsightSection::largestFiles,
        InsightSection::olderDownloads, InsightSection::duplicateGroups,
        InsightSection::securityReview, InsightSection::system};
    for (int i = 0; i < 6; ++i)
        tabs_->setTabText(i, qs(insightSectionTitle(sections[i], language)));
    storageMap_->setLanguage(language);
    for (QTreeWidget* tree : {largeFiles_, downloads_, duplicates_, security_}) {
        tree->setHeaderLabels({copy.text("Name", "이름"), copy.text("Size", "크기"),
                               copy.text("Folder", "폴더"), copy.text("Note", "메모")});
    }
    system_->setLanguage(language);
    rebuildLists();
    showResults();
}

QTreeWidget* InsightsPage::currentTree() const {
    return qobject_cast<QTreeWidget*>(tabs_->currentWidget());
}

QTreeWidgetItem* InsightsPage::findingItem(const FileInsight& f) {
    const AppLanguage language = session_.language();
    const UiCopy copy{language};
    const InsightsViewModel& insights = session_.insights();
    auto* item = new QTreeWidgetItem;
    item->setText(kName, qs(printable(f.displayName)));
    item->setText(kSize, qs(bytesText(f.sizeBytes, language)));
    item->setTextAlignment(kSize, Qt::AlignRight | Qt::AlignVCenter);
    item->setText(kFolder, qs(printable(f.parentPath)));
    item->setData(kName, kIDRole, qs(f.id));
    item->setData(kName, kPathRole, QString::fromStdString(f.url.path));
    item->setToolTip(kName, qs(printable(displayPath(f.url.path, insights.home()))));
    QString noteText;
    switch (f.kind) {
        case FileInsightKind::download:
            if (f.lastModified) {
                noteText =
                    qs(downloadAgeText(insights.report().scannedAt - *f.lastModified, language));
            }
            break;
        case FileInsightKind::securitySignal:
            noteText =
                qs(securitySignalText(f.detail, language)) + QStringLiteral(" · ") +
                severityText(securitySeverity(f.displayName, session_.options().catalogue), copy);
            break;
        case FileInsightKind::duplicate:
            if (insights.isRecommendedKeeper(f)) {
                noteText = copy.text("Recommended to keep", "남기기를 권장");
                const auto& reasons = insights.keepers().at(f.id).reasons;
                if (!reasons.empty())
                    noteText += QStringLiteral(": ") + qs(keeperReasonsText(reasons, language));
                QFont bold = item->font(kName);
                bold.setBold(true);
                item->setFont(kName, bold);
            }
            break;
        case FileInsightKind::largeFile:
            break;
    }
    item->setText(kNote, noteText);
    item->setToolTip(kNote, noteText);
    if (insights.mayMoveToTrash(f.id)) {
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(kName, Qt::Unchecked);
    } else {
        item->setToolTip(kSize, copy.text("This item cannot be moved to the Trash from here.",
                                          "이 항목은 여기에서 휴지통으로 옮길 수 없습니다."));
    }
    return item;
}

void InsightsPage::fillFindings(QTreeWidget* tree, const std::vector<FileInsight>& findings) {
    for (const auto& f : findings) tree->addTopLevelItem(findingItem(f));
}

void InsightsPage::rebuildLists() {
    const AppLanguage language = session_.language();
    const UiCopy copy{language};
    const InsightsViewModel& insights = session_.insights();
    const MacStorageInsightReport& report = insights.report();
    for (QTreeWidget* tree : {largeFiles_, downloads_, duplicates_, security_}) {
        const QSignalBlocker quiet(tree);
        tree->clear();
    }
    {
        const QSignalBlocker quiet(largeFiles_);
        fillFindings(largeFiles_, report.largeFiles);
    }
    {
        const QSignalBlocker quiet(downloads_);
        fillFindings(downloads_, report.downloadFiles);
    }
    {
        const QSignalBlocker quiet(security_);
        fillFindings(security_, report.securityFindings);
    }
    {
        const QSignalBlocker quiet(duplicates_);
        for (const auto& group : report.duplicateGroups) {
            const std::string copies = std::to_string(group.files.size());
            const std::string each = bytesText(group.sizeBytes, language);
            const std::string recoverable = bytesText(group.estimatedReclaimableBytes(), language);
            auto* top = new QTreeWidgetItem(duplicates_);
            // i18n-example: "2 copies of 22.0 MB, up to 0 bytes recoverable"
            top->setText(
                kName,
                copy.text(copies + " copies of " + each + ", up to " + recoverable + " recoverable",
                          each + " 사본 " + copies + "개, 최대 " + recoverable + " 확보 가능"));
            top->setFirstColumnSpanned(true);
            for (const auto& f : group.files) top->addChild(findingItem(f));
            if (const int64_t linked = group.hardLinkedMemberCount(); linked > 0) {
                auto* noteItem = new QTreeWidgetItem(top);
                noteItem->setFirstColumnSpanned(true);
                noteItem->setFlags(Qt::ItemIsEnabled);
                if (linked == 1) {
                    noteItem->setText(
                        kName, copy.text("1 of these copies is a hard link (one file under several "
                                         "names): deleting it frees no space, and the recoverable "
                                         "figure leaves it out",
                                         "이 중 사본 1개는 하드 링크(여러 이름으로 된 하나의 "
                                         "파일)입니다. 이 사본은 지워도 공간이 생기지 않으므로 "
                                         "확보 가능한 용량에서 뺐습니다."));
                } else {
                    const std::string count = std::to_string(linked);
                    // clang-format off
                    // i18n-example: "2 of these copies are hard links (one file under several names): deleting such a copy frees no space, and the recoverable figure leaves them out"
                    // clang-format on
                    noteItem->setText(
                        kName,
                        copy.text(count + " of these copies are hard links (one file under "
                                          "several names): deleting such a copy frees no "
                                          "space, and the recoverable figure leaves them out",
                                  "이 중 사본 " + count +
                                      "개는 하드 링크(여러 이름으로 된 하나의 파일)입니다. "
                                      "이런 사본은 지워도 공간이 생기지 않으므로 확보 "
                                      "가능한 용량에서 뺐습니다."));
                }
            }
            top->setExpanded(true);
        }
    }
    for (QTreeWidget* tree : {largeFiles_, downloads_, duplicates_, security_}) {
        tree->resizeColumnToContents(kName);
        tree->resizeColumnToContents(kSize);
    }
    // i18n-example: "Show skipped items (3)"
    skipped_->setText(copy.text(fmt::format("Show skipped items ({})", report.skippedItems.size()),
                                fmt::format("건너뛴 항목 보기 ({})", report.skippedItems.size())));
    skipped_->setEnabled(!report.skippedItems.empty());
    refresh();
}

void InsightsPage::refreshProgress() {
    const auto& p = session_.insights().progress();
    progress_->setValue(p ? int(p->fractionCompleted * 1000) : 0);
}

void InsightsPage::refresh() {
    const AppLanguage language = session_.language();
    const UiCopy copy{language};
    const InsightsViewModel& insights = session_.insights();
    const MacStorageInsightReport& report = insights.report();
    const bool idle = insights.phase() == InsightsViewModel::Phase::idle;
    scan_->setEnabled(idle);
    cancel_->setEnabled(!idle);
    cancel_->setVisible(!idle);
    progress_->setVisible(insights.phase() == InsightsViewModel::Phase::scanning);
    refreshProgress();
    if (!report.hasCompletedScan) {
        summary_->setText(copy.text(
            "Nothing scanned yet. Scan to see the largest files, older downloads, duplicate "
            "files, security findings and the storage map of your folders. Scanning changes "
            "nothing.",
            "아직 검사하지 않았습니다. 검사하면 폴더의 큰 파일, 오래된 다운로드, 중복 파일, "
            "보안 항목과 저장 공간 지도를 볼 수 있습니다. 검사는 아무것도 바꾸지 않습니다."));
    } else {
        int64_t total = 0;
        for (const auto& item : report.heatmapItems) total += item.sizeBytes;
        const std::string scanned = bytesText(total, language);
        const std::string large =
            countText(int64_t(report.largeFiles.size()), "large file", "large files");
        const std::string downloads =
            countText(int64_t(report.downloadFiles.size()), "older download", "older downloads");
        const std::string groups = countText(int64_t(report.duplicateGroups.size()),
                                             "duplicate group", "duplicate groups");
        const std::string security = countText(int64_t(report.securityFindings.size()),
                                               "security finding", "security findings");
        // clang-format off
        // i18n-example: "3 large files, 1 older download, 1 duplicate group, 0 security findings; 1.20 GB in the scanned folders."
        // clang-format on
        summary_->setText(copy.text(
            large + ", " + downloads + ", " + groups + ", " + security + "; " + scanned +
                " in the scanned folders.",
            fmt::format("큰 파일 {}개, 오래된 다운로드 {}개, 중복 그룹 {}개, 보안 항목 {}개. "
                        "검사한 폴더에 {}.",
                        report.largeFiles.size(), report.downloadFiles.size(),
                        report.duplicateGroups.size(), report.securityFindings.size(), scanned)));
    }
    const auto text = insights.message(language);
    message_->setText(text ? qs(*text) : QString());
    message_->setVisible(text.has_value());
    QTreeWidget* tree = currentTree();
    const bool findings = tree != nullptr;
    reveal_->setVisible(findings);
    move_->setVisible(findings);
    reveal_->setEnabled(findings && tree->currentItem() &&
                        !tree->currentItem()->data(kName, kPathRole).toString().isEmpty());
    move_->setEnabled(idle && findings && !checkedFindings().empty());
}

std::vector<std::string> InsightsPage::checkedFindings() const {
    std::vector<std::string> ids;
    QTreeWidget* tree = currentTree();
    if (!tree) return ids;
    for (QTreeWidgetItemIterator it(tree); *it; ++it) {
        if ((*it)->flags().testFlag(Qt::ItemIsUserCheckable) &&
            (*it)->checkState(kName) == Qt::Checked) {
            ids.push_back((*it)->data(kName, kIDRole).toString().toStdString());
        }
    }
    return ids;
}

void InsightsPage::moveToTrash() {
    InsightsViewModel& insights = session_.insights();
    const std::vector<std::string> ids = checkedFindings();
    std::vector<const FileInsight*> chosen;
    for (const auto& id : ids) {
        if (const FileInsight* f = findInsight(insights.report(), id)) chosen.push_back(f);
    }
    if (chosen.empty()) return;
    InsightConfirmationDialog dialog(chosen, insights.home(), session_.language(), this);
    if (dialog.exec() != QDialog::Accepted) return;
    insights.moveToTrash(ids);
}

void InsightsPage::reveal() {
    QTreeWidget* tree = currentTree();
    if (!tree || !tree->currentItem()) return;
    const QString path = tree->currentItem()->data(kName, kPathRole).toString();
    if (!path.isEmpty()) revealInFileManager(path.toStdString());
}

void InsightsPage::showSkipped() {
    const AppLanguage language = session_.language();
    const UiCopy copy{language};
    const InsightsViewModel& insights = session_.insights();
    QDialog dialog(this);
    dialog.setObjectName("skippedItemsDialog");
    dialog.setWindowTitle(qs(insightSectionTitle(InsightSection::skipped, language)));
    auto* layout = new QVBoxLayout(&dialog);
    auto* list = new QListWidget;
    list->setObjectName("skippedItems");
    for (const auto& s : insights.report().skippedItems) {
        list->addItem(qs(printable(displayPath(s.url.path, insights.home()))) + " — " +
                      qs(insightSkipReasonText(s.reason, language)));
    }
    layout->addWidget(list);
    auto* buttons = new QDialogButtonBox;
    buttons->addButton(copy.text("Close", "닫기"), QDialogButtonBox::RejectRole);
    connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    layout->addWidget(buttons);
    dialog.resize(600, 400);
    dialog.exec();
}

void InsightsPage::showResults() {
    const AppLanguage language = session_.language();
    const UiCopy copy{language};
    const InsightsViewModel& insights = session_.insights();
    results_->clear();
    for (const auto& r : insights.moveResults()) {
        const QString where = qs(printable(displayPath(r.path, insights.home())));
        switch (r.state) {
            case InsightMoveResult::State::moved:
                results_->addItem(copy.text("Moved to Trash: ", "휴지통으로 이동함: ") + where);
                break;
            case InsightMoveResult::State::failed:
                results_->addItem(copy.text("Left in place: ", "그대로 둠: ") + where + " — " +
                                  qs(presentedReason(r.reason, language)));
                break;
            case InsightMoveResult::State::keptLastCopy:
                results_->addItem(copy.text("Left in place: ", "그대로 둠: ") + where + " — " +
                                  copy.text("the last copy of its duplicate group is kept",
                                            "중복 그룹의 마지막 사본은 남겨 둡니다"));
                break;
            case InsightMoveResult::State::notOffered:
                results_->addItem(copy.text("Left in place: ", "그대로 둠: ") + where + " — " +
                                  copy.text("This item cannot be moved to the Trash from here.",
                                            "이 항목은 여기에서 휴지통으로 옮길 수 없습니다."));
                break;
        }
    }
    results_->setVisible(results_->count() > 0);
    refresh();
}

}  // namespace velmora::desktop
