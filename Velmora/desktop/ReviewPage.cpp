#include "Velmora/desktop/ReviewPage.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>
#include <set>

#include "CleanerCore/base/PrintableText.h"
#include "Velmora/desktop/Appearance.h"
#include "Velmora/desktop/CandidateModel.h"
#include "Velmora/desktop/DesktopSession.h"
#include "Velmora/desktop/ReviewDialogs.h"
#include "Velmora/desktop/UiText.h"
#include "VelmoraUI/dashboard/CleanupTexts.h"
#include "VelmoraUI/dashboard/CoreTexts.h"
#include "VelmoraUI/dashboard/Formatting.h"

namespace velmora::desktop {

ReviewPage::ReviewPage(DesktopSession& session, QWidget* parent)
    : QWidget(parent),
      session_(session),
      model_(new CandidateModel(
          session.cleaner(), [&session] { return session.language(); }, this)),
      filter_(new CandidateFilterModel(this)),
      heading_(new QLabel),
      search_(new QLineEdit),
      category_(new QComboBox),
      safety_(new QComboBox),
      table_(new QTableView),
      summary_(new QLabel),
      reappearance_(new QLabel),
      selectAll_(new QPushButton),
      selectNone_(new QPushButton),
      details_(new QPushButton),
      ignore_(new QToolButton),
      move_(new QPushButton),
      resultsHeading_(new QLabel),
      results_(new QListWidget),
      message_(new QLabel) {
    setObjectName("reviewPage");
    table_->setObjectName("candidateTable");
    move_->setObjectName("moveToTrashButton");
    results_->setObjectName("cleanupResults");
    search_->setObjectName("reviewSearch");
    ignore_->setObjectName("ignoreButton");
    summary_->setObjectName("selectionSummary");
    message_->setObjectName("reviewMessage");
    reappearance_->setObjectName("reviewReappearance");
    confirm_ = [this](QWidget* parentWidget) {
        ConfirmationDialog dialog(session_.cleaner().selectedCandidates(),
                                  session_.cleaner().home(), session_.language(), parentWidget);
        return dialog.exec() == QDialog::Accepted;
    };

    filter_->setSourceModel(model_);
    table_->setModel(filter_);
    table_->setSortingEnabled(true);
    table_->sortByColumn(CandidateModel::size, Qt::DescendingOrder);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    table_->verticalHeader()->hide();
    table_->horizontalHeader()->setStretchLastSection(true);
    table_->horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);
    table_->setWordWrap(false);
    table_->setAlternatingRowColors(true);
    markHeading(heading_, 1);
    summary_->setWordWrap(true);
    reappearance_->setWordWrap(true);
    message_->setWordWrap(true);
    results_->setMaximumHeight(160);
    ignore_->setPopupMode(QToolButton::InstantPopup);
    ignore_->setMenu(new QMenu(ignore_));

    auto* filters = new QHBoxLayout;
    filters->addWidget(search_, 2);
    filters->addWidget(category_, 1);
    filters->addWidget(safety_, 1);
    auto* actions = new QHBoxLayout;
    actions->addWidget(selectAll_);
    actions->addWidget(selectNone_);
    actions->addWidget(details_);
    actions->addWidget(ignore_);
    actions->addStretch(1);
    actions->addWidget(move_);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading_);
    layout->addWidget(reappearance_);
    layout->addLayout(filters);
    layout->addWidget(table_, 1);
    layout->addWidget(summary_);
    layout->addLayout(actions);
    layout->addWidget(message_);
    layout->addWidget(resultsHeading_);
    layout->addWidget(results_);

    CleanerViewModel& cleaner = session_.cleaner();
    connect(search_, &QLineEdit::textChanged, filter_, &CandidateFilterModel::setText);
    connect(category_, &QComboBox::currentIndexChanged, this, [this] {
        const QVariant v = category_->currentData();
        filter_->setCategory(v.isValid() ? std::optional(CleanupCategory(v.toInt()))
                                         : std::nullopt);
    });
    connect(safety_, &QComboBox::currentIndexChanged, this, [this] {
        const QVariant v = safety_->currentData();
        filter_->setSafety(v.isValid() ? std::optional(CleanupSafety(v.toInt())) : std::nullopt);
    });
    connect(selectAll_, &QPushButton::clicked, this,
            [this] { session_.cleaner().setSelected(shownRows(), true); });
    connect(selectNone_, &QPushButton::clicked, this,
            [this] { session_.cleaner().setSelected(shownRows(), false); });
    connect(details_, &QPushButton::clicked, this, &ReviewPage::showDetails);
    connect(table_, &QTableView::doubleClicked, this, &ReviewPage::showDetails);
    connect(move_, &QPushButton::clicked, this, &ReviewPage::moveToTrash);
    connect(&cleaner, &CleanerViewModel::selectionChanged, this, &ReviewPage::refresh);
    connect(&cleaner, &CleanerViewModel::phaseChanged, this, &ReviewPage::refresh);
    connect(&cleaner, &CleanerViewModel::reportChanged, this, [this] {
        refreshFilters();
        refresh();
    });
    connect(&cleaner, &CleanerViewModel::messageChanged, this, &ReviewPage::refresh);
    connect(&cleaner, &CleanerViewModel::cleanupItemFinished, this, &ReviewPage::addResult);
    connect(&cleaner, &CleanerViewModel::cleanupFinished, this, &ReviewPage::refresh);
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &ReviewPage::refresh);
    retranslate();
}

void ReviewPage::retranslate() {
    const UiCopy copy{session_.language()};
    heading_->setText(copy.text("Review", "검토"));
    search_->setPlaceholderText(copy.text("Filter by name or path", "이름이나 경로로 거르기"));
    selectAll_->setText(copy.text("Select shown", "보이는 항목 선택"));
    selectNone_->setText(copy.text("Clear shown", "보이는 항목 선택 해제"));
    details_->setText(copy.text("Details…", "자세히…"));
    ignore_->setText(copy.text("Ignore", "무시"));
    QMenu* menu = ignore_->menu();
    menu->clear();
    const std::pair<CleanupIgnoreDuration, QString> durations[] = {
        {CleanupIgnoreDuration::oneDay, copy.text("For a day", "하루 동안")},
        {CleanupIgnoreDuration::oneWeek, copy.text("For a week", "일주일 동안")},
        {CleanupIgnoreDuration::untilShownAgain,
         copy.text("Until I show it again", "다시 표시할 때까지")},
    };
    for (const auto& [duration, title] : durations) {
        menu->addAction(title, this, [this, duration = duration] {
            session_.cleaner().ignore(chosenRows(), duration);
        });
    }
    move_->setText(copy.text("Move to Trash…", "휴지통으로 이동…"));
    resultsHeading_->setText(copy.text("Results", "결과"));
    model_->retranslate();
    refreshFilters();
    refresh();
}

void ReviewPage::refreshFilters() {
    const AppLanguage language = session_.language();
    const UiCopy copy{language};
    const auto& candidates = session_.cleaner().report().candidates;
    std::map<CleanupCategory, std::pair<int64_t, int64_t>> perCategory;
    for (const auto& c : candidates) {
        auto& [count, bytes] = perCategory[c.category];
        ++count;
        bytes += c.sizeBytes;
    }
    const QVariant chosenCategory = category_->currentData();
    const QVariant chosenSafety = safety_->currentData();
    const QSignalBlocker blockCategory(category_);
    const QSignalBlocker blockSafety(safety_);
    category_->clear();
    category_->addItem(copy.text("All categories", "모든 분류"));
    for (const auto& [category, figures] : perCategory) {
        category_->addItem(qs(categoryTitle(category, language)) + " — " +
                               qs(itemsAndBytesText(figures.first, figures.second, language)),
                           int(category));
    }
    category_->setCurrentIndex(std::max(0, category_->findData(chosenCategory)));
    safety_->clear();
    safety_->addItem(copy.text("All safety levels", "모든 안전 수준"));
    for (CleanupSafety s :
         {CleanupSafety::safe, CleanupSafety::caution, CleanupSafety::manualReview})
        safety_->addItem(qs(safetyTitle(s, language)), int(s));
    safety_->setCurrentIndex(std::max(0, safety_->findData(chosenSafety)));
    // The filter follows what the boxes show now (a category may have left the report).
    filter_->setCategory(category_->currentData().isValid()
                             ? std::optional(CleanupCategory(category_->currentData().toInt()))
                             : std::nullopt);
}

std::vector<size_t> ReviewPage::shownRows() const {
    std::vector<size_t> rows;
    rows.reserve(size_t(filter_->rowCount()));
    for (int r = 0; r < filter_->rowCount(); ++r)
        rows.push_back(size_t(filter_->mapToSource(filter_->index(r, 0)).row()));
    return rows;
}

std::vector<size_t> ReviewPage::chosenRows() const {
    std::set<size_t> rows;
    for (const QModelIndex& i : table_->selectionModel()->selectedRows())
        rows.insert(size_t(filter_->mapToSource(i).row()));
    return {rows.begin(), rows.end()};
}

void ReviewPage::refresh() {
    const AppLanguage language = session_.language();
    const UiCopy copy{language};
    CleanerViewModel& cleaner = session_.cleaner();
    const bool reviewing = cleaner.phase() == CleanerViewModel::Phase::review;
    const auto preview = cleaner.selectionPreview();
    QString summary = qs(selectionSummaryText(preview.count, preview.bytes, language));
    if (cleaner.ignoredCount() > 0) {
        const std::string n = std::to_string(cleaner.ignoredCount());
        // i18n-example: "3 ignored items are hidden."
        summary +=
            " " + (cleaner.ignoredCount() == 1
                       ? copy.text("1 ignored item is hidden.", "무시한 항목 1개를 숨겼습니다.")
                       : copy.text(n + " ignored items are hidden.",
                                   "무시한 항목 " + n + "개를 숨겼습니다."));
    }
    summary_->setText(summary);
    const auto reappearance = cleaner.reappearanceText(language);
    reappearance_->setVisible(reappearance.has_value());
    if (reappearance) reappearance_->setText(qs(*reappearance));
    const bool rowsChosen = table_->selectionModel()->hasSelection();
    move_->setEnabled(reviewing && preview.count > 0);
    ignore_->setEnabled(reviewing && rowsChosen);
    details_->setEnabled(rowsChosen);
    selectAll_->setEnabled(reviewing);
    selectNone_->setEnabled(reviewing);
    const auto message = cleaner.message(language);
    QString text = message ? qs(*message) : QString();
    if (const auto& outcome = cleaner.cleanupOutcome()) {
        CleanupTally tally;
        for (const auto& r : cleaner.cleanupResults()) {
            if (r.cleaned)
                ++tally.cleaned;
            else
                ++tally.leftInPlace;
        }
        tally.cleanedBytes = outcome->cleanedBytes;
        tally.cancelled = outcome->wasCancelled;
        text = qs(cleanupSummaryText(tally, language)) + (text.isEmpty() ? "" : "\n" + text);
    }
    message_->setText(text);
    message_->setVisible(!text.isEmpty());
    const bool hasResults = !cleaner.cleanupResults().empty();
    resultsHeading_->setVisible(hasResults);
    results_->setVisible(hasResults);
    if (cleaner.phase() == CleanerViewModel::Phase::cleaning && results_->count() > 0 &&
        cleaner.cleanupResults().empty()) {
        results_->clear();
    }
}

void ReviewPage::addResult(int index) {
    const auto& results = session_.cleaner().cleanupResults();
    if (index == 0) results_->clear();
    if (size_t(index) >= results.size()) return;
    const AppLanguage language = session_.language();
    const UiCopy copy{language};
    const CleanupItemResult& r = results[size_t(index)];
    const QString where =
        qs(printable(displayPath(r.candidate.url.path, session_.cleaner().home())));
    results_->addItem(r.cleaned ? copy.text("Moved to Trash: ", "휴지통으로 이동함: ") + where
                                : copy.text("Left in place: ", "그대로 둠: ") + where + " — " +
                                      qs(presentedReason(r.reason, language)));
    results_->scrollToBottom();
    refresh();
}

void ReviewPage::moveToTrash() {
    CleanerViewModel& cleaner = session_.cleaner();
    if (cleaner.selectedCandidates().empty()) return;
    if (!confirm_(this)) return;
    results_->clear();
    cleaner.startCleanup();
}

void ReviewPage::showDetails() {
    const auto rows = chosenRows();
    if (rows.empty()) return;
    const auto& candidates = session_.cleaner().report().candidates;
    if (rows.front() >= candidates.size()) return;
    CandidateDetailsDialog dialog(candidates[rows.front()], session_.cleaner().home(),
                                  session_.options().catalogue, session_.language(), this);
    dialog.exec();
}

}  // namespace velmora::desktop
