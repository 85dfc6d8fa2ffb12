// Takes a picture of each section of the desktop application in one language, on a sample
// home built for the purpose (never the person's own): the dashboard after a scan, the
// review, the confirmation dialog, the history after a cleanup, the settings, a scan after the
// cleanup, the insights
// (storage map as treemap and flame graph, duplicates, system panel), resource relief over
// made-up applications (a picture must not show what runs on the machine that takes it) and
// what grew over a month of kept scans made up from a scan of the sample home.
//
// Usage: velmora_screenshots OUTPUT_DIR LANGUAGE [standard|large|extraLarge] [light|dark]
// Run it under a display server (scripts/screenshots.sh starts Xvfb).
#include <QApplication>
#include <QDir>
#include <QEventLoop>
#include <QTabWidget>
#include <QTableView>
#include <QTimer>
#include <QTreeWidget>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "CleanerCore/delta-blame/DeltaBlameDraftBuilder.h"
#include "CleanerCore/delta-blame/DeltaBlameSnapshotStore.h"
#include "CleanerCore/platform/InstallationKey.h"
#include "CleanerCore/platform/UUID.h"
#include "CleanerCore/workflows/ScanSession.h"
#include "CleanerCore/workflows/ScanSetup.h"
#include "CleanerCore/workflows/SnapshotCapture.h"
#include "Velmora/desktop/Appearance.h"
#include "Velmora/desktop/DesktopSession.h"
#include "Velmora/desktop/GrowthPage.h"
#include "Velmora/desktop/HistoryPage.h"
#include "Velmora/desktop/InsightsPage.h"
#include "Velmora/desktop/MainWindow.h"
#include "Velmora/desktop/ReliefPage.h"
#include "Velmora/desktop/ReviewDialogs.h"
#include "Velmora/desktop/ReviewPage.h"
#include "Velmora/desktop/StorageMapView.h"
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
    // What the insights find: folders of a person's own files, a copy kept twice, downloads of
    // the kinds worth a second look.
    const std::pair<const char*, size_t> own[] = {
        {"Documents/Thesis/thesis-final.pdf", 8'400'000},
        {"Documents/Thesis/figures/results.png", 2'600'000},
        {"Documents/Thesis/data/measurements.csv", 14'000'000},
        {"Documents/Taxes/2025/receipts.pdf", 3'100'000},
        {"Documents/Backups/photo-archive.zip", 26'000'000},
        {"Downloads/photo-archive.zip", 26'000'000},
        {"Downloads/debian-12-netinst.iso", 64'000'000},
        {"Downloads/Editor-x86_64.AppImage", 18'000'000},
        {"Downloads/setup-tool.exe", 4'200'000},
        {"Downloads/driver.run", 2'800'000},
        {"Pictures/2025/Holiday/IMG_0412.jpg", 5'200'000},
        {"Pictures/2025/Holiday/IMG_0413.jpg", 4'900'000},
        {"Pictures/2025/Holiday/IMG_0414.jpg", 5'600'000},
        {"Pictures/2025/Family/IMG_0107.jpg", 4'400'000},
        {"Pictures/Screenshots/screen-01.png", 1'300'000},
        {"Music/Quartet/01-Allegro.flac", 31'000'000},
        {"Music/Quartet/02-Adagio.flac", 27'000'000},
        {"Videos/birthday.mp4", 48'000'000},
    };
    for (const auto& [relative, bytes] : own) write(home / relative, bytes);
    // The two archives are one file twice: the insights group them and keep the Documents one.
    fs::copy_file(home / "Documents/Backups/photo-archive.zip",
                  home / "Downloads/photo-archive.zip", fs::copy_options::overwrite_existing);
    const auto old = fs::file_time_type::clock::now() - std::chrono::hours(72);
    for (const auto& entry : fs::recursive_directory_iterator(home))
        fs::last_write_time(entry.path(), old);
}

/// A month of kept scans of the sample home: a scan of it now, and four weekly ones before in
/// which its caches were smaller, the Spotify cache not there yet and an old download cache
/// still there (so that the last week shows each kind of change). False when the store could not be
/// written.
bool keepSampleSnapshots(const fs::path& home) {
    ScanRequest request;
    request.homeOverride = home.string();
    request.catalogue = Catalogue::linux;
    request.mode = CleanupScanMode::direct;
    request.allowDirect = true;
    const auto setup = prepareScan(request, CancellationToken{});
    if (!setup) return false;
    const ScanReport now = runScanSession(*setup, {}, CancellationToken{});
    const auto key =
        loadOrCreateInstallationKey(installationKeyPath(setup->environment.xdgDataHome));
    if (!key) return false;
    const DeltaBlameIdentityHMACProvider provider(key->key);
    const DeltaBlameSnapshotStore store(
        DeltaBlameSnapshotStore::defaultFilePath(setup->environment.xdgDataHome), provider);
    const Date today = currentDate();
    const double shares[] = {0.45, 0.6, 0.7, 0.85, 1.0};
    for (int week = 4; week >= 0; --week) {
        ScanReport report = now;
        if (week > 0) {
            std::vector<CleanupCandidate> earlier;
            for (auto c : now.candidates) {
                if (c.url.path.find("/spotify") != std::string::npos) continue;
                c.sizeBytes = int64_t(double(c.sizeBytes) * shares[4 - week]);
                earlier.push_back(std::move(c));
            }
            if (!now.candidates.empty()) {
                CleanupCandidate gone = now.candidates.front();
                gone.url = FileURL::directory((home / ".cache/old-downloads").string());
                gone.displayName = "old-downloads";
                gone.sizeBytes = 64'000'000;
                gone.resourceIdentity.reset();
                earlier.push_back(std::move(gone));
            }
            report.candidates = std::move(earlier);
        }
        DeltaBlameCaptureRequest capture;
        capture.snapshotID = makeUUIDString();
        capture.scanRunID = makeUUIDString();
        capture.capturedAt = today - week * 7 * 86400.0 - 3600;
        capture.scanMode = CleanupScanMode::direct;
        capture.policyRevision = kCleanupPolicyRevision;
        const auto envelope = captureDeltaBlameSnapshot(report, capture, provider);
        if (!envelope || !store.save(*envelope).written) return false;
    }
    return true;
}

/// Made-up applications for the relief panel, on a machine of 16 GiB.
SystemResourceRelief sampleRelief() {
    constexpr double kPhysical = 16.0 * 1024 * 1024 * 1024;
    struct App {
        const char* name;
        const char* id;
        int32_t pid;
        double cpu;
        uint64_t resident;
    };
    const App apps[] = {
        {"Firefox", "org.mozilla.firefox", 2210, 0.184, 1'610'000'000},
        {"Visual Studio Code", "code", 3105, 0.092, 1'150'000'000},
        {"Thunderbird", "org.mozilla.thunderbird", 2480, 0.021, 640'000'000},
        {"Spotify", "com.spotify.Client", 2954, 0.034, 480'000'000},
        {"Files", "org.gnome.Nautilus", 1870, 0.004, 150'000'000},
        {"GIMP", "org.gimp.GIMP", 4012, 0.011, 910'000'000},
        {"Terminal", "org.gnome.Terminal", 1990, 0.006, 96'000'000},
    };
    std::vector<ResourceReliefProcessSnapshot> snapshots;
    for (const App& a : apps) {
        ResourceReliefProcessSnapshot s;
        s.displayName = a.name;
        s.bundleIdentifier = a.id;
        s.processIdentifier = a.pid;
        s.isUserVisible = true;
        s.launchDate = currentDate() - 3600;
        s.usage = ResourceReliefUsageMetrics(a.cpu, a.resident, double(a.resident) / kPhysical);
        snapshots.push_back(s);
    }
    SystemResourceRelief relief;
    relief.identity.currentProcessIdentifier = ::getpid();
    relief.identity.currentBundleIdentifier = "org.velmora.Velmora";
    relief.providers.capabilityProvider = [] { return ResourceReliefCapability::supported(); };
    relief.providers.candidateProvider = [snapshots] { return snapshots; };
    relief.providers.revalidationProvider =
        [snapshots](
            const ResourceReliefCandidate& c) -> std::optional<ResourceReliefProcessSnapshot> {
        for (const auto& s : snapshots)
            if (s.processIdentifier == c.processIdentifier) return s;
        return std::nullopt;
    };
    // Nothing is ever sent from a picture.
    relief.providers.quitRequester = [](const ResourceReliefProcessSnapshot&) { return false; };
    return relief;
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
    if (!keepSampleSnapshots(home)) {
        std::cerr << "could not keep the sample scan snapshots\n";
        return 1;
    }

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Velmora"));
    int status = 0;
    {
        SessionOptions options;
        options.homeOverride = home.string();
        options.catalogue = Catalogue::linux;
        // The sample files are small; these floors let them show as a person's would.
        options.insightOverrides.largeFileBytes = 20'000'000;
        options.insightOverrides.duplicateFileBytes = 1'000'000;
        options.relief = sampleRelief();
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

        // What grew over the sample's kept scans, before the scans below keep more.
        window.showSection(MainWindow::Section::growth);
        waitFor(&session.growth(), &GrowthViewModel::reportChanged);
        window.growth()->categories()->expandToDepth(0);
        status |= !save(window, prefix + "-growth.png");

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
        // A scan after the cleanup says whether what was cleaned came back.
        session.cleaner().startScan(CleanupScanMode::direct);
        waitFor(&session.cleaner(), &CleanerViewModel::reportChanged);
        window.showSection(MainWindow::Section::dashboard);
        status |= !save(window, prefix + "-rescanned.png");

        window.showSection(MainWindow::Section::insights);
        InsightsPage* insights = window.insights();
        session.insights().startScan();
        waitFor(&session.insights(), &InsightsViewModel::reportChanged);
        for (int i = 0; i < 12; ++i) {
            session.insights().refreshSystemSnapshot();
            settle();
        }
        auto* tabs = insights->findChild<QTabWidget*>(QStringLiteral("insightsTabs"));
        tabs->setCurrentWidget(insights->storageMapView());
        status |= !save(window, prefix + "-insights.png");
        insights->storageMapView()->showFlameGraph(true);
        status |= !save(window, prefix + "-flame.png");
        insights->storageMapView()->showFlameGraph(false);
        tabs->setCurrentWidget(insights->duplicatesTree());
        insights->duplicatesTree()->expandAll();
        status |= !save(window, prefix + "-duplicates.png");
        tabs->setCurrentIndex(tabs->count() - 1);
        status |= !save(window, prefix + "-system.png");

        window.showSection(MainWindow::Section::relief);
        waitFor(&session.relief(), &ResourceReliefViewModel::candidatesChanged);
        ReliefPage* relief = window.relief();
        relief->rows()->setData(relief->rows()->index(1, ReliefModel::name), Qt::Checked,
                                Qt::CheckStateRole);
        relief->table()->resizeColumnsToContents();
        status |= !save(window, prefix + "-relief.png");
    }
    fs::remove_all(root);
    return status;
}
