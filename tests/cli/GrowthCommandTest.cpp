// `velmora growth` and `velmora snapshots` around real scans of a throw-away home.
#include <gtest/gtest.h>

#include <filesystem>

#include "cli/CommandRunner.h"

namespace velmora {
namespace {

int64_t candidateBytes(const nlohmann::json& report) {
    int64_t total = 0;
    for (const auto& c : report.at("candidates")) total += c.at("sizeBytes").get<int64_t>();
    return total;
}

// Two scans around a change give exactly the growth that was made, item by item.
TEST(GrowthCommandTest, TwoScansAroundAChangeGiveTheGrowthThatWasMade) {
    test::CommandHome v;
    v.oldCacheFile("pip/wheel", std::string(30000, 'p'));
    v.oldCacheFile("thumbnails/t.png", std::string(8000, 't'));
    v.oldCacheFile("mesa/shader", std::string(5000, 'm'));
    const auto before = v.scan();

    v.oldCacheFile("pip/wheel-2", std::string(60000, 'q'));         // grew
    std::filesystem::remove_all(v.cache("thumbnails"));             // gone
    v.oldCacheFile("go-build/obj", std::string(90000, 'g'));        // appeared
    std::filesystem::rename(v.cache("mesa"), v.cache("mesa-old"));  // moved, same folder object
    const auto after = v.scan();

    const auto growth = v.velmoraJSON({"growth"});
    ASSERT_EQ(growth.at("status"), "compared") << growth.dump(2);
    EXPECT_EQ(growth.at("comparability"), "comparable");
    EXPECT_EQ(growth.at("change").get<int64_t>(), candidateBytes(after) - candidateBytes(before));
    std::map<std::string, int64_t> kinds;
    for (const auto& item : growth.at("items")) ++kinds[item.at("kind").get<std::string>()];
    const std::map<std::string, int64_t> expected{
        {"grown", 1}, {"noLongerObserved", 1}, {"added", 1}, {"probableMove", 1}};
    EXPECT_EQ(kinds, expected) << growth.dump(2);
    for (const auto& root : growth.at("roots")) {
        if (root.at("change") != 0) {
            EXPECT_EQ(root.at("path"), v.homePath(".cache"));
        }
    }

    const auto text = v.velmora({"growth"});
    EXPECT_EQ(text.status, 0);
    EXPECT_NE(text.out.find("cleanup candidates grew by"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("~/.cache"), std::string::npos) << text.out;
    EXPECT_EQ(text.out.find("mesa"), std::string::npos) << "no name is ever kept";

    const auto listed = v.velmoraJSON({"snapshots"}).at("snapshots");
    ASSERT_EQ(listed.size(), 2u);
    EXPECT_EQ(listed[0].at("totalBytes").get<int64_t>(), candidateBytes(before));
    EXPECT_TRUE(listed[1].at("comparable").get<bool>());
}

// Nothing to compare is not a failure; a damaged store is set aside with a sentence and the
// next scan starts a new one.
TEST(GrowthCommandTest, SaysWhyThereIsNothingToCompare) {
    test::CommandHome v;
    auto o = v.velmora({"growth"});
    EXPECT_EQ(o.status, 0);
    EXPECT_NE(o.out.find("none is kept"), std::string::npos) << o.out;

    const std::string store = v.dataHome + "/Velmora/delta-blame-snapshots.json";
    std::filesystem::create_directories(v.dataHome + "/Velmora");
    std::ofstream(store) << "{\"keyCheck\": 12";
    o = v.velmora({"snapshots"});
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_NE(o.err.find("set aside"), std::string::npos) << o.err;
    EXPECT_NE(o.out.find("No scan snapshot is kept yet"), std::string::npos) << o.out;

    v.oldCacheFile("pip/wheel", "w");
    v.scan();
    const auto growth = v.velmoraJSON({"growth", "--since", "3"});
    EXPECT_EQ(growth.at("status"), "notEnoughSnapshots");
    EXPECT_EQ(growth.at("comparableSnapshots"), 1);
}

}  // namespace
}  // namespace velmora
