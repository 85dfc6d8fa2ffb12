// Translating the 2,000 lines of a scan report that no table knows (the common case until the
// tables are full), against a table the size the finished catalogue will have: 3,000 fixed
// texts and 400 sentence templates. Target: well under 15 ms (5 % of a 300 ms scan); a release
// build takes about 3 ms for the misses and 2 ms for as many template hits.
// Usage: build/release/bin/velmora_bench --benchmark_filter=BM_Localized
#include <benchmark/benchmark.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <string>
#include <vector>

#include "VelmoraUI/localization/TranslationTable.h"

namespace {

using velmora::TranslationTable;

TranslationTable fullTable() {
    QJsonObject fixed;
    for (int i = 0; i < 3000; ++i) {
        fixed.insert(QString("Fixed text number %1.").arg(i), QString("Texte fixe %1.").arg(i));
    }
    QJsonArray templates;
    for (int i = 0; i < 400; ++i) {
        // Most templates start with a word; a tenth start with a capture and have no prefix.
        const QString pattern = (i % 10 == 0)
                                    ? QString(R"(^(.+) was skipped in step %1\.$)").arg(i)
                                    : QString(R"(^Step%1 moved (\d+) items from (.+?)\.$)").arg(i);
        const QString text = (i % 10 == 0) ? QString("{0} ignoré (%1).").arg(i)
                                           : QString("Étape %1 : {0} depuis {1}.").arg(i);
        templates.append(QJsonObject{{"pattern", pattern}, {"text", text}});
    }
    const QJsonObject root{{"fixed", fixed}, {"templates", templates}};
    std::vector<std::string> problems;
    return TranslationTable::fromJson(QJsonDocument(root).toJson(), "bench.json", problems);
}

void BM_LocalizedReportMisses(benchmark::State& state) {
    const TranslationTable table = fullTable();
    std::vector<std::string> lines;
    for (int i = 0; i < 2000; ++i) {
        lines.push_back("/home/user/.cache/app-" + std::to_string(i) +
                        "/blobs: Not old enough to be removed (modified 3 days ago).");
    }
    for (auto _ : state) {
        size_t translated = 0;
        for (const auto& line : lines) translated += table.translated(line).has_value();
        benchmark::DoNotOptimize(translated);
    }
}
BENCHMARK(BM_LocalizedReportMisses)->Unit(benchmark::kMillisecond);

void BM_LocalizedTemplateHits(benchmark::State& state) {
    const TranslationTable table = fullTable();
    std::vector<std::string> lines;
    for (int i = 0; i < 2000; ++i) {
        lines.push_back("Step" + std::to_string(i % 400 | 1) + " moved " + std::to_string(i) +
                        " items from /home/user/.cache/app.");
    }
    for (auto _ : state) {
        size_t translated = 0;
        for (const auto& line : lines) translated += table.translated(line).has_value();
        benchmark::DoNotOptimize(translated);
    }
}
BENCHMARK(BM_LocalizedTemplateHits)->Unit(benchmark::kMillisecond);

}  // namespace
