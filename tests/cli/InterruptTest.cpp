// Ctrl-C during long work, as a user presses it: the built program starts with a Ctrl-C already
// waiting (see CommandHome::run), so the interruption lands at the first moment the program
// listens, without timing. Each command must stop, still print a well-formed result of what it
// did, say so in a sentence and exit 130, and change nothing it had not confirmed.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "cli/CommandRunner.h"

namespace velmora::test {
namespace {

TEST(InterruptTest, CtrlCStopsEachLongCommandWithStatus130) {
    struct Row {
        std::vector<std::string> args;
        std::string catalogue;
        std::string jsonKeyThatMustExist;
    };
    for (const Row& row : std::vector<Row>{
             {{"scan", "--json"}, "linux", "hasCompletedScan"},
             {{"insights", "--json"}, "macos", "heatmapItems"},
             {{"clean", "--defaults", "--yes", "--json"}, "linux", ""},
         }) {
        CommandHome h;
        const auto cached = h.oldCacheFile("app/blob.bin", std::string(4096, 'x'));
        h.tree.file("home/Documents/report.txt", 100);
        std::vector<std::string> argv = {VELMORA_BINARY, "--home", h.home, "--catalogue",
                                         row.catalogue};
        argv.insert(argv.end(), row.args.begin(), row.args.end());
        const auto o = h.run(argv, {.interruptPending = true, .workingDirectory = {}});
        const std::string what = row.args.front();
        EXPECT_EQ(o.status, 130) << what << "\n" << o.err;
        EXPECT_NE(o.err.find("cancelled"), std::string::npos) << what << "\n" << o.err;
        EXPECT_TRUE(std::filesystem::exists(cached)) << what;  // nothing was cleaned
        if (!row.jsonKeyThatMustExist.empty()) {
            const auto j = nlohmann::json::parse(o.out, nullptr, false);
            ASSERT_FALSE(j.is_discarded()) << what << "\n" << o.out;
            EXPECT_TRUE(j.contains(row.jsonKeyThatMustExist)) << what;
        }
    }
}

// SIGTERM (a logout, `kill`, a service manager) and SIGHUP (a closed terminal) during a clean
// are handled as Ctrl-C is: the run stops before the next item, the history records it as
// cancelled, and the exit status names the signal.
TEST(InterruptTest, TermAndHangUpStopACleanAndAreRecordedAsCancelled) {
    for (const auto& [signal, status] :
         std::vector<std::pair<int, int>>{{SIGINT, 130}, {SIGTERM, 143}, {SIGHUP, 129}}) {
        CommandHome h;
        const auto cached = h.oldCacheFile("app/blob.bin", std::string(4096, 'x'));
        const std::string report = h.tree.path("io/report.json");
        const Outcome scan = h.velmora({"scan", "--json"});
        ASSERT_EQ(scan.status, 0) << scan.err;
        std::ofstream(report, std::ios::binary) << scan.out;

        const auto o =
            h.run({VELMORA_BINARY, "--home", h.home, "--catalogue", "linux", "clean", "--report",
                   report, "--defaults", "--yes", "--json"},
                  {.interruptPending = false, .workingDirectory = {}, .signalPending = signal});
        EXPECT_EQ(o.status, status) << signal << "\n" << o.err;
        EXPECT_TRUE(std::filesystem::exists(cached)) << signal;
        const auto history = nlohmann::json::parse(
            readAll(h.dataHome + "/Velmora/cleanup-audit-log.json"), nullptr, false);
        ASSERT_TRUE(history.is_array() && history.size() == 1) << signal;
        EXPECT_EQ(history[0]["wasCancelled"], true) << signal;
    }
}

TEST(InterruptTest, WithoutCtrlCTheSameCommandsFinish) {
    CommandHome h;
    h.tree.file("home/Documents/report.txt", 100);
    for (const auto& args :
         std::vector<std::vector<std::string>>{{"scan", "--json"}, {"insights", "--json"}}) {
        EXPECT_EQ(h.velmora(args).status, 0) << args.front();
    }
}

}  // namespace
}  // namespace velmora::test
