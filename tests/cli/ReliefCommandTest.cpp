// `velmora relief`: both rankings as JSON with the records' field names, the human table, and
// the refusals that leave every process alone.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "cli/CommandRunner.h"

namespace velmora {
namespace {

using test::CommandHome;

TEST(ReliefCommandTest, ListsBothRankingsAsJSON) {
    CommandHome h;
    const nlohmann::json j = h.velmoraJSON({"relief"});
    ASSERT_TRUE(j.is_object()) << j;
    EXPECT_EQ(j.at("capability"),
              (nlohmann::json{{"canRequestQuitOtherApplications", true}, {"reason", "supported"}}));
    const auto& byCPU = j.at("cpuSortedCandidates");
    const auto& byMemory = j.at("memorySortedCandidates");
    ASSERT_TRUE(byCPU.is_array());
    EXPECT_EQ(byCPU.size(), byMemory.size());
    for (const auto& c : byCPU) {
        for (const char* key :
             {"id", "displayName", "processIdentifier", "isFrontmost", "usage", "eligibility"})
            EXPECT_TRUE(c.contains(key)) << key << " in " << c;
        EXPECT_EQ(c.at("eligibility").contains("reason"),
                  !c.at("eligibility").at("isActionable").get<bool>());
    }
}

TEST(ReliefCommandTest, TableAndRefusals) {
    CommandHome h;
    const auto table = h.velmora({"relief"});
    EXPECT_EQ(table.status, 0) << table.err;
    EXPECT_NE(table.out.find("By CPU"), std::string::npos);
    EXPECT_NE(table.out.find("By memory"), std::string::npos);

    const auto unknown = h.velmora({"relief", "quit", "org.example.none:1", "--yes"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_NE(unknown.err.find("no running app has the id org.example.none:1"), std::string::npos)
        << unknown.err;

    const auto missing = h.velmora({"relief", "quit"});
    EXPECT_EQ(missing.status, 2);

    h.environment.push_back("FLATPAK_ID=org.velmora.Velmora");
    const auto sandboxed = h.velmora({"relief", "quit", "org.example.none:1"});
    EXPECT_EQ(sandboxed.status, 2);
    EXPECT_NE(sandboxed.err.find("cannot request other apps to quit directly"), std::string::npos);
    EXPECT_EQ(h.velmoraJSON({"relief"}).at("capability").at("reason"), "appSandbox");
}

}  // namespace
}  // namespace velmora
