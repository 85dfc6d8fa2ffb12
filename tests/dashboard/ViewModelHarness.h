#pragma once
// A throw-away home with the stores and view models of the desktop application over it, and a
// way to wait for a view model's signal without sleeping.
#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <filesystem>
#include <fstream>
#include <memory>

#include "VelmoraUI/dashboard/CleanerViewModel.h"
#include "VelmoraUI/dashboard/HistoryViewModel.h"
#include "VelmoraUI/dashboard/SettingsViewModel.h"
#include "VelmoraUI/state/CleanupIgnoreStore.h"
#include "VelmoraUI/state/CleanupReviewPreferencesStore.h"
#include "VelmoraUI/state/CustomScanFolders.h"
#include "VelmoraUI/state/PreferenceFile.h"
#include "support/TestTree.h"

namespace velmora::test {

/// Runs the event loop until `signal` of `sender` is emitted. A run that never ends fails the
/// test after a minute instead of hanging the suite; nothing depends on how long it takes.
template <typename Sender, typename Signal>
bool waitFor(Sender* sender, Signal signal) {
    QEventLoop loop;
    bool emitted = false;
    QObject::connect(sender, signal, &loop, [&] {
        emitted = true;
        loop.quit();
    });
    QTimer::singleShot(60'000, &loop, &QEventLoop::quit);
    loop.exec();
    return emitted;
}

class ViewModelHome {
  public:
  private:
    static std::unique_ptr<QCoreApplication> makeApplication() {
        static int argc = 1;
        static char name[] = "tests_dashboard";
        static char* argv[] = {name, nullptr};
        if (QCoreApplication::instance()) return nullptr;
        return std::make_unique<QCoreApplication>(argc, argv);
    }
    // First, so that it outlives every object below.
    std::unique_ptr<QCoreApplication> app_ = makeApplication();

  public:
    TestTree tree;
    const std::string home = tree.dir("home");
    ScopedHome scoped{home};
    const std::string trashFiles = home + "/.local/share/Trash/files";
    PreferenceFile preferences = openPreferenceFile(home + "/.config");
    CleanupIgnoreStore ignores{*preferences.settings, std::string(kCleanupIgnoreItemsKey),
                               [] { return AppLanguage::english; }, currentDate()};
    CleanupReviewPreferencesStore review{*preferences.settings};
    CustomScanFolderStore folders{*preferences.settings, AppLanguage::english};

    CleanerEnvironment environment() const {
        CleanerEnvironment e;
        e.homeOverride = home;
        e.catalogue = Catalogue::linux;
        return e;
    }

    /// `~/.cache/<relative>` holding `content`, its top folder three days old so that a
    /// standard scan offers it.
    std::string oldCacheFile(const std::string& relative, const std::string& content) {
        const std::string path = home + "/.cache/" + relative;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
        tree.setMtimeRecursive("home/.cache/" + relative.substr(0, relative.find('/')),
                               unixNow() - 3 * 86400);
        return path;
    }
};

}  // namespace velmora::test
