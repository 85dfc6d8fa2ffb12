#pragma once
// The resource relief panel: the person's running applications ranked by CPU or by memory, which
// of them are protected and why, and the pass that asks the checked ones to quit after the
// confirmation. The panel only presents: the survey, the checks before each request and the
// automatic refresh afterwards belong to the view model.
//
// Main thread only.
#include <QAbstractTableModel>
#include <QWidget>
#include <functional>

#include "CleanerCore/relief/ResourceReliefModel.h"
#include "VelmoraUI/localization/AppLanguage.h"

class QButtonGroup;
class QLabel;
class QListWidget;
class QPushButton;
class QTableView;

namespace velmora {
class ResourceReliefViewModel;
}

namespace velmora::desktop {

class DesktopSession;

/// One row per application in the chosen ranking; the name column's check box is the selection
/// (only applications that can be asked to quit can be checked).
class ReliefModel final : public QAbstractTableModel {
    Q_OBJECT

  public:
    enum Column { name, cpu, memory, status, numberOfColumns };
    enum class Ranking { cpu, memory };

    ReliefModel(ResourceReliefViewModel& model, AppLanguage language, QObject* parent = nullptr);

    void setRanking(Ranking ranking);
    Ranking ranking() const { return ranking_; }
    void setLanguage(AppLanguage language);
    const ResourceReliefCandidate* candidate(int row) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

  private:
    const std::vector<ResourceReliefCandidate>& rows() const;
    void reset();

    ResourceReliefViewModel& model_;
    AppLanguage language_;
    Ranking ranking_ = Ranking::cpu;
};

class ReliefPage final : public QWidget {
    Q_OBJECT

  public:
    explicit ReliefPage(DesktopSession& session, QWidget* parent = nullptr);

    void retranslate();
    /// Surveys again unless a survey runs; the window calls it when the panel is shown.
    void refresh();

    QTableView* table() const { return table_; }
    ReliefModel* rows() const { return rows_; }
    QPushButton* requestButton() const { return request_; }
    QListWidget* results() const { return results_; }

    /// Asks the person; `ask` replaces the dialog in tests (answers whether to go on).
    using Confirmer = std::function<bool(const QString& title, const QString& text)>;
    void setConfirmer(Confirmer confirm) { confirm_ = std::move(confirm); }
    /// Confirms and starts the request pass for the checked applications.
    void requestQuit();

  protected:
    /// The list is measured again each time the panel comes into view.
    void showEvent(QShowEvent* event) override;

  private:
    void updateState();
    void showResults();

    DesktopSession& session_;
    ResourceReliefViewModel& model_;
    AppLanguage language_;
    ReliefModel* rows_;
    QLabel* heading_;
    QLabel* explanation_;
    QLabel* note_;
    QLabel* rankingLabel_;
    QPushButton* byCPU_;
    QPushButton* byMemory_;
    QButtonGroup* ranking_;
    QTableView* table_;
    QPushButton* refresh_;
    QPushButton* request_;
    QLabel* status_;
    QLabel* resultsHeading_;
    QListWidget* results_;
    Confirmer confirm_;
};

}  // namespace velmora::desktop
