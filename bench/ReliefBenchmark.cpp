// The relief survey's own work, the sampling wait left out: a fake /proc of 500 processes
// (400 of this user in 80 applications of 5 processes each, 100 of other users) with the
// applications' desktop entries. Target: <= 50 ms per survey (both samples).
// BM_ReliefSurveyMemory runs surveys back to back and reports how much the resident memory of
// this program grew between the 20th and the last one ("rssGrowthKiB"): nothing is kept
// between surveys, so it stays at about zero however many ran.
// Usage: build/release/bin/velmora_bench --benchmark_filter=BM_ReliefSurvey
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "CleanerCore/base/Scheduling.h"
#include "CleanerCore/relief/ResourceReliefSurvey.h"

namespace {

using namespace velmora;
namespace fs = std::filesystem;

void writeText(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

// The fake tree, built once per program run and removed at its end.
struct FakeTree {
    fs::path root;
    ~FakeTree() {
        std::error_code ignored;
        fs::remove_all(root, ignored);
    }
};

const fs::path& fakeRoot() {
    static const FakeTree tree{[] {
        const char* tmp = std::getenv("TMPDIR");
        std::string tmpl = std::string(tmp && *tmp ? tmp : "/tmp") + "/velmora-relief-bench-XXXXXX";
        const fs::path folder = ::mkdtemp(tmpl.data());
        writeText(folder / "proc/stat", "cpu  1 2 3 4\ncpu0 1 2 3 4\nbtime 1700000000\n");
        const std::string environ =
            std::string("HOME=/home/user\0LANG=en_US.UTF-8\0", 33) + std::string(3000, 'x') + '\0';
        for (int pid = 1000; pid < 1500; ++pid) {
            const int app = (pid - 1000) / 5;
            const bool ours = pid < 1400;
            const fs::path dir = folder / "proc" / std::to_string(pid);
            writeText(dir / "status", "Name:\tproc\nUmask:\t0022\nState:\tS (sleeping)\nUid:\t" +
                                          std::string(ours ? "1000" : "0") +
                                          "\t0\t0\t0\nGid:\t1000\t1000\t1000\t1000\n");
            writeText(dir / "stat", std::to_string(pid) +
                                        " (proc) S 1 1 1 0 -1 0 0 0 0 0 120 30 0 0 20 0 4 0 " +
                                        std::to_string(5000 + pid) + " 100000 2500 0 0 0\n");
            writeText(dir / "cgroup",
                      "0::/user.slice/user-1000.slice/user@1000.service/app.slice/"
                      "app-gnome-org.example.App" +
                          std::to_string(app) + "-" + std::to_string(app) + ".scope\n");
            writeText(dir / "environ", environ);
        }
        for (int app = 0; app < 100; ++app)
            writeText(folder / "share/applications" /
                          ("org.example.App" + std::to_string(app) + ".desktop"),
                      "[Desktop Entry]\nType=Application\nName=App " + std::to_string(app) +
                          "\nName[fr]=Appli " + std::to_string(app) +
                          "\nExec=app\nIcon=app\nCategories=Utility;\n");
        return folder;
    }()};
    return tree.root;
}

ResourceReliefSurveySettings settings() {
    ResourceReliefSurveySettings s;
    s.root = fakeRoot().string();
    s.userID = 1000;
    s.selfProcessIdentifier = 1;
    s.entryFolders = {(fakeRoot() / "share/applications").string()};
    s.locales = {"fr_FR.UTF-8"};
    ProcessHostFacts facts;
    facts.bootTimeUnixSeconds = 1'700'000'000;
    facts.physicalMemoryBytes = 16ull << 30;
    facts.processorCount = 8;
    s.hostFacts = facts;
    return s;
}

long residentKiB() {
    std::ifstream statm("/proc/self/statm");
    long size = 0, resident = 0;
    statm >> size >> resident;
    return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

void BM_ReliefSurvey(benchmark::State& state) {
    SteadyClock clock;
    ResourceReliefSurvey survey(settings(), clock, nullptr);
    size_t apps = 0;
    for (auto _ : state) {
        auto list = survey.survey();
        apps = list.size();
        benchmark::DoNotOptimize(list);
    }
    state.counters["apps"] = static_cast<double>(apps);
}
BENCHMARK(BM_ReliefSurvey)->Unit(benchmark::kMillisecond);

void BM_ReliefSurveyMemory(benchmark::State& state) {
    SteadyClock clock;
    ResourceReliefSurvey survey(settings(), clock, nullptr);
    long baseline = 0;
    int64_t runs = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(survey.survey());
        if (++runs == 20) baseline = residentKiB();
    }
    state.counters["surveys"] = static_cast<double>(runs);
    state.counters["rssGrowthKiB"] = runs >= 20 ? static_cast<double>(residentKiB() - baseline) : 0;
}
BENCHMARK(BM_ReliefSurveyMemory)->Iterations(500)->Unit(benchmark::kMillisecond);

}  // namespace
