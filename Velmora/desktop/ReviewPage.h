#pragma once
// The review: every candidate of the last scan with its size, safety level and place, the
// selection as check boxes (the ones the scan marks safe start checked), filters by text,
// category and safety, the selection's summary, ignoring, details, and the confirmed move to
// the Trash with each item's result as it comes.
#include <QWidget>
#include <functional>

#include "VelmoraUI/localization/AppLanguage.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QToolButton;
class QTableView;

namespace velmora::desktop {

class CandidateFilterModel;
class CandidateModel;
class DesktopSession;

class ReviewPage final : public QWidget {
    Q_OBJECT

  public:
    /// `confirm` asks the person before anything moves; tests answer it themselves.
    using Confirm = std::function<bool(QWidget* parent)>;

    ReviewPage(DesktopSession& session, QWidget* parent = nullptr);
    void retranslate();
    void setConfirmation(Confirm confirm) { confirm_ = std::move(confirm); }

    QTableView* table() const { return table_; }
    CandidateFilterModel* filterModel() const { return filter_; }

  private:
    void refresh();
    void refreshFilters();
    /// The report rows the filter shows, and those the person highlighted.
    std::vector<size_t> shownRows() const;
    std::vector<size_t> chosenRows() const;
    void moveToTrash();
    void showDetails();
    void addResult(int index);

    DesktopSession& session_;
    CandidateModel* model_;
    CandidateFilterModel* filter_;
    QLabel* heading_;
    QLineEdit* search_;
    QComboBox* category_;
    QComboBox* safety_;
    QTableView* table_;
    QLabel* summary_;
    QLabel* reappearance_;  ///< what came back of the last cleanup, when a scan says
    QPushButton* selectAll_;
    QPushButton* selectNone_;
    QPushButton* details_;
    QToolButton* ignore_;
    QPushButton* move_;
    QLabel* resultsHeading_;
    QListWidget* results_;
    QLabel* message_;
    Confirm confirm_;
};

}  // namespace velmora::desktop
