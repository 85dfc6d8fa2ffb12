#include "Velmora/desktop/HistoryPage.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateTime>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>

#include "CleanerCore/base/PrintableText.h"
#include "Velmora/desktop/Appearance.h"
#include "Velmora/desktop/DesktopSession.h"
#include "Velmora/desktop/UiText.h"
#include "VelmoraUI/dashboard/CleanupTexts.h"
#include "VelmoraUI/dashboard/CoreTexts.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/dashboard/HistoryExportViewModel.h"
#include "VelmoraUI/dashboard/HistoryTexts.h"

namespace velmora::desktop {

HistoryModel::HistoryModel(DesktopSession& session, QObject* parent)
    : QAbstractTableModel(parent), session_(session) {
    connect(&session_.history(), &HistoryViewModel::entriesChanged, this, [this] {
        beginResetModel();
        endResetModel();
    });
}

int HistoryModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(session_.history().entries().size());
}

int HistoryModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(Column::numberOfColumns);
}

QVariant HistoryModel::data(const QModelIndex& index, int role) const {
    const auto& entries = session_.history().entries();
    if (!index.isValid() || size_t(index.row()) >= entries.size() || role != Qt::DisplayRole)
        return {};
    const CleanupAuditEntry& e = entries[size_t(index.row())];
    const AppLanguage language = session_.language();
    switch (index.column()) {
        case when:
            return uiLocale(language).toString(
                QDateTime::fromSecsSinceEpoch(qint64(e.occurredAt + kReferenceDateUnixOffset)),
                QLocale::ShortFormat);
        case operation:
            return qs(historyOperationTitle(e, language));
        case summary:
            return qs(historyEntrySummary(e, language));
        default:
            return {};
    }
}

QVariant HistoryModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    const UiCopy copy{session_.language()};
    switch (section) {
        case when:
            return copy.text("When", "시각");
        case operation:
            return copy.text("Operation", "작업");
        case summary:
            return copy.text("Result", "결과");
        default:
            return {};
    }
}

void HistoryModel::retranslate() {
    emit headerDataChanged(Qt::Horizontal, 0, columnCount() - 1);
    if (rowCount() > 0) emit dataChanged(index(0, 0), index(rowCount() - 1, columnCount() - 1));
}

HistoryPage::HistoryPage(DesktopSession& session, QWidget* parent)
    : QWidget(parent),
      session_(session),
      model_(new HistoryModel(session, this)),
      heading_(new QLabel),
      explanation_(new QLabel),
      integrity_(new QLabel),
      damage_(new QLabel),
      table_(new QTableView),
      entryHeading_(new QLabel),
      items_(new QListWidget),
      restoreAll_(new QPushButton),
      restoreChecked_(new QPushButton),
      reload_(new QPushButton),
      export_(new QPushButton),
      message_(new QLabel),
      exportMessage_(new QLabel) {
    setObjectName("historyPage");
    table_->setObjectName("historyTable");
    restoreAll_->setObjectName("restoreAllButton");
    restoreChecked_->setObjectName("restoreCheckedButton");
    items_->setObjectName("historyItems");
    integrity_->setObjectName("integritySentence");
    message_->setObjectName("historyMessage");
    export_->setObjectName("historyExportButton");
    exportMessage_->setObjectName("historyExportMessage");
    markHeading(heading_, 1);
    for (QLabel* l : {explanation_, integrity_, damage_, entryHeading_, message_, exportMessage_}) {
        l->setWordWrap(true);
        l->setTextInteractionFlags(Qt::TextSelectableByMouse);
    }
    table_->setModel(model_);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setSelectionMode(QAbstractItemView::SingleSelection);
    table_->verticalHeader()->hide();
    table_->horizontalHeader()->setStretchLastSection(true);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(restoreAll_);
    buttons->addWidget(restoreChecked_);
    buttons->addStretch(1);
    buttons->addWidget(export_);
    buttons->addWidget(reload_);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading_);
    layout->addWidget(explanation_);
    layout->addWidget(integrity_);
    layout->addWidget(damage_);
    layout->addWidget(table_, 2);
    layout->addWidget(entryHeading_);
    layout->addWidget(items_, 1);
    layout->addLayout(buttons);
    layout->addWidget(message_);
    layout->addWidget(exportMessage_);

    HistoryViewModel& history = session_.history();
    connect(&history, &HistoryViewModel::entriesChanged, this, &HistoryPage::refresh);
    connect(&history, &HistoryViewModel::busyChanged, this, &HistoryPage::refresh);
    connect(&history, &HistoryViewModel::messageChanged, this, &HistoryPage::refresh);
    connect(&history, &HistoryViewModel::restoreFinished, this, &HistoryPage::refresh);
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &HistoryPage::showEntry);
    connect(restoreAll_, &QPushButton::clicked, this, [this] { restore(false); });
    connect(restoreChecked_, &QPushButton::clicked, this, [this] { restore(true); });
    connect(reload_, &QPushButton::clicked, &history, &HistoryViewModel::reload);
    HistoryExportViewModel& exports = session_.historyExport();
    connect(&exports, &HistoryExportViewModel::busyChanged, this, &HistoryPage::showExportState);
    connect(&exports, &HistoryExportViewModel::exportFinished, this, &HistoryPage::showExportState);
    connect(export_, &QPushButton::clicked, this, &HistoryPage::startExport);
    exportDialog_ = [&session](QWidget* owner, AppLanguage language) {
        return askForHistoryExport(owner, language, qs(session.history().home()));
    };
    // Refreshing the selected entry's items when the list is read again.
    connect(model_, &QAbstractItemModel::modelReset, this, &HistoryPage::showEntry);
    retranslate();
}

int HistoryPage::currentEntry() const {
    const auto rows = table_->selectionModel()->selectedRows();
    return rows.isEmpty() ? -1 : rows.front().row();
}

void HistoryPage::retranslate() {
    const AppLanguage language = session_.language();
    const UiCopy copy{language};
    heading_->setText(copy.text("History", "기록"));
    explanation_->setText(qs(historyExplanation(language)));
    restoreAll_->setText(copy.text("Put the whole cleanup back", "정리 전체 되돌리기"));
    restoreChecked_->setText(copy.text("Put checked items back", "선택한 항목 되돌리기"));
    reload_->setText(copy.text("Refresh", "새로 고침"));
    export_->setText(copy.text("Export…", "내보내기…"));
    model_->retranslate();
    showEntry();
    refresh();
    showExportState();
}

void HistoryPage::showExportState() {
    const HistoryExportViewModel& exports = session_.historyExport();
    export_->setEnabled(!exports.isBusy());
    const auto text = exports.message(session_.language());
    exportMessage_->setVisible(text.has_value() && !exports.isBusy());
    if (text) exportMessage_->setText(qs(*text));
}

void HistoryPage::startExport() {
    if (session_.historyExport().isBusy()) return;
    const auto choice = exportDialog_(this, session_.language());
    if (!choice || choice->path.isEmpty()) return;
    session_.historyExport().startExport(choice->format, choice->redacted,
                                         choice->path.toStdString());
}

std::optional<HistoryExportChoice> askForHistoryExport(QWidget* parent, AppLanguage language,
                                                       const QString& home) {
    const UiCopy copy{language};
    QDialog dialog(parent);
    dialog.setObjectName("historyExportDialog");
    dialog.setWindowTitle(copy.text("Export the history", "기록 내보내기"));
    auto* format = new QComboBox;
    format->setObjectName("historyExportFormat");
    format->addItem(copy.text("JSON (every field, for tools)", "JSON (모든 필드, 도구용)"));
    format->addItem(copy.text("CSV (one row per item, for spreadsheets)",
                              "CSV (항목마다 한 줄, 스프레드시트용)"));
    auto* redacted = new QCheckBox(copy.text("Redacted", "가림 처리"));
    redacted->setObjectName("historyExportRedacted");
    auto* explanation = new QLabel(qs(redactedExportExplanation(language)));
    explanation->setWordWrap(true);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    buttons->addButton(copy.text("Choose the file…", "파일 고르기…"), QDialogButtonBox::AcceptRole);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    auto* layout = new QVBoxLayout(&dialog);
    layout->addWidget(format);
    layout->addWidget(redacted);
    layout->addWidget(explanation);
    layout->addWidget(buttons);
    if (dialog.exec() != QDialog::Accepted) return std::nullopt;

    HistoryExportChoice choice;
    choice.format = format->currentIndex() == 1 ? ExportFormat::csv : ExportFormat::json;
    choice.redacted = redacted->isChecked();
    const QString suffix = choice.format == ExportFormat::csv ? "csv" : "json";
    const QString suggested = QDir(home).filePath(
        QString(choice.redacted ? "velmora-history-redacted." : "velmora-history.") + suffix);
    choice.path = QFileDialog::getSaveFileName(
        parent, copy.text("Export the history", "기록 내보내기"), suggested,
        suffix == "csv" ? copy.text("CSV files (*.csv)", "CSV 파일 (*.csv)")
                        : copy.text("JSON files (*.json)", "JSON 파일 (*.json)"));
    if (choice.path.isEmpty()) return std::nullopt;
    return choice;
}

void HistoryPage::refresh() {
    const AppLanguage language = session_.language();
    HistoryViewModel& history = session_.history();
    integrity_->setText(history.entries().empty() ? qs(emptyHistorySentence(language))
                                                  : qs(history.integritySentence(language)));
    const auto damage = history.damageSentence(language);
    damage_->setVisible(damage.has_value());
    if (damage) damage_->setText(qs(*damage));
    const int row = currentEntry();
    const bool restorable = row >= 0 && size_t(row) < history.entries().size() &&
                            HistoryViewModel::canRestore(history.entries()[size_t(row)]) &&
                            !history.isBusy();
    restoreAll_->setEnabled(restorable);
    restoreChecked_->setEnabled(restorable);
    reload_->setEnabled(!history.isBusy());
    QString text;
    if (const auto& outcome = history.restoreOutcome()) {
        text = qs(restoreSummaryText(int64_t(outcome->result.restoredItems.size()),
                                     int64_t(outcome->result.failedItems.size()),
                                     outcome->result.wasCancelled, language));
        for (const auto& failed : outcome->result.failedItems) {
            text +=
                "\n" +
                qs(printable(displayPath(failed.cleanedItem.candidate.url.path, history.home()))) +
                " — " + qs(presentedReason(failed.reason, language));
        }
    }
    if (auto message = history.message(language)) text = qs(*message);
    message_->setText(text);
    message_->setVisible(!text.isEmpty());
}

void HistoryPage::showEntry() {
    const AppLanguage language = session_.language();
    const UiCopy copy{language};
    items_->clear();
    const int row = currentEntry();
    const auto& entries = session_.history().entries();
    if (row < 0 || size_t(row) >= entries.size()) {
        entryHeading_->setText(
            copy.text("Choose an entry to see its items.", "항목을 보려면 기록을 하나 고르세요."));
        refresh();
        return;
    }
    const CleanupAuditEntry& e = entries[size_t(row)];
    QString heading =
        qs(historyOperationTitle(e, language)) + " — " + qs(historyEntrySummary(e, language));
    if (auto source = historySourceSentence(e.source, language)) heading += " " + qs(*source);
    entryHeading_->setText(heading);
    const std::string& home = session_.history().home();
    if (!e.cleanedItems.empty()) {
        for (const auto& item : e.cleanedItems) {
            auto* w = new QListWidgetItem(
                qs(printable(displayPath(item.candidate.url.path, home))) + "  (" +
                qs(bytesText(item.candidate.sizeBytes, language)) + ")");
            w->setData(Qt::UserRole, qs(item.candidate.url.path));
            w->setFlags(w->flags() | Qt::ItemIsUserCheckable);
            w->setCheckState(Qt::Unchecked);
            items_->addItem(w);
        }
    } else {
        for (const auto& p : e.samplePaths) items_->addItem(qs(printable(displayPath(p, home))));
    }
    for (const auto& reason : e.failureReasons)
        items_->addItem("! " + qs(printable(presentedReason(reason, language))));
    refresh();
}

void HistoryPage::restore(bool onlyChecked) {
    const int row = currentEntry();
    const auto& entries = session_.history().entries();
    if (row < 0 || size_t(row) >= entries.size()) return;
    std::vector<std::string> paths;
    if (onlyChecked) {
        for (int i = 0; i < items_->count(); ++i) {
            const QListWidgetItem* item = items_->item(i);
            if (item->checkState() == Qt::Checked)
                paths.push_back(item->data(Qt::UserRole).toString().toStdString());
        }
        if (paths.empty()) return;
    }
    session_.history().startRestore(entries[size_t(row)].id, std::move(paths));
}

}  // namespace velmora::desktop
