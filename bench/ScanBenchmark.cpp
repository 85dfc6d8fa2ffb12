// Scanner throughput on a reference home, by worker count: shows what the second core buys.
// Usage: VELMORA_BENCH_HOME=/tmp/velmora-bench/scan-300000 build/release/bin/velmora_bench
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "CleanerCore/scanning/StorageProfiles.h"
#include "CleanerCore/scanning/StorageScanner.h"

namespace {

void BM_DirectScan(benchmark::State& state) {
    const char* home = std::getenv("VELMORA_BENCH_HOME");
    if (home == nullptr) {
        state.SkipWithError("set VELMORA_BENCH_HOME to a tree made by make_corpus.py");
        return;
    }
    velmora::CancellationToken cancel;
    auto folders = velmora::ProfileFolders::defaults(home, velmora::Catalogue::linux);
    auto locations = velmora::StorageProfiles::locations(velmora::CleanupScanMode::direct, folders,
                                                         true, cancel);
    velmora::StorageScanner::Configuration config;
    config.workerCount = static_cast<unsigned>(state.range(0));
    velmora::StorageScanner scanner(config, home, velmora::Catalogue::linux);
    size_t candidates = 0;
    for (auto _ : state) {
        auto report = scanner.scan(locations, velmora::currentDate(), {}, cancel);
        candidates = report.candidates.size();
        benchmark::DoNotOptimize(report);
    }
    state.counters["candidates"] = static_cast<double>(candidates);
}
BENCHMARK(BM_DirectScan)->Arg(1)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
