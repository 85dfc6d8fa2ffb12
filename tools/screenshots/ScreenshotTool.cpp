// Takes a picture of each section of the desktop application in one language, on a sample
// home built for the purpose (never the person's own): the dashboard after a scan, the
// review, the confirmation dialog, the history after a cleanup, the settings.
//
// Usage: velmora_screenshots OUTPUT_DIR LANGUAGE [standard|large|extraLarge] [light|dark]
// Run it under a display server (scripts/screenshots.sh starts Xvfb).
#include <QApplication>
#include <QDir>
#include <QEventLoop>
#include <QTableView>
#include <QTimer>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "Velmora/desktop/Appearance.h"
#include "Velmora/desktop/DesktopSession.h"
#include "Velmora/desktop/HistoryPage.h"
#include "Velmora/desktop/MainWindow.h"
#include "Velmora/desktop/ReviewDialogs.h"
#include "Velmora/desktop/ReviewPage.h"
#include "VelmoraUI/localization/AppLanguage.h"

using namespace velmora;
using namespace velmora::desktop;
namespace fs = std::filesystem;

namespace {

void write(const fs::path& path, size_t bytes) {
    fs::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary);
    const std::string chunk(4096, 'v');
    for (size_t written = 0; written < bytes; written += chunk.size())
        out.write(chunk.data(), std::streamsize(std::min(chunk.size(), bytes - written)));
}

/// A home with the kinds of material a scan offers, three days old.
void buildSampleHome(const fs::path& home) {
    const std::pair<const char*, size_t> files[] = {
        {".cache/thumbnails/large/a.png", 3'200'000},
        {".cache/mozilla-updates/update.mar", 48'000'000},
        {".cache/pip/http/1/wheel.whl", 21'000'000},
        {".cache/fontconfig/cache-1", 900'000},
        {".cache/gstreamer-1.0/registry.bin", 2'400'000},
        {".cache/yarn/v6/pkg/index.js", 15'500'000},
        {".cache/spotify/Data/a.file", 120'000'000},
        {".cache/electron/app.zip", 86'000'000},
        {".local/state/app/log/app.log", 5'600'000},
        {".npm/_cacache/content/blob", 34'000'000},
    };
    for (const auto& [relative, bytes] : files) write(home / relative, bytes);
    const auto old = fs::file_time_type::clock::now() - std::chrono::hours(72);
    for (const auto& entry : fs::recursive_directory_iterator(home))
        fs::last_write_time(entry.path(), old);
}

template <typename Sender, typename Signal>
void waitFor(Sender* sender, Signal signal) {
    QEventLoop loop;
    QObject::connect(sender, signal, &loop, &QEventLoop::quit);
    QTimer::singleShot(120'000, &loop, &QEventLoop::quit);
    loop.exec();
}

void settle() {
    for (int i = 0; i < 5; ++i) QCoreApplication::processEvents();
}

bool save(QWidget& widget, const QString& path) {
    settle();
    const bool ok = widget.grab().save(path);
    std::cout << (ok ? "wrote " : "could not write ") << path.toStdString() << "\n";
    return ok;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::cerr << "usage: velmora_screenshots OUTPUT_DIR LANGUAGE [SCALE] [APPEARANCE]\n";
        return 2;
    }
    const QString output = QString::fromLocal8Bit(argv[1]);
    const auto language = normalizedLanguage(argv[2]);
    if (!language) {
        std::cerr << "unknown language " << argv[2] << "\n";
        return 2;
    }
    const std::string scale = argc > 3 ? argv[3] : "standard";
    const std::string appearance = argc > 4 ? argv[4] : "light";

    const fs::path root =
        fs::temp_directory_path() / ("velmora-screenshots-" + std::to_string(::getpid()));
    const fs::path home = root / "home";
    buildSampleHome(home);
    ::setenv("HOME", home.c_str(), 1);
    for (const char* v : {"XDG_CACHE_HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME"})
        ::unsetenv(v);

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Velmora"));
    int status = 0;
    {
        SessionOptions options;
        options.homeOverride = home.string();
        options.catalogue = Catalogue::linux;
        DesktopSession session(options);
        session.settingsModel().setLanguage(*language);
        session.settingsModel().setTextScale(textScaleFromRaw(scale).value_or(TextScale::standard));
        session.settingsModel().setAppearanceMode(
            appearanceModeFromRaw(appearance).value_or(AppearanceMode::light));
        session.settingsModel().completeOnboarding();
        const QFont base = QApplication::font();
        app.setProperty("velmoraBaseFont", base);
        applyAppearance(app, session.settingsModel().appearanceMode(),
                        session.settingsModel().textScale(), base);

        MainWindow window(session);
        window.resize(1100, 720);
        window.show();
        QDir().mkpath(output);
        const QString prefix =
            output + "/" + QString::fromLatin1(argv[2]) +
            (scale == "standard" ? QString() : "-" + QString::fromStdString(scale)) +
            (appearance == "light" ? QString() : "-" + QString::fromStdString(appearance));

        session.cleaner().startScan(CleanupScanMode::direct);
        waitFor(&session.cleaner(), &CleanerViewModel::reportChanged);
        window.showSection(MainWindow::Section::dashboard);
        // Chosen as a person would before confirming: everything but the package caches.
        for (size_t i = 0; i < session.cleaner().report().candidates.size(); ++i) {
            session.cleaner().setSelected(i, session.cleaner().report().candidates[i].category !=
                                                 CleanupCategory::packageManagerCaches);
        }
        status |= !save(window, prefix + "-dashboard.png");
        window.showSection(MainWindow::Section::review);
        window.review()->table()->resizeColumnsToContents();
        status |= !save(window, prefix + "-review.png");

        {
            ConfirmationDialog dialog(session.cleaner().selectedCandidates(),
                                      session.cleaner().home(), session.language(), &window);
            dialog.show();
            status |= !save(dialog, prefix + "-confirm.png");
        }
        session.cleaner().startCleanup();
        waitFor(&session.cleaner(), &CleanerViewModel::cleanupFinished);
        status |= !save(window, prefix + "-cleaned.png");
        window.showSection(MainWindow::Section::history);
        waitFor(&session.history(), &HistoryViewModel::entriesChanged);
        window.history()->table()->selectRow(0);
        window.history()->table()->resizeColumnsToContents();
        status |= !save(window, prefix + "-history.png");
        window.showSection(MainWindow::Section::settings);
        status |= !save(window, prefix + "-settings.png");
    }
    fs::remove_all(root);
    return status;
}
