#include "Velmora/desktop/ReliefPage.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>

#include "Velmora/desktop/Appearance.h"
#include "Velmora/desktop/DesktopSession.h"
#include "Velmora/desktop/UiText.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/relief/ResourceReliefTexts.h"
#include "VelmoraUI/relief/ResourceReliefViewModel.h"

namespace velmora::desktop {

namespace {

QString percentText(std::optional<double> fraction, AppLanguage language) {
    if (!fraction) return QStringLiteral("—");
    return uiLocale(language).toString(*fraction * 100.0, 'f', 1) + QStringLiteral(" %");
}

}  // namespace

// ---- ReliefModel ----

ReliefModel::ReliefModel(ResourceReliefViewModel& model, AppLanguage language, QObject* parent)
    : QAbstractTableModel(parent), model_(model), language_(language) {
    connect(&model_, &ResourceReliefViewModel::candidatesChanged, this, &ReliefModel::reset);
    connect(&model_, &ResourceReliefViewModel::selectionChanged, this, [this] {
        if (rowCount() > 0) emit dataChanged(index(0, name), index(rowCount() - 1, name));
    });
}

const std::vector<ResourceReliefCandidate>& ReliefModel::rows() const {
    return ranking_ == Ranking::cpu ? model_.cpuSortedCandidates()
                                    : model_.memorySortedCandidates();
}

void ReliefModel::reset() {
    beginResetModel();
    endResetModel();
}

void ReliefModel::setRanking(Ranking ranking) {
    if (ranking == ranking_) return;
    beginResetModel();
    ranking_ = ranking;
    endResetModel();
}

void ReliefModel::setLanguage(AppLanguage language) {
    language_ = language;
    emit headerDataChanged(Qt::Horizontal, 0, numberOfColumns - 1);
    if (rowCount() > 0) emit dataChanged(index(0, 0), index(rowCount() - 1, numberOfColumns - 1));
}

const ResourceReliefCandidate* ReliefModel::candidate(int row) const {
    const auto& list = rows();
    return row >= 0 && size_t(row) < list.size() ? &list[size_t(row)] : nullptr;
}

int ReliefModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(rows().size());
}

int ReliefModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(numberOfColumns);
}

QVariant ReliefModel::data(const QModelIndex& index, int role) const {
    const ResourceReliefCandidate* c = candidate(index.row());
    if (!c) return {};
    const UiCopy copy{language_};
    if (role == Qt::CheckStateRole && index.column() == name) {
        if (!c->eligibility.isActionable) return {};
        return model_.selectedIDs().count(c->id) ? Qt::Checked : Qt::Unchecked;
    }
    if (role == Qt::TextAlignmentRole && (index.column() == cpu || index.column() == memory))
        return int(Qt::AlignRight | Qt::AlignVCenter);
    if (role == Qt::ToolTipRole) {
        const std::string pid = std::to_string(c->processIdentifier);
        // i18n-example: "Identifier: org.gnome.texteditor:4120 · process 4120"
        return copy.text("Identifier: " + c->id.rawValue + " · process " + pid,
                         "식별자: " + c->id.rawValue + " · 프로세스 " + pid);
    }
    if (role != Qt::DisplayRole) return {};
    switch (index.column()) {
        case name:
            return qs(c->displayName);
        case cpu:
            return percentText(c->usage.cpuFractionOfTotalCapacity(), language_);
        case memory: {
            const auto bytes = c->usage.residentMemoryBytes();
            return bytes ? qs(formatBytes(int64_t(std::min<uint64_t>(*bytes, INT64_MAX))))
                         : QStringLiteral("—");
        }
        case status:
            if (c->eligibility.isActionable)
                return copy.text("Can be asked to quit", "종료를 요청할 수 있음");
            return qs(reliefProtectionSentence(*c->eligibility.reason, language_));
        default:
            return {};
    }
}

bool ReliefModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    const ResourceReliefCandidate* c = candidate(index.row());
    if (!c || role != Qt::CheckStateRole || index.column() != name) return false;
    const bool wanted = value.toInt() == Qt::Checked;
    if (wanted != bool(model_.selectedIDs().count(c->id))) model_.toggleSelection(c->id);
    return true;
}

Qt::ItemFlags ReliefModel::flags(const QModelIndex& index) const {
    Qt::ItemFlags f = QAbstractTableModel::flags(index);
    const ResourceReliefCandidate* c = candidate(index.row());
    if (c && index.column() == name && c->eligibility.isActionable) f |= Qt::ItemIsUserCheckable;
    return f;
}

QVariant ReliefModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    const UiCopy copy{language_};
    switch (section) {
        case name:
            return copy.text("Application", "앱");
        case cpu:
            return copy.text("CPU", "CPU");
        case memory:
            return copy.text("Memory", "메모리");
        case status:
            return copy.text("Quit request", "종료 요청");
        default:
            return {};
    }
}

// ---- ReliefPage ----

ReliefPage::ReliefPage(DesktopSession& session, QWidget* parent)
    : QWidget(parent),
      session_(session),
      model_(session.relief()),
      language_(session.language()),
      rows_(new ReliefModel(model_, language_, this)),
      heading_(new QLabel(this)),
      explanation_(new QLabel(this)),
      note_(new QLabel(this)),
      rankingLabel_(new QLabel(this)),
      byCPU_(new QPushButton(this)),
      byMemory_(new QPushButton(this)),
      ranking_(new QButtonGroup(this)),
      table_(new QTableView(this)),
      refresh_(new QPushButton(this)),
      request_(new QPushButton(this)),
      status_(new QLabel(this)),
      resultsHeading_(new QLabel(this)),
      results_(new QListWidget(this)) {
    markHeading(heading_, 1);
    markHeading(resultsHeading_, 2);
    explanation_->setWordWrap(true);
    note_->setWordWrap(true);
    status_->setWordWrap(true);

    for (QPushButton* b : {byCPU_, byMemory_}) b->setCheckable(true);
    byCPU_->setChecked(true);
    ranking_->addButton(byCPU_);
    ranking_->addButton(byMemory_);
    ranking_->setExclusive(true);

    table_->setModel(rows_);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setSelectionMode(QAbstractItemView::SingleSelection);
    table_->verticalHeader()->hide();
    table_->horizontalHeader()->setSectionResizeMode(ReliefModel::name, QHeaderView::Stretch);
    table_->horizontalHeader()->setSectionResizeMode(ReliefModel::status, QHeaderView::Stretch);
    table_->setWordWrap(false);
    results_->setWordWrap(true);
    results_->setMaximumHeight(140);

    auto* rankingRow = new QHBoxLayout;
    rankingRow->addWidget(rankingLabel_);
    rankingRow->addWidget(byCPU_);
    rankingRow->addWidget(byMemory_);
    rankingRow->addStretch();
    rankingRow->addWidget(refresh_);

    auto* actions = new QHBoxLayout;
    actions->addWidget(status_, 1);
    actions->addWidget(request_);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading_);
    layout->addWidget(explanation_);
    layout->addWidget(note_);
    layout->addLayout(rankingRow);
    layout->addWidget(table_, 1);
    layout->addLayout(actions);
    layout->addWidget(resultsHeading_);
    layout->addWidget(results_);

    connect(byCPU_, &QPushButton::clicked, this,
            [this] { rows_->setRanking(ReliefModel::Ranking::cpu); });
    connect(byMemory_, &QPushButton::clicked, this,
            [this] { rows_->setRanking(ReliefModel::Ranking::memory); });
    connect(refresh_, &QPushButton::clicked, this, &ReliefPage::refresh);
    connect(request_, &QPushButton::clicked, this, &ReliefPage::requestQuit);
    for (auto signal :
         {&ResourceReliefViewModel::candidatesChanged, &ResourceReliefViewModel::selectionChanged,
          &ResourceReliefViewModel::capabilityChanged, &ResourceReliefViewModel::refreshingChanged,
          &ResourceReliefViewModel::requestingQuitChanged})
        connect(&model_, signal, this, &ReliefPage::updateState);
    connect(&model_, &ResourceReliefViewModel::lastResultsChanged, this, &ReliefPage::showResults);

    confirm_ = [this](const QString& title, const QString& text) {
        QMessageBox box(QMessageBox::Question, title, text, QMessageBox::NoButton, this);
        const UiCopy copy{language_};
        QPushButton* go =
            box.addButton(copy.text("Request Quit", "종료 요청"), QMessageBox::AcceptRole);
        box.addButton(copy.text("Cancel", "취소"), QMessageBox::RejectRole);
        box.exec();
        return box.clickedButton() == go;
    };
    retranslate();
}

void ReliefPage::refresh() {
    model_.refresh();
}

void ReliefPage::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    refresh();
}

void ReliefPage::retranslate() {
    language_ = session_.language();
    rows_->setLanguage(language_);
    const UiCopy copy{language_};
    heading_->setText(copy.text("Resource relief", "리소스 여유"));
    explanation_->setText(copy.text(
        "Your running applications, ranked by their use of the processor or of memory. Velmora "
        "can ask the ones you check to quit, as if you chose Quit yourself; it never forces "
        "an application to close.",
        "실행 중인 앱을 프로세서 또는 메모리 사용량 순으로 보여 줍니다. Velmora는 선택한 앱에 "
        "직접 종료를 선택한 것처럼 종료를 요청할 수 있으며, 앱을 강제로 닫지 않습니다."));
    rankingLabel_->setText(copy.text("Rank by", "정렬 기준"));
    byCPU_->setText(copy.text("CPU", "CPU"));
    byMemory_->setText(copy.text("Memory", "메모리"));
    refresh_->setText(copy.text("Refresh", "새로 고침"));
    request_->setText(copy.text("Request Quit…", "종료 요청…"));
    resultsHeading_->setText(copy.text("Last requests", "최근 요청"));
    updateState();
    showResults();
}

void ReliefPage::updateState() {
    const UiCopy copy{language_};
    const auto note = model_.panelNote(language_);
    note_->setVisible(note.has_value() && !model_.isRefreshing());
    if (note) note_->setText(qs(*note));
    request_->setEnabled(model_.canRequestQuit());
    refresh_->setEnabled(!model_.isRefreshing() && !model_.isRequestingQuit());
    if (model_.isRequestingQuit())
        status_->setText(copy.text("Sending quit requests…", "종료 요청을 보내는 중…"));
    else if (model_.isRefreshing())
        status_->setText(
            copy.text("Measuring running applications…", "실행 중인 앱을 측정하는 중…"));
    else if (const size_t n = model_.selectedIDs().size(); n > 0)
        // i18n-example: "2 applications checked."
        // i18n-example: "1 application checked."
        status_->setText(
            copy.text(countText(int64_t(n), "application", "applications") + " checked.",
                      std::to_string(n) + "개 앱을 선택했습니다."));
    else
        status_->setText(
            copy.text("Check the applications to ask to quit.", "종료를 요청할 앱을 선택하세요."));
}

void ReliefPage::showResults() {
    results_->clear();
    for (const ResourceReliefActionResult& r : model_.lastResults())
        results_->addItem(qs(reliefActionSentence(r, language_)));
    resultsHeading_->setVisible(!model_.lastResults().empty());
    results_->setVisible(!model_.lastResults().empty());
}

void ReliefPage::requestQuit() {
    if (!model_.canRequestQuit()) return;
    QString text = qs(model_.quitDialogText(language_));
    // The dialog names every application it will ask, in list order.
    for (const ResourceReliefCandidate& c : model_.candidates())
        if (model_.selectedIDs().count(c.id)) text += QStringLiteral("\n• ") + qs(c.displayName);
    if (!confirm_(qs(model_.quitDialogTitle(language_)), text)) return;
    model_.requestQuitForSelected();
}

}  // namespace velmora::desktop
