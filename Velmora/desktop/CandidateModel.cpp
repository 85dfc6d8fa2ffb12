#include "Velmora/desktop/CandidateModel.h"

#include <QDateTime>

#include "CleanerCore/base/PrintableText.h"
#include "Velmora/desktop/UiText.h"
#include "VelmoraUI/dashboard/CleanupTexts.h"
#include "VelmoraUI/dashboard/CoreTexts.h"
#include "VelmoraUI/dashboard/Formatting.h"

namespace velmora::desktop {

CandidateModel::CandidateModel(CleanerViewModel& cleaner, std::function<AppLanguage()> language,
                               QObject* parent)
    : QAbstractTableModel(parent), cleaner_(cleaner), language_(std::move(language)) {
    connect(&cleaner_, &CleanerViewModel::reportChanged, this, [this] {
        beginResetModel();
        keysBuilt_ = false;
        endResetModel();
    });
    connect(&cleaner_, &CleanerViewModel::selectionChanged, this, [this] {
        if (rowCount() == 0) return;
        emit dataChanged(index(0, name), index(rowCount() - 1, name), {Qt::CheckStateRole});
    });
}

int CandidateModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(cleaner_.report().candidates.size());
}

int CandidateModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(Column::numberOfColumns);
}

QVariant CandidateModel::data(const QModelIndex& index, int role) const {
    const auto& candidates = cleaner_.report().candidates;
    if (!index.isValid() || size_t(index.row()) >= candidates.size()) return {};
    const CleanupCandidate& c = candidates[size_t(index.row())];
    const AppLanguage language = language_();
    switch (role) {
        case Qt::CheckStateRole:
            if (index.column() != name) return {};
            return cleaner_.isSelected(size_t(index.row())) ? Qt::Checked : Qt::Unchecked;
        case Qt::ToolTipRole:
            return qs(printable(c.url.path));
        case Qt::TextAlignmentRole:
            return index.column() == size ? QVariant(Qt::AlignRight | Qt::AlignVCenter)
                                          : QVariant();
        case Qt::DisplayRole:
            switch (index.column()) {
                case name:
                    return qs(printable(c.displayName));
                case category:
                    return qs(categoryTitle(c.category, language));
                case safety:
                    return qs(safetyTitle(c.safety, language));
                case size:
                    return qs(bytesText(c.sizeBytes, language));
                case modified:
                    if (!c.lastModified) return {};
                    return uiLocale(language).toString(
                        QDateTime::fromSecsSinceEpoch(
                            qint64(*c.lastModified + kReferenceDateUnixOffset)),
                        QLocale::ShortFormat);
                case path:
                    return qs(printable(displayPath(c.url.path, cleaner_.home())));
                default:
                    return {};
            }
        default:
            return {};
    }
}

bool CandidateModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (!index.isValid() || index.column() != name || role != Qt::CheckStateRole) return false;
    cleaner_.setSelected(size_t(index.row()), Qt::CheckState(value.toInt()) == Qt::Checked);
    return true;
}

Qt::ItemFlags CandidateModel::flags(const QModelIndex& index) const {
    Qt::ItemFlags f = QAbstractTableModel::flags(index);
    if (index.column() == name && cleaner_.phase() == CleanerViewModel::Phase::review)
        f |= Qt::ItemIsUserCheckable;
    return f;
}

QVariant CandidateModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    const UiCopy copy{language_()};
    switch (section) {
        case name:
            return copy.text("Item", "항목");
        case category:
            return copy.text("Category", "분류");
        case safety:
            return copy.text("Safety", "안전 수준");
        case size:
            return copy.text("Size", "크기");
        case modified:
            return copy.text("Modified", "수정한 날짜");
        case path:
            return copy.text("Location", "위치");
        default:
            return {};
    }
}

const CleanupCandidate& CandidateModel::candidate(int row) const {
    return cleaner_.report().candidates[size_t(row)];
}

void CandidateModel::buildKeys() const {
    if (keysBuilt_) return;
    const auto& candidates = cleaner_.report().candidates;
    searchKeys_.clear();
    sortNames_.clear();
    searchKeys_.reserve(candidates.size());
    sortNames_.reserve(candidates.size());
    for (const auto& c : candidates) {
        sortNames_.push_back(qs(c.displayName).toLower());
        searchKeys_.push_back(sortNames_.back() + QChar('\n') + qs(c.url.path).toLower());
    }
    keysBuilt_ = true;
}

const QString& CandidateModel::searchKey(int row) const {
    buildKeys();
    return searchKeys_[size_t(row)];
}

const QString& CandidateModel::sortName(int row) const {
    buildKeys();
    return sortNames_[size_t(row)];
}

void CandidateModel::retranslate() {
    emit headerDataChanged(Qt::Horizontal, 0, columnCount() - 1);
    if (rowCount() > 0) emit dataChanged(index(0, 0), index(rowCount() - 1, columnCount() - 1));
}

CandidateFilterModel::CandidateFilterModel(QObject* parent) : QSortFilterProxyModel(parent) {}

void CandidateFilterModel::setSourceModel(QAbstractItemModel* model) {
    candidates_ = qobject_cast<const CandidateModel*>(model);
    QSortFilterProxyModel::setSourceModel(model);
}

void CandidateFilterModel::setText(const QString& text) {
    text_ = text.toLower();
    invalidateFilter();
}

void CandidateFilterModel::setCategory(std::optional<CleanupCategory> category) {
    category_ = category;
    invalidateFilter();
}

void CandidateFilterModel::setSafety(std::optional<CleanupSafety> safety) {
    safety_ = safety;
    invalidateFilter();
}

bool CandidateFilterModel::filterAcceptsRow(int sourceRow, const QModelIndex&) const {
    const CleanupCandidate& c = candidates_->candidate(sourceRow);
    if (category_ && c.category != *category_) return false;
    if (safety_ && c.safety != *safety_) return false;
    return text_.isEmpty() || candidates_->searchKey(sourceRow).contains(text_);
}

bool CandidateFilterModel::lessThan(const QModelIndex& left, const QModelIndex& right) const {
    const int l = left.row(), r = right.row();
    const CleanupCandidate& a = candidates_->candidate(l);
    const CleanupCandidate& b = candidates_->candidate(r);
    switch (left.column()) {
        case CandidateModel::name:
            return candidates_->sortName(l) < candidates_->sortName(r);
        case CandidateModel::category:
            return a.category < b.category;
        case CandidateModel::safety:
            return a.safety < b.safety;
        case CandidateModel::size:
            return a.sizeBytes < b.sizeBytes;
        case CandidateModel::modified:
            return a.lastModified.value_or(-1e300) < b.lastModified.value_or(-1e300);
        case CandidateModel::path:
            return a.url.path < b.url.path;
        default:
            return l < r;
    }
}

}  // namespace velmora::desktop
