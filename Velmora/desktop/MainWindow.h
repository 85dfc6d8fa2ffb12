#pragma once
// The main window: a list of sections on the left (dashboard, review, insights, resource relief,
// history and restore, what grew, settings) and the chosen section on the right. It wires the pages
// to the session's view models, switches language and appearance at once, and shows a start-up
// sentence (a damaged preference file set aside) above everything.
#include <QMainWindow>

class QLabel;
class QListWidget;
class QStackedWidget;

namespace velmora::desktop {

class DashboardPage;
class DesktopSession;
class GrowthPage;
class HistoryPage;
class InsightsPage;
class ReliefPage;
class ReviewPage;
class SettingsPage;

class MainWindow final : public QMainWindow {
    Q_OBJECT

  public:
    enum class Section { dashboard, review, insights, relief, history, growth, settings };

    explicit MainWindow(DesktopSession& session, QWidget* parent = nullptr);

    void showSection(Section section);
    /// Brings the window forward and starts the scan of the chosen review profile (unless a
    /// scan or cleanup runs); the review opens when it is done.
    void openReview();
    Section currentSection() const;
    /// The section named by its raw text ("dashboard", "review", "insights", "relief", "history",
    /// "growth", "settings"); nothing for another text.
    static std::optional<Section> sectionFromRaw(std::string_view raw);

    /// The pages other than the dashboard are built the first time they are needed, so that
    /// the first window comes up without them.
    DashboardPage* dashboard() const { return dashboard_; }
    ReviewPage* review();
    InsightsPage* insights();
    ReliefPage* relief();
    HistoryPage* history();
    GrowthPage* growth();
    SettingsPage* settings();

  private:
    void retranslate();
    void retranslateWindow();
    /// Puts `page` in the place of the section's stand-in.
    template <typename Page>
    Page* ensure(Page*& page, Section section);

    DesktopSession& session_;
    QLabel* banner_;
    QListWidget* sections_;
    QStackedWidget* pages_;
    DashboardPage* dashboard_;
    ReviewPage* review_ = nullptr;
    InsightsPage* insights_ = nullptr;
    ReliefPage* relief_ = nullptr;
    HistoryPage* history_ = nullptr;
    GrowthPage* growth_ = nullptr;
    SettingsPage* settings_ = nullptr;
};

/// The application's icon, drawn so that it needs no image plugin.
QIcon velmoraIcon();

}  // namespace velmora::desktop
