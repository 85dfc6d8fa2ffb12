// Scan snapshots. Targets: building, validating and encoding the snapshot of a 50,000-candidate
// scan <= 100 ms; loading (read, decode, validate) a store of nearly 4 MiB <= 50 ms. Also timed:
// saving into a full store (what every scan pays) and comparing two large snapshots.
// Usage: build/release/bin/velmora_bench --benchmark_filter=BM_DeltaBlame
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "CleanerCore/delta-blame/DeltaBlameCodec.h"
#include "CleanerCore/delta-blame/DeltaBlameComparator.h"
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

// A store filled with snapshots of 8,000-candidate scans until it is full (it drops the oldest
// beyond 4 MiB), so the file ends just below the bound. Removed with the object.
struct FullStore {
    std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("velmora-bench-" + makeUUIDString());
    DeltaBlameIdentityHMACProvider provider = benchProvider();
    DeltaBlameSnapshotStore store{(folder / "delta-blame-snapshots.json").string(), provider};
    ScanReport report = largeReport(8'000);
    bool filled = true;

    FullStore() {
        for (int i = 0; i < 20 && filled; ++i) filled = save();
    }
    ~FullStore() { std::filesystem::remove_all(folder); }
    bool save() {
        auto envelope = captureDeltaBlameSnapshot(report, benchRequest(), provider);
        return envelope && store.save(*envelope).written;
    }
};

void BM_DeltaBlameStoreLoad(benchmark::State& state) {
    FullStore full;
    if (!full.filled) state.SkipWithError("could not fill the store");
    const auto fileBytes = std::filesystem::file_size(full.store.filePath());
    size_t kept = 0;
    for (auto _ : state) {
        auto loaded = full.store.load();
        kept = loaded.snapshots.size();
        benchmark::DoNotOptimize(kept);
    }
    state.counters["fileBytes"] = static_cast<double>(fileBytes);
    state.counters["snapshots"] = static_cast<double>(kept);
}
BENCHMARK(BM_DeltaBlameStoreLoad)->Unit(benchmark::kMillisecond);

// What every completed scan pays after its walk once the store is full: one more snapshot of an
// 8,000-candidate scan captured and saved (the oldest dropped), the file written atomically.
void BM_DeltaBlameStoreSaveIntoFull(benchmark::State& state) {
    FullStore full;
    if (!full.filled) state.SkipWithError("could not fill the store");
    for (auto _ : state) {
        if (!full.save()) state.SkipWithError("save failed");
    }
}
BENCHMARK(BM_DeltaBlameStoreSaveIntoFull)->Unit(benchmark::kMillisecond);

// Comparing two snapshots of 50,000-candidate scans (2,000 evidence entries each) where a third
// of the items changed size, a tenth went away and as many appeared.
void BM_DeltaBlameCompare(benchmark::State& state) {
    const auto provider = benchProvider();
    auto before = largeReport(50'000);
    auto after = before;
    for (size_t i = 0; i < after.candidates.size(); ++i) {
        if (i % 3 == 0) after.candidates[i].sizeBytes += 5'000'000;
        if (i % 10 == 1) after.candidates[i].url = FileURL(after.candidates[i].url.path + "-new");
    }
    const auto earlier = captureDeltaBlameSnapshot(before, benchRequest(), provider);
    const auto later = captureDeltaBlameSnapshot(after, benchRequest(), provider);
    if (!earlier || !later) {
        state.SkipWithError("could not capture");
        return;
    }
    size_t items = 0;
    for (auto _ : state) {
        const auto c = compareDeltaBlameSnapshots(earlier->draft, later->draft);
        items = c.items.size();
        benchmark::DoNotOptimize(items);
    }
    state.counters["items"] = static_cast<double>(items);
}
BENCHMARK(BM_DeltaBlameCompare)->Unit(benchmark::kMillisecond);

}  // namespace
