// One append to a full history (100 entries, or as many as fit under the 1 MiB read cap: the
// "entries" counter). Target: <= 5 ms.
// Arguments: cleaned items per entry, and whether the items carry the file identities the
// cleaning service records (scan identity and Trash identity: about 1.5 KB per item in the file
// instead of about 570 bytes). 10 items with identities do not fit 100 times under the cap.
// 3 items with identities is the representative history; the others are the heavy cases.
// Usage: build/release/bin/velmora_bench --benchmark_filter=BM_AuditAppend
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "CleanerCore/audit/CleanupAuditJson.h"
#include "CleanerCore/audit/CleanupAuditStore.h"
#include "CleanerCore/platform/SystemCalls.h"
#include "CleanerCore/platform/UUID.h"

namespace {

using namespace velmora;

CleanedItem recordedItem(int entry, int item, bool withIdentities) {
    const std::string name = "cache-" + std::to_string(entry) + "-" + std::to_string(item);
    CleanedItem c;
    c.candidate.url = FileURL::directory("/home/user/.cache/" + name);
    c.candidate.category = CleanupCategory::userCaches;
    c.candidate.displayName = name;
    c.candidate.sizeBytes = 1'234'567;
    c.candidate.lastModified = 790000000.123456;
    FileResourceIdentity identity;
    identity.fileResourceIdentifier = "2049:" + std::to_string(131000 + item);
    identity.volumeIdentifier = "0f1e2d3c-4b5a-4978-8695-a4b3c2d1e0f9";
    identity.volumeName = "/";
    identity.isDirectory = true;
    identity.fileSize = 4096;
    identity.totalFileAllocatedSize = 1'234'567;
    identity.systemFileNumber = 131000 + item;
    identity.systemNumber = 2049;
    identity.modificationDate = 790000000.123456;
    c.candidate.isSelectedByDefault = true;
    c.destinationURL = FileURL::directory("/home/user/.local/share/Trash/files/" + name);
    c.restoreSourceRootURL = FileURL::directory("/home/user/.local/share/Trash/files");
    if (!withIdentities) return c;
    c.candidate.resourceIdentity = identity;
    identity.fileResourceIdentifier = "2049:" + std::to_string(231000 + item);
    identity.systemFileNumber = 231000 + item;
    c.restoreSourceIdentity = identity;
    return c;
}

CleanupAuditEntry recordedEntry(int entry, Date occurredAt, int items, bool withIdentities) {
    CleanupAuditEntry e;
    e.id = makeUUIDString();
    e.occurredAt = occurredAt;
    e.mode = CleaningMode::moveToTrash;
    for (int i = 0; i < items; ++i) {
        e.cleanedItems.push_back(recordedItem(entry, i, withIdentities));
        e.samplePaths.push_back(e.cleanedItems.back().candidate.url.path);
    }
    e.requestedItemCount = e.succeededItemCount = items;
    e.requestedBytes = e.affectedBytes = 1'234'567LL * items;
    return e;
}

struct HistoryFolder {
    std::string folder;
    HistoryFolder() {
        const char* tmp = std::getenv("TMPDIR");
        std::string tmpl = std::string(tmp && *tmp ? tmp : "/tmp") + "/velmora-bench-XXXXXX";
        folder = ::mkdtemp(tmpl.data());
    }
    ~HistoryFolder() { std::filesystem::remove_all(folder); }
};

// `syncs`: whether the atomic write's two fsyncs reach the disk.
void runAppend(benchmark::State& state, bool syncs) {
    HistoryFolder tmp;
    const CleanupAuditStore store(tmp.folder + "/Velmora/cleanup-audit-log.json");
    const int items = static_cast<int>(state.range(0));
    const bool withIdentities = state.range(1) != 0;
    for (int i = 0; i < 100; ++i) {
        store.append(recordedEntry(i, 1000.0 + i, items, withIdentities));
    }
    const CleanupAuditStore& measured = store;
    SystemCallTable calls = realSystemCalls();
    if (!syncs) calls.fsync = [](int) { return 0; };
    const SystemCallTable previous = replaceSystemCalls(calls);
    int next = 100;
    size_t kept = 0;
    for (auto _ : state) {
        auto entries = measured.append(recordedEntry(next, 1000.0 + next, items, withIdentities));
        ++next;
        kept = entries.size();
        benchmark::DoNotOptimize(entries);
    }
    replaceSystemCalls(previous);
    state.counters["entries"] = static_cast<double>(kept);
    state.counters["fileBytes"] = static_cast<double>(std::filesystem::file_size(store.filePath()));
}

void BM_AuditAppend(benchmark::State& state) {
    runAppend(state, true);
}
BENCHMARK(BM_AuditAppend)
    ->Args({3, 1})
    ->Args({10, 0})
    ->Args({10, 1})
    ->Args({1, 1})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The same cycle without waiting for the disk: read, decode, sort, link, encode, write.
void BM_AuditAppendWithoutSync(benchmark::State& state) {
    runAppend(state, false);
}
BENCHMARK(BM_AuditAppendWithoutSync)
    ->Args({3, 1})
    ->Args({10, 0})
    ->Args({10, 1})
    ->Args({1, 1})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
