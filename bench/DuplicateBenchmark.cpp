// Duplicate detection over the reference large-file tree, walk included, by worker count, with
// every budget raised so that all files are read as `jdupes -r -q` reads them.
// Usage: VELMORA_BENCH_DUPS=/tmp/velmora-bench/dups velmora_bench
//        --benchmark_filter=BM_DuplicateDetection   (velmora_bench of a release build)
// bench/dups.sh times it side by side with jdupes.
#include <benchmark/benchmark.h>
#include <ftw.h>

#include <cstdlib>
#include <limits>
#include <vector>

#include "CleanerCore/insights/DuplicateDetection.h"

namespace {

std::vector<velmora::CollectedFile>* gCollected = nullptr;

int collectRegularFile(const char* path, const struct stat* st, int type, struct FTW*) {
    if (type == FTW_F && S_ISREG(st->st_mode)) {
        velmora::CollectedFile f;
        f.path = velmora::standardizePath(path);
        f.sizeBytes = st->st_size;
        f.device = st->st_dev;
        f.inode = st->st_ino;
        f.modificationDate = velmora::dateFromTimespec(st->st_mtim);
        f.linkCount = static_cast<int64_t>(st->st_nlink);
        gCollected->push_back(std::move(f));
    }
    return 0;
}

void BM_DuplicateDetection(benchmark::State& state) {
    const char* root = std::getenv("VELMORA_BENCH_DUPS");
    if (root == nullptr) {
        state.SkipWithError("set VELMORA_BENCH_DUPS to a tree made by make_corpus.py dups");
        return;
    }
    constexpr int64_t kUnlimited = std::numeric_limits<int64_t>::max();
    velmora::DuplicateDetectionOptions options;
    options.budgets = {1, kUnlimited, kUnlimited, kUnlimited, kUnlimited, kUnlimited};
    options.homePath = root;
    options.workerCount = static_cast<size_t>(state.range(0));
    size_t groups = 0, files = 0;
    for (auto _ : state) {
        std::vector<velmora::CollectedFile> collected;
        gCollected = &collected;
        nftw(root, collectRegularFile, 64, FTW_PHYS);
        auto result = velmora::detectDuplicates(collected, options);
        groups = result.groups.size();
        files = collected.size();
        benchmark::DoNotOptimize(result);
    }
    state.counters["groups"] = static_cast<double>(groups);
    state.counters["files"] = static_cast<double>(files);
}
BENCHMARK(BM_DuplicateDetection)
    ->Arg(1)
    ->Arg(2)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
