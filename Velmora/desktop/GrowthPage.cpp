#include "Velmora/desktop/GrowthPage.h"

#include <QComboBox>
#include <QDateTime>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "Velmora/desktop/Appearance.h"
#include "Velmora/desktop/DesktopSession.h"
#include "Velmora/desktop/StoragePalette.h"
#include "Velmora/desktop/StorageTrendWidget.h"
#include "Velmora/desktop/UiText.h"
#include "VelmoraUI/dashboard/GrowthTexts.h"

namespace velmora::desktop {

namespace {

QDateTime dateTime(Date date) {
    return QDateTime::fromMSecsSinceEpoch(qint64((date + kReferenceDateUnixOffset) * 1000));
}

QTreeWidget* changeTree(const char* objectName, int columns) {
    auto* tree = new QTreeWidget;
    tree->setObjectName(objectName);
    tree->setColumnCount(columns);
    tree->setHeaderHidden(true);
    tree->setRootIsDecorated(false);
    tree->setSelectionMode(QAbstractItemView::NoSelection);
    tree->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    tree->header()->setStretchLastSection(true);
    return tree;
}

}  // namespace

GrowthPage::GrowthPage(DesktopSession& session, QWidget* parent)
    : QWidget(parent),
      session_(session),
      heading_(new QLabel),
      since_(new QComboBox),
      headline_(new QLabel),
      notices_(new QLabel),
      unavailable_(new QLabel),
      scan_(new QPushButton),
      timelineHeading_(new QLabel),
      timeline_(new StorageTrendWidget),
      categoriesHeading_(new QLabel),
      categories_(changeTree("growthCategories", 3)),
      foldersHeading_(new QLabel),
      folders_(changeTree("growthFolders", 2)),
      notComparedHeading_(new QLabel),
      notCompared_(changeTree("growthNotCompared", 2)) {
    setObjectName("growthPage");
    since_->setObjectName("growthSince");
    headline_->setObjectName("growthHeadline");
    unavailable_->setObjectName("growthUnavailable");
    scan_->setObjectName("growthScanButton");
    timeline_->setObjectName("growthTimeline");
    markHeading(heading_, 1);
    for (QLabel* l : {timelineHeading_, categoriesHeading_, foldersHeading_, notComparedHeading_})
        markHeading(l, 2);
    for (QLabel* l : {headline_, notices_, unavailable_}) {
        l->setWordWrap(true);
        l->setTextInteractionFlags(Qt::TextSelectableByMouse);
    }
    categories_->setRootIsDecorated(true);
    for (int i = 0; i < 3; ++i) since_->addItem(QString());

    auto* top = new QHBoxLayout;
    top->addWidget(heading_, 1);
    top->addWidget(since_);
    auto* empty = new QHBoxLayout;
    empty->addWidget(unavailable_, 1);
    empty->addWidget(scan_, 0, Qt::AlignTop);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(headline_);
    layout->addWidget(notices_);
    layout->addLayout(empty);
    layout->addWidget(timelineHeading_);
    layout->addWidget(timeline_, 2);
    layout->addWidget(categoriesHeading_);
    layout->addWidget(categories_, 3);
    layout->addWidget(foldersHeading_);
    layout->addWidget(folders_, 1);
    layout->addWidget(notComparedHeading_);
    layout->addWidget(notCompared_, 1);
    layout->addStretch(0);

    GrowthViewModel& growth = session_.growth();
    connect(&growth, &GrowthViewModel::reportChanged, this, &GrowthPage::refresh);
    connect(&growth, &GrowthViewModel::busyChanged, this,
            [this] { since_->setEnabled(!session_.growth().isBusy()); });
    connect(since_, &QComboBox::activated, this,
            [this](int index) { session_.growth().setSince(GrowthSince(index)); });
    connect(scan_, &QPushButton::clicked, this, &GrowthPage::scanRequested);
    // A scan that ends while the page is shown keeps a new snapshot: read again.
    connect(&session_.cleaner(), &CleanerViewModel::reportChanged, this, [this] {
        if (isVisible()) session_.growth().reload();
    });
    retranslate();
}

void GrowthPage::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    session_.growth().reload();
}

void GrowthPage::retranslate() {
    const AppLanguage language = session_.language();
    const UiCopy copy{language};
    heading_->setText(qs(growthHeading(language)));
    since_->setItemText(0, qs(sincePreviousScanLabel(language)));
    since_->setItemText(1, qs(sinceDaysAgoLabel(7, language)));
    since_->setItemText(2, qs(sinceDaysAgoLabel(30, language)));
    scan_->setText(copy.text("Scan", "검사"));
    timelineHeading_->setText(qs(trendTimelineHeading(language)));
    timeline_->setAccessibleName(qs(trendTimelineHeading(language)));
    categoriesHeading_->setText(qs(byCategoryHeading(language)));
    foldersHeading_->setText(qs(byFolderHeading(language)));
    notComparedHeading_->setText(qs(notComparedHeading(language)));
    timeline_->setLanguage(language);
    refresh();
}

void GrowthPage::refresh() {
    const AppLanguage language = session_.language();
    const GrowthViewModel& growth = session_.growth();
    const QLocale locale = uiLocale(language);
    const auto writeDate = [&locale](Date date) {
        return locale.toString(dateTime(date), QLocale::ShortFormat).toStdString();
    };
    since_->setCurrentIndex(int(growth.since()));

    const auto headline = growth.headline(language, writeDate);
    headline_->setVisible(headline.has_value());
    if (headline) headline_->setText(qs(*headline));
    QStringList notices;
    for (const auto& notice :
         {growth.storeNotice(language), growth.sinceNotReachedSentence(language, writeDate),
          growth.evidenceNotice(language)}) {
        if (notice) notices << qs(*notice);
    }
    notices_->setText(notices.join('\n'));
    notices_->setVisible(!notices.isEmpty());
    const auto unavailable = growth.unavailableSentence(language);
    unavailable_->setVisible(unavailable.has_value());
    if (unavailable) unavailable_->setText(qs(*unavailable));
    // A scan is offered only while there are too few scans to compare; another scan does not
    // mend a pair made under other rules.
    scan_->setVisible(unavailable.has_value() && growth.timeline().size() < 2);

    std::vector<visual::StorageTrendPoint> points;
    for (const auto& p : growth.timeline())
        points.push_back({dateTime(p.capturedAt), p.totalBytes});
    timelineHeading_->setVisible(points.size() > 1);
    timeline_->setVisible(points.size() > 1);
    timeline_->setPoints(std::move(points));

    categories_->clear();
    for (const auto& row : growth.categoryRows(language)) {
        auto* item =
            new QTreeWidgetItem(categories_, {qs(row.changeText), qs(row.title), qs(row.tally)});
        item->setTextAlignment(0, Qt::AlignRight | Qt::AlignVCenter);
        for (const auto& entry : row.items) {
            const QString modified =
                entry.lastModified ? qs(itemModifiedText(writeDate(*entry.lastModified), language))
                                   : QString();
            auto* child =
                new QTreeWidgetItem(item, {qs(entry.changeText), qs(entry.kindLabel), modified});
            child->setTextAlignment(0, Qt::AlignRight | Qt::AlignVCenter);
        }
        if (row.hiddenItems > 0)
            new QTreeWidgetItem(item, {QString(), mergedLabel(row.hiddenItems, language)});
    }
    categoriesHeading_->setVisible(categories_->topLevelItemCount() > 0);
    categories_->setVisible(categories_->topLevelItemCount() > 0);

    folders_->clear();
    for (const auto& row : growth.folderRows(language)) {
        auto* item = new QTreeWidgetItem(folders_, {qs(row.changeText), qs(row.name)});
        item->setTextAlignment(0, Qt::AlignRight | Qt::AlignVCenter);
    }
    foldersHeading_->setVisible(folders_->topLevelItemCount() > 0);
    folders_->setVisible(folders_->topLevelItemCount() > 0);

    notCompared_->clear();
    for (const auto& row : growth.notComparedRows(language))
        new QTreeWidgetItem(notCompared_, {qs(row.name), qs(row.why.value_or(""))});
    notComparedHeading_->setVisible(notCompared_->topLevelItemCount() > 0);
    notCompared_->setVisible(notCompared_->topLevelItemCount() > 0);
}

}  // namespace velmora::desktop
