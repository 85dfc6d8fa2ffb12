// Scan snapshots. Targets: building, validating and encoding the snapshot of a 50,000-candidate
// scan <= 100 ms; loading (read, decode, validate) a store of nearly 4 MiB <= 50 ms.
// Usage: build/release/bin/velmora_bench --benchmark_filter=BM_DeltaBlame
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "CleanerCore/delta-blame/DeltaBlameCodec.h"
#include "CleanerCore/delta-blame/DeltaBlameDraftBuilder.h"
#include "CleanerCore/delta-blame/DeltaBlameSnapshotStore.h"
#include "CleanerCore/platform/UUID.h"

namespace {

using namespace velmora;

DeltaBlameIdentityHMACProvider benchProvider() {
    return *DeltaBlameIdentityHMACProvider::make(std::string(32, 'b'));
}

// 50,000 candidates over 20 roots and all 13 categories, nearly all with a file identity.
ScanReport largeReport(int candidates) {
    ScanReport r;
    r.hasCompletedScan = true;
    for (int i = 0; i < 20; ++i)
        r.scannedRoots.push_back(FileURL::directory("/home/user/.cache/root-" + std::to_string(i)));
    r.candidates.reserve(static_cast<size_t>(candidates));
    for (int i = 0; i < candidates; ++i) {
        CleanupCandidate c;
        c.url = FileURL("/home/user/.cache/root-" + std::to_string(i % 20) + "/item-" +
                        std::to_string(i));
        c.category = allCleanupCategories()[static_cast<size_t>(i % kCleanupCategoryCount)];
        c.sizeBytes = 4096 + (static_cast<int64_t>(i) * 7919) % 10'000'000;
        c.lastModified = 790000000.0 + i;
        if (i % 10 != 0) {
            FileResourceIdentity identity;
            identity.fileResourceIdentifier = "2049:" + std::to_string(100000 + i);
            identity.isDirectory = i % 3 == 0;
            identity.creationDate = 780000000.0 + i;
            c.resourceIdentity = identity;
        }
        r.candidates.push_back(std::move(c));
    }
    return r;
}

DeltaBlameCaptureRequest benchRequest() {
    DeltaBlameCaptureRequest q;
    q.snapshotID = makeUUIDString();
    q.scanRunID = makeUUIDString();
    q.capturedAt = 790000100.0;
    q.policyRevision = "1";
    return q;
}

void BM_DeltaBlameCaptureAndEncode(benchmark::State& state) {
    const auto report = largeReport(static_cast<int>(state.range(0)));
    const auto provider = benchProvider();
    const auto request = benchRequest();
    size_t bytes = 0;
    for (auto _ : state) {
        auto envelope = captureDeltaBlameSnapshot(report, request, provider);
        if (!envelope) state.SkipWithError(envelope.error().description().c_str());
        auto encoded = DeltaBlameTemporaryCodec::encode(*envelope, kDeltaBlameMaximumEncodedBytes);
        if (!encoded) state.SkipWithError(encoded.error().description().c_str());
        bytes = encoded->size();
        benchmark::DoNotOptimize(bytes);
    }
    state.counters["encodedBytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_DeltaBlameCaptureAndEncode)->Arg(50'000)->Unit(benchmark::kMillisecond);

void BM_DeltaBlameStoreLoad(benchmark::State& state) {
    namespace fs = std::filesystem;
    const fs::path folder = fs::temp_directory_path() / ("velmora-bench-" + makeUUIDString());
    const std::string file = (folder / "delta-blame-snapshots.json").string();
    const auto provider = benchProvider();
    const DeltaBlameSnapshotStore store(file, provider);
    // Snapshots of 8,000-candidate scans until the store is full (it drops the oldest beyond
    // 4 MiB), so the file ends just below the bound.
    const auto report = largeReport(8'000);
    for (int i = 0; i < 20; ++i) {
        auto envelope = captureDeltaBlameSnapshot(report, benchRequest(), provider);
        if (!envelope || !store.save(*envelope).written) {
            state.SkipWithError("could not fill the store");
            break;
        }
    }
    const auto fileBytes = fs::file_size(file);
    size_t kept = 0;
    for (auto _ : state) {
        auto loaded = store.load();
        kept = loaded.snapshots.size();
        benchmark::DoNotOptimize(kept);
    }
    state.counters["fileBytes"] = static_cast<double>(fileBytes);
    state.counters["snapshots"] = static_cast<double>(kept);
    fs::remove_all(folder);
}
BENCHMARK(BM_DeltaBlameStoreLoad)->Unit(benchmark::kMillisecond);

}  // namespace
