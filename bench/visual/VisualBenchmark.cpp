// The storage pictures on a synthetic home of about 300,000 files: building the bounded tree,
// the treemap layout of the home, the flame graph rows, and one paint of the treemap widget at
// 1280x800 into an image (offscreen platform). The counters give the nodes kept and the tiles
// laid out and painted. When the reference corpus exists (VELMORA_BENCH_HOME, default
// /tmp/velmora-bench/home-300000), the insight scan of it with and without the tree, and the
// layout and paint of its tree, are measured too.
#include <benchmark/benchmark.h>

#include <sys/stat.h>
#include <QApplication>
#include <QImage>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "CleanerCore/insights/MacStorageInsightScanner.h"
#include "CleanerCore/insights/StorageTree.h"
#include "Velmora/desktop/TreemapWidget.h"
#include "VelmoraUI/visual/FlameGraphRows.h"
#include "VelmoraUI/visual/TreemapLayout.h"

namespace {

using velmora::StorageTree;
using velmora::StorageTreeRootBuilder;

constexpr int kTopLevelItems = 12, kFanOut = 6, kLevels = 3;
constexpr int kLeafFiles = 116, kInnerFiles = 5;

struct Generator {
    uint64_t state = 0x9e3779b97f4a7c15u;
    int64_t files = 0;
    int64_t size() {
        state = state * 6364136223846793005u + 1442695040888963407u;
        const uint64_t x = state >> 33;
        const int64_t base = 512 * static_cast<int64_t>(1 + x % 4096);
        return x % 97 == 0 ? base * 1000 : base;
    }
    // The depth-first order of a walk: a folder is announced right before its contents.
    void fill(StorageTreeRootBuilder& b, int depth) {
        const bool leaf = depth == kLevels;
        for (int f = 0; f < (leaf ? kLeafFiles : kInnerFiles); ++f, ++files)
            b.file(depth, "file-" + std::to_string(f) + ".dat", size());
        if (leaf) return;
        for (int d = 0; d < kFanOut; ++d) {
            b.folder(depth, "folder-" + std::to_string(d));
            fill(b, depth + 1);
        }
    }
};

StorageTree buildHome(int64_t* files = nullptr) {
    std::atomic<int64_t> budget{200'000};
    std::vector<std::unique_ptr<StorageTreeRootBuilder>> parts;
    std::vector<velmora::StorageTreeItem> items;
    Generator g;
    for (int t = 0; t < kTopLevelItems; ++t) {
        parts.push_back(
            std::make_unique<StorageTreeRootBuilder>(velmora::StorageTreeLimits{}, budget));
        g.fill(*parts.back(), 0);
        parts.back()->finish();
        const std::string name = "Item" + std::to_string(t);
        items.push_back({"/home/bench/" + name, "~/" + name, false, parts.back().get()});
    }
    if (files) *files = g.files;
    return velmora::assembleStorageTree("/home/bench", items);
}

const StorageTree& home() {
    static const StorageTree tree = buildHome();
    return tree;
}

void BM_StorageTreeBuild(benchmark::State& state) {
    int64_t files = 0;
    size_t nodes = 0;
    for (auto _ : state) {
        const auto tree = buildHome(&files);
        nodes = tree.nodeCount();
        benchmark::DoNotOptimize(nodes);
    }
    state.counters["files"] = static_cast<double>(files);
    state.counters["nodes"] = static_cast<double>(nodes);
}
BENCHMARK(BM_StorageTreeBuild)->Unit(benchmark::kMillisecond);

void BM_TreemapLayoutHome(benchmark::State& state) {
    const auto& tree = home();
    velmora::visual::TreemapOptions options;
    options.maximumDepth = static_cast<int>(state.range(0));
    size_t tiles = 0;
    for (auto _ : state) {
        const velmora::visual::TreemapLayout layout(tree, tree.root(), QRectF(0, 0, 1280, 800),
                                                    options);
        tiles = layout.tiles().size();
        benchmark::DoNotOptimize(tiles);
    }
    state.counters["tiles"] = static_cast<double>(tiles);
}
BENCHMARK(BM_TreemapLayoutHome)->Arg(3)->Arg(8)->Unit(benchmark::kMillisecond);

void BM_FlameGraphRowsHome(benchmark::State& state) {
    const auto& tree = home();
    for (auto _ : state) {
        const velmora::visual::FlameGraphRows rows(tree, tree.root(), 1280);
        benchmark::DoNotOptimize(rows.itemCount());
    }
}
BENCHMARK(BM_FlameGraphRowsHome)->Unit(benchmark::kMillisecond);

void BM_TreemapPaint(benchmark::State& state) {
    velmora::desktop::TreemapWidget widget;
    widget.resize(1280, 800);
    widget.setTree(std::make_shared<const StorageTree>(buildHome()));
    QImage image(1280, 800, QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        widget.render(&image);
        benchmark::ClobberMemory();
    }
    state.counters["tiles"] = static_cast<double>(widget.layout().tiles().size());
}
BENCHMARK(BM_TreemapPaint)->Unit(benchmark::kMillisecond);

std::string corpusHome() {
    const char* set = std::getenv("VELMORA_BENCH_HOME");
    std::string path = set ? set : "/tmp/velmora-bench/home-300000";
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode) ? path : std::string();
}

std::shared_ptr<const StorageTree> scanCorpus(bool withTree) {
    velmora::MacStorageInsightScanner::Options o;
    o.catalogue = velmora::Catalogue::linux;
    o.captureSnapshot = [] { return velmora::SystemResourceSnapshot{}; };
    if (withTree) o.storageTree = velmora::StorageTreeLimits{};
    velmora::MacStorageInsightScanner scanner(
        corpusHome(),
        velmora::MacStorageInsightScanner::Configuration::forCatalogue(velmora::Catalogue::linux),
        o);
    velmora::CancellationToken cancel;
    velmora::MacStorageInsightScanner::Notes notes;
    benchmark::DoNotOptimize(scanner.scan(cancel, &notes));
    return notes.storageTree;
}

void BM_InsightScanCorpus(benchmark::State& state) {
    if (corpusHome().empty()) return state.SkipWithError("no corpus");
    size_t nodes = 0;
    for (auto _ : state) {
        auto tree = scanCorpus(state.range(0) != 0);
        nodes = tree ? tree->nodeCount() : 0;
    }
    state.counters["nodes"] = static_cast<double>(nodes);
}
BENCHMARK(BM_InsightScanCorpus)->Arg(0)->Arg(1)->Iterations(3)->Unit(benchmark::kMillisecond);

// The corpus's walk as the insight scan meets it, recorded once: each top-level folder is a
// part, its entries in depth-first order (depth, name, allocated size; folders have size -1).
struct RecordedWalk {
    struct Entry {
        int depth;
        std::string name;
        int64_t size;
    };
    std::vector<std::pair<std::string, std::vector<Entry>>> parts;
    size_t files = 0;
};

void record(const std::filesystem::path& dir, int depth, std::vector<RecordedWalk::Entry>& out,
            size_t& files) {
    for (const auto& e : std::filesystem::directory_iterator(dir)) {
        struct stat st {};
        if (::lstat(e.path().c_str(), &st) != 0) continue;
        const std::string name = e.path().filename().string();
        if (S_ISDIR(st.st_mode)) {
            out.push_back({depth, name, -1});
            record(e.path(), depth + 1, out, files);
        } else if (S_ISREG(st.st_mode)) {
            out.push_back({depth, name, static_cast<int64_t>(st.st_blocks) * 512});
            ++files;
        }
    }
}

const RecordedWalk& recordedCorpus() {
    static const RecordedWalk walk = [] {
        RecordedWalk w;
        for (const auto& e : std::filesystem::directory_iterator(corpusHome())) {
            std::error_code error;
            if (e.is_symlink(error) || !e.is_directory(error)) continue;
            w.parts.push_back({e.path().filename().string(), {}});
            record(e.path(), 0, w.parts.back().second, w.files);
        }
        return w;
    }();
    return walk;
}

// The tree's whole cost on the corpus's walk, without the walk: every part's builder fed as
// the walkers feed it, the parts joined, and everything freed again.
void BM_StorageTreeCorpusReplay(benchmark::State& state) {
    if (corpusHome().empty()) return state.SkipWithError("no corpus");
    const RecordedWalk& walk = recordedCorpus();
    size_t nodes = 0;
    for (auto _ : state) {
        std::atomic<int64_t> budget{200'000};
        std::vector<std::unique_ptr<StorageTreeRootBuilder>> parts;
        std::vector<velmora::StorageTreeItem> items;
        for (const auto& [name, entries] : walk.parts) {
            parts.push_back(
                std::make_unique<StorageTreeRootBuilder>(velmora::StorageTreeLimits{}, budget));
            auto& b = *parts.back();
            for (const auto& e : entries) {
                if (e.size < 0)
                    b.folder(e.depth, e.name);
                else
                    b.file(e.depth, e.name, e.size);
            }
            b.finish();
            items.push_back({"/home/bench/" + name, "~/" + name, false, parts.back().get()});
        }
        const auto tree = velmora::assembleStorageTree("/home/bench", items);
        nodes = tree.nodeCount();
        benchmark::DoNotOptimize(nodes);
    }
    state.counters["files"] = static_cast<double>(walk.files);
    state.counters["nodes"] = static_cast<double>(nodes);
}
BENCHMARK(BM_StorageTreeCorpusReplay)->Unit(benchmark::kMillisecond);

void BM_TreemapCorpus(benchmark::State& state) {
    if (corpusHome().empty()) return state.SkipWithError("no corpus");
    static const auto tree = scanCorpus(true);
    size_t tiles = 0;
    if (state.range(0) == 0) {
        for (auto _ : state) {
            const velmora::visual::TreemapLayout layout(*tree, tree->root(),
                                                        QRectF(0, 0, 1280, 800));
            tiles = layout.tiles().size();
        }
    } else {
        velmora::desktop::TreemapWidget widget;
        widget.resize(1280, 800);
        widget.setTree(tree);
        QImage image(1280, 800, QImage::Format_ARGB32_Premultiplied);
        for (auto _ : state) {
            widget.render(&image);
            benchmark::ClobberMemory();
        }
        tiles = widget.layout().tiles().size();
    }
    state.counters["nodes"] = static_cast<double>(tree->nodeCount());
    state.counters["tiles"] = static_cast<double>(tiles);
}
// 0: the layout of the home; 1: one paint.
BENCHMARK(BM_TreemapCorpus)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
