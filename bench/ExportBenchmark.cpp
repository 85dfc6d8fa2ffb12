// Exporting a large cleanup scan: the text of a report of N candidates, full or redacted, as
// JSON or CSV. Redaction adds one HMAC per path and text; the JSON walk decides each string by
// its key. Target: 100,000 candidates in <= 2 s in any form (a support export of the largest
// scan stays interactive).
// Usage: build/release/bin/velmora_bench --benchmark_filter=BM_ExportScan
#include <benchmark/benchmark.h>

#include <string>

#include "CleanerCore/export/ScanExport.h"

namespace {

using namespace velmora;

ScanReport reportOf(int64_t candidates) {
    ScanReport report;
    report.scannedAt = 790000000;
    report.hasCompletedScan = true;
    report.scannedRoots = {FileURL::directory("/home/user/.cache")};
    for (int64_t i = 0; i < candidates; ++i) {
        CleanupCandidate c;
        c.url = FileURL::directory("/home/user/.cache/app-" + std::to_string(i));
        c.displayName = c.url.lastComponent();
        c.category = CleanupCategory::userCaches;
        c.sizeBytes = 1'234'567 + i;
        c.lastModified = 790000000.123456;
        report.candidates.push_back(std::move(c));
    }
    return report;
}

// Arguments: candidates, CSV (1) or JSON (0), redacted (1) or full (0).
void BM_ExportScan(benchmark::State& state) {
    const ScanReport report = reportOf(state.range(0));
    ExportSettings settings;
    settings.format = state.range(1) != 0 ? ExportFormat::csv : ExportFormat::json;
    if (state.range(2) != 0) settings.redactor = ExportRedactor::forNewExport(InstallationKey{});
    size_t bytes = 0;
    for (auto _ : state) {
        const std::string text = exportScanReport(report, Catalogue::linux, settings);
        bytes = text.size();
        benchmark::DoNotOptimize(text.data());
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_ExportScan)
    ->ArgsProduct({{10'000, 100'000}, {0, 1}, {0, 1}})
    ->Unit(benchmark::kMillisecond);

}  // namespace
