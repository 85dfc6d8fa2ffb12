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
        case categoryRole:
            return int(c.category);
        case safetyRole:
            return int(c.safety);
        case searchRole:
            return qs(c.displayName) + QChar('\n') + qs(c.url.path);
        case sortRole:
            switch (index.column()) {
                case name:
                    return qs(c.displayName).toLower();
                case category:
                    return int(c.category);
                case safety:
                    return int(c.safety);
                case size:
                    return qlonglong(c.sizeBytes);
                case modified:
                    return c.lastModified ? *c.lastModified : -1e300;
                case path:
                    return qs(c.url.path);
                default:
                    return {};
            }
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

void CandidateModel::retranslate() {
    emit headerDataChanged(Qt::Horizontal, 0, columnCount() - 1);
    if (rowCount() > 0) emit dataChanged(index(0, 0), index(rowCount() - 1, columnCount() - 1));
}

CandidateFilterModel::CandidateFilterModel(QObject* parent) : QSortFilterProxyModel(parent) {
    setSortRole(CandidateModel::sortRole);
}

void CandidateFilterModel::setText(const QString& text) {
    text_ = text;
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

bool CandidateFilterModel::filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const {
    const QModelIndex i = sourceModel()->index(sourceRow, 0, sourceParent);
    if (category_ && i.data(CandidateModel::categoryRole).toInt() != int(*category_)) return false;
    if (safety_ && i.data(CandidateModel::safetyRole).toInt() != int(*safety_)) return false;
    if (text_.isEmpty()) return true;
    return i.data(CandidateModel::searchRole).toString().contains(text_, Qt::CaseInsensitive);
}

bool CandidateFilterModel::lessThan(const QModelIndex& left, const QModelIndex& right) const {
    const QVariant a = left.data(CandidateModel::sortRole);
    const QVariant b = right.data(CandidateModel::sortRole);
    if (a.typeId() == QMetaType::QString) return a.toString() < b.toString();
    if (a.typeId() == QMetaType::Double) return a.toDouble() < b.toDouble();
    return a.toLongLong() < b.toLongLong();
}

}  // namespace velmora::desktop
