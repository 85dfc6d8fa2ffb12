// Measures the desktop application's view layer (bench/desktop.sh prints the figures):
//   velmora_ui_bench review N     the review list of N candidates: the longest sort by any
//                                 column and the longest text, category and safety filter, ms
//   velmora_ui_bench latency HOME the cleaner view model scanning HOME (standard mode, as
//                                 `velmora --home HOME scan`): its wall time and the longest
//                                 the UI thread went without running its event loop, ms
//   velmora_ui_bench insights HOME [RUNS]
//                                 the insight scan of HOME through the insights view model
//                                 against runInsightScan called as `velmora insights` calls it
//                                 (no storage tree; with VELMORA_BENCH_TREE set, with the
//                                 tree as the application builds it), alternating, RUNS
//                                 times each (default 5): the medians, s, and their ratio
// Runs offscreen unless a display is given.
#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "CleanerCore/workflows/InsightRun.h"
#include "Velmora/desktop/CandidateModel.h"
#include "Velmora/desktop/DesktopSession.h"

using namespace velmora;
using namespace velmora::desktop;
namespace fs = std::filesystem;

namespace {

void scanAndWait(DesktopSession& session) {
    QEventLoop loop;
    QObject::connect(&session.cleaner(), &CleanerViewModel::reportChanged, &loop,
                     &QEventLoop::quit);
    session.cleaner().startScan(CleanupScanMode::standard);
    loop.exec();
}

int review(int count) {
    const fs::path home =
        fs::temp_directory_path() / ("velmora-ui-bench-" + std::to_string(::getpid()));
    const auto old = fs::file_time_type::clock::now() - std::chrono::hours(72);
    for (int i = 0; i < count; ++i) {
        const fs::path dir = home / ".cache" / ("app" + std::to_string(i));
        fs::create_directories(dir);
        std::ofstream(dir / "data") << std::string(size_t(i % 97) * 13 + 1, 'x');
        fs::last_write_time(dir / "data", old);
        fs::last_write_time(dir, old);
    }
    ::setenv("HOME", home.c_str(), 1);
    double worstSort = 0, worstFilter = 0;
    size_t rows = 0;
    {
        DesktopSession session(SessionOptions{home.string(), Catalogue::linux});
        scanAndWait(session);
        CandidateModel model(session.cleaner(), [] { return AppLanguage::english; });
        CandidateFilterModel filter;
        filter.setSourceModel(&model);
        rows = size_t(filter.rowCount());
        QElapsedTimer timer;
        for (int column = 0; column < CandidateModel::numberOfColumns; ++column) {
            for (auto order : {Qt::AscendingOrder, Qt::DescendingOrder}) {
                timer.start();
                filter.sort(column, order);
                worstSort = std::max(worstSort, timer.nsecsElapsed() / 1e6);
            }
        }
        auto filtered = [&](auto change) {
            timer.start();
            change();
            (void)filter.rowCount();
            worstFilter = std::max(worstFilter, timer.nsecsElapsed() / 1e6);
        };
        filtered([&] { filter.setText(QStringLiteral("app1")); });
        filtered([&] { filter.setText(QStringLiteral("app12")); });
        filtered([&] { filter.setText(QString()); });
        filtered([&] { filter.setCategory(CleanupCategory::userCaches); });
        filtered([&] { filter.setSafety(CleanupSafety::caution); });
        filtered([&] {
            filter.setCategory(std::nullopt);
            filter.setSafety(std::nullopt);
        });
    }
    fs::remove_all(home);
    std::cout << "{\"rows\": " << rows << ", \"worstSortMs\": " << worstSort
              << ", \"worstFilterMs\": " << worstFilter << "}\n";
    return rows == size_t(count) ? 0 : 1;
}

int latency(const std::string& home) {
    ::setenv("HOME", home.c_str(), 1);
    DesktopSession session(SessionOptions{home, Catalogue::linux});
    QElapsedTimer sinceTick;
    double worstGap = 0;
    QTimer tick;
    tick.setInterval(1);
    QObject::connect(&tick, &QTimer::timeout, [&] {
        worstGap = std::max(worstGap, sinceTick.nsecsElapsed() / 1e6);
        sinceTick.restart();
    });
    QElapsedTimer wall;
    wall.start();
    sinceTick.start();
    tick.start();
    scanAndWait(session);
    const double seconds = wall.nsecsElapsed() / 1e9;
    std::cout << "{\"candidates\": " << session.cleaner().report().candidates.size()
              << ", \"scanSeconds\": " << seconds << ", \"worstEventLoopGapMs\": " << worstGap
              << "}\n";
    return 0;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

int insights(const std::string& home, int runs) {
    ::setenv("HOME", home.c_str(), 1);
    DesktopSession session(SessionOptions{home, Catalogue::linux});
    InsightRunRequest request;
    request.homeOverride = home;
    request.catalogue = Catalogue::linux;
    // As `velmora insights` runs it: the command builds no storage tree, the application does.
    // VELMORA_BENCH_TREE builds it on both sides, to see what the view model alone adds.
    if (std::getenv("VELMORA_BENCH_TREE") == nullptr) request.storageTree.reset();
    std::vector<double> direct, viewModel;
    size_t groups = 0;
    QElapsedTimer timer;
    // Alternating, so that the page cache and the machine's load treat both alike.
    for (int i = 0; i < runs; ++i) {
        timer.start();
        const InsightRun run =
            runInsightScan(request, insightEnvironment(request), {}, CancellationToken());
        direct.push_back(timer.nsecsElapsed() / 1e9);
        groups = run.report.duplicateGroups.size();

        QEventLoop loop;
        QObject::connect(&session.insights(), &InsightsViewModel::reportChanged, &loop,
                         &QEventLoop::quit);
        timer.start();
        session.insights().startScan();
        loop.exec();
        viewModel.push_back(timer.nsecsElapsed() / 1e9);
    }
    const double d = median(direct), v = median(viewModel);
    std::cout << "{\"duplicateGroups\": " << groups << ", \"directSeconds\": " << d
              << ", \"viewModelSeconds\": " << v << ", \"ratio\": " << v / d << "}\n";
    return session.insights().report().duplicateGroups.size() == groups ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("DISPLAY") && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "review" && argc > 2) return review(std::atoi(argv[2]));
    if (what == "latency" && argc > 2) return latency(argv[2]);
    if (what == "insights" && argc > 2) return insights(argv[2], argc > 3 ? std::atoi(argv[3]) : 5);
    std::cerr << "usage: velmora_ui_bench review N | latency HOME | insights HOME [RUNS]\n";
    return 2;
}
