// The desktop application as a person uses it, on a throw-away home under the offscreen
// platform: scan, select, confirm, the item is in the Trash, the history shows it, restore puts
// it back; the language switches at once; a cancelled scan changes nothing; the insights move a
// duplicate to the Trash; resource relief asks a real application to quit.
#include "Velmora/desktop/MainWindow.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTabWidget>
#include <QTableView>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <QTreeWidget>
#include <filesystem>
#include <fstream>
#include <future>

#include "Velmora/desktop/CandidateModel.h"
#include "Velmora/desktop/DashboardPage.h"
#include "Velmora/desktop/DesktopSession.h"
#include "Velmora/desktop/FlameGraphWidget.h"
#include "Velmora/desktop/HistoryPage.h"
#include "Velmora/desktop/InsightsPage.h"
#include "Velmora/desktop/ReliefPage.h"
#include "Velmora/desktop/ReviewPage.h"
#include "Velmora/desktop/SettingsPage.h"
#include "Velmora/desktop/StorageMapView.h"
#include "Velmora/desktop/TreemapWidget.h"
#include "dashboard/ViewModelHarness.h"
#include "support/LaunchedChild.h"
#include "support/OffscreenApplication.h"
#include "support/TestTree.h"

namespace velmora::desktop {
namespace {

namespace fs = std::filesystem;
using test::waitFor;

QApplication& application() {
    return test::offscreenApplication();
}

class MainWindowTest : public ::testing::Test {
  protected:
    std::string oldCache(const std::string& relative, const std::string& content) {
        const std::string path = home + "/.cache/" + relative;
        fs::create_directories(fs::path(path).parent_path());
        std::ofstream(path) << content;
        tree.setMtimeRecursive("home/.cache/" + relative.substr(0, relative.find('/')),
                               test::unixNow() - 3 * 86400);
        return path;
    }

    template <typename T>
    T* find(const char* name) {
        T* widget = window->findChild<T*>(QString::fromLatin1(name));
        EXPECT_NE(widget, nullptr) << name;
        return widget;
    }

    void scan() {
        QTest::mouseClick(find<QPushButton>("scanButton"), Qt::LeftButton);
        ASSERT_TRUE(waitFor(&session->cleaner(), &CleanerViewModel::reportChanged));
    }

    QApplication& app = application();  // first: the window below needs it
    test::TestTree tree;
    const std::string home = tree.dir("home");
    test::ScopedHome scoped{home};
    std::unique_ptr<DesktopSession> session =
        std::make_unique<DesktopSession>(SessionOptions{home, Catalogue::linux});
    std::unique_ptr<MainWindow> window = std::make_unique<MainWindow>(*session);
};

TEST_F(MainWindowTest, ScanConfirmMoveToTrashAndPutBack) {
    const std::string file = oldCache("browser/data", "cached");
    oldCache("other/data", "kept");
    window->show();
    scan();
    EXPECT_EQ(window->currentSection(), MainWindow::Section::review);

    // Check the browser cache's box in the list, as a click on it does.
    auto* table = find<QTableView>("candidateTable");
    auto* filter = window->review()->filterModel();
    session->cleaner().selectAll(false);
    find<QLineEdit>("reviewSearch")->setText("browser");
    ASSERT_EQ(filter->rowCount(), 1);
    ASSERT_TRUE(
        filter->setData(filter->index(0, CandidateModel::name), Qt::Checked, Qt::CheckStateRole));
    EXPECT_EQ(session->cleaner().selectedCandidates().size(), 1u);
    EXPECT_NE(table, nullptr);

    // The confirmation dialog opens; the person presses "Move to Trash" in it.
    QString listed;
    QTimer::singleShot(0, [&] {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        ASSERT_NE(dialog, nullptr);
        auto* items = dialog->findChild<QListWidget*>("confirmationItems");
        if (items && items->count() == 1) listed = items->item(0)->text();
        QTest::mouseClick(dialog->findChild<QPushButton*>("confirmMoveButton"), Qt::LeftButton);
    });
    QTest::mouseClick(find<QPushButton>("moveToTrashButton"), Qt::LeftButton);
    EXPECT_TRUE(listed.startsWith("~/.cache/browser")) << listed.toStdString();
    ASSERT_TRUE(waitFor(&session->cleaner(), &CleanerViewModel::cleanupFinished));
    EXPECT_FALSE(fs::exists(file));
    EXPECT_TRUE(fs::exists(home + "/.local/share/Trash/files/browser/data"));
    EXPECT_TRUE(fs::exists(home + "/.cache/other/data"));
    EXPECT_EQ(find<QListWidget>("cleanupResults")->count(), 1);

    window->showSection(MainWindow::Section::history);
    ASSERT_TRUE(waitFor(&session->history(), &HistoryViewModel::entriesChanged));
    auto* history = find<QTableView>("historyTable");
    ASSERT_EQ(history->model()->rowCount(), 1);
    history->selectRow(0);
    EXPECT_FALSE(find<QLabel>("integritySentence")->text().isEmpty());
    auto* restore = find<QPushButton>("restoreAllButton");
    ASSERT_TRUE(restore->isEnabled());
    QTest::mouseClick(restore, Qt::LeftButton);
    ASSERT_TRUE(waitFor(&session->history(), &HistoryViewModel::restoreFinished));
    EXPECT_TRUE(fs::exists(file));
    EXPECT_EQ(history->model()->rowCount(), 2);
}

// The history page's export: the person's choice of format, form and file (answered here
// without a real dialog) is exported off the interface thread, and the page says where.
TEST_F(MainWindowTest, TheHistoryPageExportsToTheChosenFile) {
    window->show();
    window->showSection(MainWindow::Section::history);
    auto* page = find<HistoryPage>("historyPage");
    ASSERT_NE(page, nullptr);
    const std::string path = tree.dir("exports") + "/history.csv";
    int asked = 0;
    page->setExportDialog([&](QWidget*, AppLanguage) -> std::optional<HistoryExportChoice> {
        if (++asked == 1) return std::nullopt;  // the person cancels the first time
        return HistoryExportChoice{ExportFormat::csv, true, QString::fromStdString(path)};
    });
    auto* button = find<QPushButton>("historyExportButton");
    QTest::mouseClick(button, Qt::LeftButton);
    EXPECT_FALSE(session->historyExport().isBusy());
    EXPECT_FALSE(fs::exists(path));

    QTest::mouseClick(button, Qt::LeftButton);
    EXPECT_EQ(asked, 2);
    EXPECT_FALSE(button->isEnabled());  // one export at a time
    ASSERT_TRUE(waitFor(&session->historyExport(), &HistoryExportViewModel::exportFinished));
    EXPECT_TRUE(button->isEnabled());
    EXPECT_TRUE(fs::exists(path));
    auto* message = find<QLabel>("historyExportMessage");
    EXPECT_FALSE(message->isHidden());
    EXPECT_EQ(message->text().toStdString(),
              "The redacted history was exported to " + path + "; review it before sharing.");
}

// A scan after a cleanup says, above the list, how much of the cleaned material is back.
TEST_F(MainWindowTest, AScanAfterACleanupSaysWhatCameBack) {
    oldCache("browser/data", std::string(20'000, 'b'));
    window->show();
    scan();
    auto* said = find<QLabel>("reviewReappearance");
    EXPECT_TRUE(said->isHidden());  // nothing was cleaned before

    session->cleaner().selectAll(true);
    QTimer::singleShot(0, [] {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        ASSERT_NE(dialog, nullptr);
        QTest::mouseClick(dialog->findChild<QPushButton*>("confirmMoveButton"), Qt::LeftButton);
    });
    QTest::mouseClick(find<QPushButton>("moveToTrashButton"), Qt::LeftButton);
    ASSERT_TRUE(waitFor(&session->cleaner(), &CleanerViewModel::cleanupFinished));
    EXPECT_TRUE(said->isHidden());

    oldCache("browser/data", std::string(20'000, 'b'));
    window->showSection(MainWindow::Section::dashboard);
    scan();
    EXPECT_FALSE(said->isHidden());
    EXPECT_TRUE(said->text().contains("is back at the same paths: it regenerates"))
        << said->text().toStdString();
    EXPECT_EQ(find<QLabel>("dashboardReappearance")->text(), said->text());
}

TEST_F(MainWindowTest, TheLanguageSwitchesAtOnceAndIsKept) {
    window->show();
    auto* sections = find<QListWidget>("sectionList");
    EXPECT_EQ(sections->item(1)->text(), "Review");
    auto* box = window->settings()->languageBox();
    const int korean = box->findData(int(AppLanguage::korean));
    ASSERT_GE(korean, 0);
    box->setCurrentIndex(korean);
    emit box->activated(korean);
    EXPECT_EQ(sections->item(1)->text(), QString::fromUtf8("검토"));
    EXPECT_EQ(find<QPushButton>("scanButton")->text(), QString::fromUtf8("검사"));
    const int german = box->findData(int(AppLanguage::german));
    box->setCurrentIndex(german);
    emit box->activated(german);
    EXPECT_EQ(find<QPushButton>("scanButton")->text(), "Scannen");

    // A new session on the same preferences starts in German.
    window.reset();
    session = std::make_unique<DesktopSession>(SessionOptions{home, Catalogue::linux});
    EXPECT_EQ(session->language(), AppLanguage::german);
}

TEST_F(MainWindowTest, ACancelledScanChangesNothing) {
    const std::string file = oldCache("browser/data", "cached");
    // The scan is held until the person has pressed Cancel, so it cannot end first.
    std::promise<void> cancelled;
    std::shared_future<void> pressed = cancelled.get_future().share();
    window.reset();
    session.reset();
    SessionOptions options{home, Catalogue::linux};
    options.runScan = [pressed](const ScanSetup& setup, const auto& progress,
                                const CancellationToken& cancel) {
        pressed.wait();
        return runScanSession(setup, progress, cancel);
    };
    session = std::make_unique<DesktopSession>(std::move(options));
    window = std::make_unique<MainWindow>(*session);
    window->show();
    QTest::mouseClick(find<QPushButton>("scanButton"), Qt::LeftButton);
    auto* cancel = find<QPushButton>("cancelScanButton");
    EXPECT_TRUE(cancel->isVisible());
    QTest::mouseClick(cancel, Qt::LeftButton);
    cancelled.set_value();
    ASSERT_TRUE(waitFor(&session->cleaner(), &CleanerViewModel::reportChanged));
    EXPECT_TRUE(session->cleaner().scanWasCancelled());
    EXPECT_FALSE(cancel->isVisible());
    EXPECT_TRUE(fs::exists(file));
    EXPECT_TRUE(find<QPushButton>("scanButton")->isEnabled());
}

TEST_F(MainWindowTest, TheAdvancedScanOptionsKeepTheirPlace) {
    window->show();
    auto* advanced = find<QToolButton>("advancedOptionsButton");
    auto* mode = find<QComboBox>("scanModeBox");
    EXPECT_FALSE(mode->isVisible());  // folded away until the person opens them
    QTest::mouseClick(advanced, Qt::LeftButton);
    EXPECT_TRUE(mode->isVisible());
    EXPECT_EQ(session->settings().value("velmora.macAdvancedExpanded").toString(), "true");
    window.reset();
    window = std::make_unique<MainWindow>(*session);
    window->show();
    EXPECT_TRUE(find<QComboBox>("scanModeBox")->isVisible());
}

TEST_F(MainWindowTest, ADamagedPreferenceFileIsSetAsideAndSaidSo) {
    window.reset();
    session.reset();
    const std::string conf = home + "/.config/Velmora/Velmora.conf";
    fs::create_directories(fs::path(conf).parent_path());
    std::ofstream(conf, std::ios::binary)
        << std::string("\xff\xfe\0[General\nvelmora.language=ja\n[[[\n", 36);
    session = std::make_unique<DesktopSession>(SessionOptions{home, Catalogue::linux});
    window = std::make_unique<MainWindow>(*session);
    window->show();
    auto* banner = find<QLabel>("startupBanner");
    EXPECT_TRUE(banner->isVisible());
    EXPECT_FALSE(banner->text().isEmpty());
}

}  // namespace
}  // namespace velmora::desktop

#include "Velmora/desktop/OnboardingDialog.h"

namespace velmora::desktop {
namespace {

TEST_F(MainWindowTest, TheFirstLaunchAsksForTheLanguageOnceAndScansNothing) {
    const std::string file = oldCache("browser/data", "cached");
    EXPECT_FALSE(session->settingsModel().onboardingCompleted());
    OnboardingDialog onboarding(*session);
    auto* language = onboarding.findChild<QComboBox*>("onboardingLanguage");
    ASSERT_NE(language, nullptr);
    const int japanese = language->findData(int(AppLanguage::japanese));
    language->setCurrentIndex(japanese);
    emit language->activated(japanese);
    auto* done = onboarding.findChild<QPushButton*>("onboardingDone");
    ASSERT_NE(done, nullptr);
    EXPECT_EQ(done->text(), QString::fromUtf8("開始"));
    QTest::mouseClick(done, Qt::LeftButton);
    EXPECT_EQ(onboarding.result(), QDialog::Accepted);
    EXPECT_TRUE(session->settingsModel().onboardingCompleted());
    EXPECT_EQ(session->language(), AppLanguage::japanese);
    EXPECT_EQ(session->cleaner().phase(), CleanerViewModel::Phase::idle);
    EXPECT_TRUE(fs::exists(file));
}

// The insights as a person uses them: two identical files, the scan groups them and marks the
// Documents copy to keep; the Downloads copy goes to the Trash after the confirmation, the
// history shows an insights entry, and its restore puts the copy back.
TEST_F(MainWindowTest, InsightsMoveADuplicateToTheTrashAndTheHistoryPutsItBack) {
    const std::string documents = home + "/Documents/photo.raw";
    const std::string downloads = home + "/Downloads/photo.raw";
    for (const char* copy : {"Documents/photo.raw", "Downloads/photo.raw"}) {
        fs::create_directories(fs::path(home + "/" + copy).parent_path());
        std::ofstream(home + "/" + copy) << "the same bytes";
        tree.setMtime(std::string("home/") + copy, test::unixNow() - 3 * 86400);
    }
    window.reset();
    SessionOptions options{home, Catalogue::linux};
    options.insightOverrides.duplicateFileBytes = 1;
    session = std::make_unique<DesktopSession>(options);
    window = std::make_unique<MainWindow>(*session);
    window->show();
    window->showSection(MainWindow::Section::insights);
    InsightsPage* page = window->insights();
    ASSERT_NE(page, nullptr);
    EXPECT_TRUE(session->insights().isSystemSamplingActive());        // the system panel samples
    EXPECT_FALSE(find<QLabel>("insightsSummary")->text().isEmpty());  // the placeholder's line

    QTest::mouseClick(find<QPushButton>("insightsScanButton"), Qt::LeftButton);
    ASSERT_TRUE(waitFor(&session->insights(), &InsightsViewModel::reportChanged));
    auto* tabs = find<QTabWidget>("insightsTabs");
    tabs->setCurrentWidget(page->duplicatesTree());
    QTreeWidget* groups = page->duplicatesTree();
    ASSERT_EQ(groups->topLevelItemCount(), 1);
    QTreeWidgetItem* group = groups->topLevelItem(0);
    ASSERT_EQ(group->childCount(), 2);
    QTreeWidgetItem* keeper = nullptr;
    QTreeWidgetItem* going = nullptr;
    for (int i = 0; i < group->childCount(); ++i) {
        QTreeWidgetItem* copy = group->child(i);
        const std::string path = copy->data(0, Qt::UserRole + 1).toString().toStdString();
        (path == documents ? keeper : going) = copy;
    }
    ASSERT_TRUE(keeper && going);
    EXPECT_TRUE(keeper->text(3).startsWith("Recommended to keep")) << keeper->text(3).toStdString();
    EXPECT_TRUE(going->text(3).isEmpty());
    EXPECT_FALSE(find<QPushButton>("insightsMoveButton")->isEnabled());  // nothing checked yet
    going->setCheckState(0, Qt::Checked);
    ASSERT_TRUE(find<QPushButton>("insightsMoveButton")->isEnabled());

    QString listed;
    QTimer::singleShot(0, [&] {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        ASSERT_NE(dialog, nullptr);
        auto* items = dialog->findChild<QListWidget*>("confirmationItems");
        if (items && items->count() == 1) listed = items->item(0)->text();
        QTest::mouseClick(dialog->findChild<QPushButton*>("confirmMoveButton"), Qt::LeftButton);
    });
    QTest::mouseClick(find<QPushButton>("insightsMoveButton"), Qt::LeftButton);
    EXPECT_TRUE(listed.startsWith("~/Downloads/photo.raw")) << listed.toStdString();
    ASSERT_TRUE(waitFor(&session->insights(), &InsightsViewModel::moveFinished));
    EXPECT_FALSE(fs::exists(downloads));
    EXPECT_TRUE(fs::exists(documents));
    EXPECT_TRUE(fs::exists(home + "/.local/share/Trash/files/photo.raw"));
    EXPECT_EQ(find<QListWidget>("insightsResults")->count(), 1);
    EXPECT_EQ(groups->topLevelItemCount(), 0);  // a group of one copy is no group

    // The storage map shows the scanned home; drilling into Downloads moves both pictures.
    StorageMapView* map = page->storageMapView();
    ASSERT_NE(session->insights().storageTree(), nullptr);
    const StorageTree& storage = *session->insights().storageTree();
    StorageTree::Index downloadsNode = StorageTree::kNoNode;
    const StorageTree::Node& root = storage.node(storage.root());
    for (StorageTree::Index i = root.firstChild; i < root.firstChild + root.childCount; ++i)
        if (storage.node(i).name == "~/Downloads") downloadsNode = i;
    ASSERT_NE(downloadsNode, StorageTree::kNoNode);
    map->treemap()->drillInto(downloadsNode);
    EXPECT_EQ(map->flameGraph()->focus(), downloadsNode);
    EXPECT_TRUE(map->place()->text().endsWith("Downloads")) << map->place()->text().toStdString();

    window->showSection(MainWindow::Section::history);
    EXPECT_FALSE(session->insights().isSystemSamplingActive());
    ASSERT_TRUE(waitFor(&session->history(), &HistoryViewModel::entriesChanged));
    ASSERT_EQ(session->history().entries().size(), 1u);
    EXPECT_EQ(session->history().entries()[0].source, CleanupAuditSource::macInsights);
    auto* history = find<QTableView>("historyTable");
    history->selectRow(0);
    QTest::mouseClick(find<QPushButton>("restoreAllButton"), Qt::LeftButton);
    ASSERT_TRUE(waitFor(&session->history(), &HistoryViewModel::restoreFinished));
    EXPECT_TRUE(fs::exists(downloads));
    EXPECT_EQ(history->model()->rowCount(), 2);
}

// Resource relief against a real process: an application launched from a desktop entry of the
// throw-away home is listed by its entry's name; a declined confirmation sends nothing; after
// the confirmation it receives the ordinary quit request (SIGTERM) and the panel says so.
TEST_F(MainWindowTest, ReliefAsksALaunchedApplicationToQuitOnlyAfterTheConfirmation) {
    const std::string entry = home + "/.local/share/applications/org.velmora.ReliefProbe.desktop";
    fs::create_directories(fs::path(entry).parent_path());
    std::ofstream(entry) << "[Desktop Entry]\nType=Application\nName=Relief Probe\nExec=sleep 30\n";
    const pid_t child = test::startLaunchedChild(entry, home);
    ASSERT_GT(child, 0);
    test::ChildReaper reaper{child};

    window->show();
    window->showSection(MainWindow::Section::relief);  // coming into view starts the survey
    ReliefPage* page = window->relief();
    ASSERT_TRUE(waitFor(&session->relief(), &ResourceReliefViewModel::candidatesChanged));
    int row = -1;
    for (int r = 0; r < page->rows()->rowCount(); ++r)
        if (page->rows()->candidate(r)->processIdentifier == child) row = r;
    ASSERT_GE(row, 0) << "the launched application is not listed";
    const QModelIndex name = page->rows()->index(row, ReliefModel::name);
    EXPECT_EQ(name.data().toString(), "Relief Probe");
    EXPECT_FALSE(page->requestButton()->isEnabled());  // nothing checked yet
    ASSERT_TRUE(page->rows()->setData(name, Qt::Checked, Qt::CheckStateRole));
    ASSERT_TRUE(page->requestButton()->isEnabled());

    QString asked;
    page->setConfirmer([&](const QString&, const QString& text) {
        asked = text;
        return false;
    });
    QTest::mouseClick(page->requestButton(), Qt::LeftButton);
    EXPECT_TRUE(asked.startsWith("Velmora does not force quit.")) << asked.toStdString();
    EXPECT_TRUE(asked.contains("Relief Probe"));
    EXPECT_FALSE(session->relief().isRequestingQuit());
    EXPECT_EQ(::kill(child, 0), 0);  // declined: still running, nothing sent

    page->setConfirmer([](const QString&, const QString&) { return true; });
    QTest::mouseClick(page->requestButton(), Qt::LeftButton);
    ASSERT_TRUE(waitFor(&session->relief(), &ResourceReliefViewModel::lastResultsChanged));
    ASSERT_EQ(page->results()->count(), 1);
    EXPECT_EQ(page->results()->item(0)->text(), "Sent a normal quit request to Relief Probe.");
    EXPECT_TRUE(session->relief().selectedIDs().empty());
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    reaper.pid = 0;
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGTERM);
}

}  // namespace
}  // namespace velmora::desktop
