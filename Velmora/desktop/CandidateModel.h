#pragma once
// The review list: one row per candidate of the cleaner's report, with a check box that is the
// selection. Sorting and filtering happen in `CandidateFilterModel` on the candidates' raw
// values (bytes, enumeration order) and on lower-cased keys built once per report, never on
// the shown texts, so tens of thousands of rows sort and filter without building a string.
//
// Main thread only; follows the cleaner view model's signals.
#include <QAbstractTableModel>
#include <QSortFilterProxyModel>
#include <optional>

#include "VelmoraUI/dashboard/CleanerViewModel.h"

namespace velmora::desktop {

class CandidateModel final : public QAbstractTableModel {
    Q_OBJECT

  public:
    enum Column { name, category, safety, size, modified, path, numberOfColumns };

    CandidateModel(CleanerViewModel& cleaner, std::function<AppLanguage()> language,
                   QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    /// Texts are language-dependent: every row is shown again.
    void retranslate();

    const CleanupCandidate& candidate(int row) const;
    /// The row's name and path, lower-cased, for the text filter; built once per report.
    const QString& searchKey(int row) const;
    /// The row's name, lower-cased, for sorting by name.
    const QString& sortName(int row) const;

  private:
    void buildKeys() const;

    CleanerViewModel& cleaner_;
    std::function<AppLanguage()> language_;
    mutable std::vector<QString> searchKeys_;
    mutable std::vector<QString> sortNames_;
    mutable bool keysBuilt_ = false;
};

class CandidateFilterModel final : public QSortFilterProxyModel {
    Q_OBJECT

  public:
    explicit CandidateFilterModel(QObject* parent = nullptr);
    /// Must be a CandidateModel: sorting and filtering read its candidates directly.
    void setSourceModel(QAbstractItemModel* model) override;

    /// Rows whose name or path contains `text` (case-insensitive); empty shows all.
    void setText(const QString& text);
    void setCategory(std::optional<CleanupCategory> category);
    void setSafety(std::optional<CleanupSafety> safety);

  protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;
    bool lessThan(const QModelIndex& left, const QModelIndex& right) const override;

  private:
    const CandidateModel* candidates_ = nullptr;
    QString text_;
    std::optional<CleanupCategory> category_;
    std::optional<CleanupSafety> safety_;
};

}  // namespace velmora::desktop
