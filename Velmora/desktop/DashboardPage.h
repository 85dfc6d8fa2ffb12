#pragma once
// The first section: what the last scan found, when the next review is due, the scan mode,
// and the scan itself with its progress and a cancel button. Presents the cleaner and
// settings view models; holds no state of its own.
#include <QWidget>

class QComboBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QToolButton;

namespace velmora::desktop {

class DesktopSession;

class DashboardPage final : public QWidget {
    Q_OBJECT

  public:
    explicit DashboardPage(DesktopSession& session, QWidget* parent = nullptr);
    void retranslate();

  signals:
    /// The scan finished with candidates to review.
    void reviewRequested();

  private:
    void refresh();
    void showProgress();

    DesktopSession& session_;
    QLabel* title_;
    QLabel* rule_;
    QLabel* summary_;
    QLabel* reappearance_;  ///< what came back of the last cleanup, when a scan says
    QLabel* reviewStatus_;
    QToolButton* advanced_;
    QWidget* advancedBox_;
    QLabel* modeLabel_;
    QComboBox* mode_;
    QLabel* modeHint_;
    QPushButton* scan_;
    QPushButton* cancel_;
    QProgressBar* progress_;
    QLabel* progressText_;
    QLabel* message_;
};

}  // namespace velmora::desktop
