// What speaking the person's language costs the scan's human table: the table of a
// 2,000-candidate report (with 200 skipped items and their reasons) printed in English, and in
// Japanese and German, which go through the translation tables. The difference, set against
// the scan's own time (bench/compare.py localized), must stay under 5 %.
// Usage: build/release/bin/velmora_bench --benchmark_filter=BM_ScanTable
#include <benchmark/benchmark.h>

#include <ostream>
#include <streambuf>
#include <string>

#include "CleanerCore/base/FileURL.h"
#include "Velmora/cli/Output.h"

namespace {

using namespace velmora;

// Counts what is written and keeps none of it, so the benchmark measures the table itself.
class CountingBuffer : public std::streambuf {
  public:
    size_t written = 0;

  protected:
    int_type overflow(int_type c) override {
        ++written;
        return c;
    }
    std::streamsize xsputn(const char*, std::streamsize n) override {
        written += static_cast<size_t>(n);
        return n;
    }
};

ScanReport referenceReport() {
    ScanReport report;
    const std::string home = "/home/ana";
    for (int i = 0; i < 2000; ++i) {
        CleanupCandidate c;
        c.url = FileURL::directory(home + "/.cache/app-" + std::to_string(i) + "/blobs");
        c.displayName = "blobs";
        c.category = static_cast<CleanupCategory>(i % kCleanupCategoryCount);
        c.safety = static_cast<CleanupSafety>(i % 3);
        c.sizeBytes = 4096 * (i + 1);
        c.isSelectedByDefault = c.safety == CleanupSafety::safe;
        report.candidates.push_back(std::move(c));
    }
    const char* reasons[] = {"Recently modified", "Symbolic links are skipped for safety",
                             "Refusing to clean critical path: /home/ana/.ssh",
                             "Folder does not exist"};
    for (int i = 0; i < 200; ++i) {
        report.skippedItems.push_back(
            {FileURL::directory(home + "/.cache/held-" + std::to_string(i)), reasons[i % 4]});
    }
    return report;
}

void BM_ScanTable(benchmark::State& state) {
    const auto language = static_cast<AppLanguage>(state.range(0));
    const ScanReport report = referenceReport();
    CountingBuffer buffer;
    std::ostream out(&buffer);
    for (auto _ : state) {
        cli::printScanReport(out, report, "/home/ana", language);
        benchmark::DoNotOptimize(buffer.written);
    }
    state.SetLabel(std::string(languageCode(language)));
}
BENCHMARK(BM_ScanTable)
    ->Arg(static_cast<int>(AppLanguage::english))
    ->Arg(static_cast<int>(AppLanguage::japanese))
    ->Arg(static_cast<int>(AppLanguage::german))
    ->Unit(benchmark::kMillisecond);

}  // namespace
