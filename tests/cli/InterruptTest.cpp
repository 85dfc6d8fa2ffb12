// Ctrl-C during long work, as a user presses it: the built program starts with a Ctrl-C already
// waiting (see CommandHome::run), so the interruption lands at the first moment the program
// listens, without timing. Each command must stop, still print a well-formed result of what it
// did, say so in a sentence and exit 130, and change nothing it had not confirmed.
#include <gtest/gtest.h>

#include <filesystem>
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
        SCOPED_TRACE(row.args.front());
        CommandHome h;
        h.catalogue = row.catalogue;
        const auto cached = h.oldCacheFile("app/blob.bin", std::string(4096, 'x'));
        h.tree.file("home/Documents/report.txt", 100);
        const auto o = h.velmora(row.args, {.signalPending = SIGINT, .workingDirectory = {}});
        EXPECT_EQ(o.status, 130) << o.err;
        EXPECT_NE(o.err.find("cancelled"), std::string::npos) << o.err;
        EXPECT_TRUE(std::filesystem::exists(cached));  // nothing was cleaned
        if (!row.jsonKeyThatMustExist.empty()) {
            const auto j = nlohmann::json::parse(o.out, nullptr, false);
            ASSERT_FALSE(j.is_discarded()) << o.out;
            EXPECT_TRUE(j.contains(row.jsonKeyThatMustExist));
        }
    }
}

// SIGTERM (a logout, `kill`, a service manager) and SIGHUP (a closed terminal) during a clean
// are handled as Ctrl-C is: the run stops before the next item, the history records it as
// cancelled, and the exit status names the signal.
TEST(InterruptTest, TermAndHangUpStopACleanAndAreRecordedAsCancelled) {
    for (const auto& [signal, status] :
         std::vector<std::pair<int, int>>{{SIGINT, 130}, {SIGTERM, 143}, {SIGHUP, 129}}) {
        SCOPED_TRACE(signal);
        CommandHome h;
        const auto cached = h.oldCacheFile("app/blob.bin", std::string(4096, 'x'));
        h.scan();
        const auto o =
            h.velmora({"clean", "--report", h.reportFile, "--defaults", "--yes", "--json"},
                      {.signalPending = signal, .workingDirectory = {}});
        EXPECT_EQ(o.status, status) << o.err;
        EXPECT_TRUE(std::filesystem::exists(cached));
        const auto history = nlohmann::json::parse(
            readAll(h.dataHome + "/Velmora/cleanup-audit-log.json"), nullptr, false);
        ASSERT_TRUE(history.is_array() && history.size() == 1);
        EXPECT_EQ(history[0]["wasCancelled"], true);
    }
}

}  // namespace
}  // namespace velmora::test
