// The launch request the desktop application reads: each request is new, and consuming it
// leaves nothing for a later launch.
#include <gtest/gtest.h>

#include "VelmoraUI/state/DashboardLaunchRequest.h"
#include "VelmoraUI/state/PreferenceFile.h"
#include "support/Files.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

TEST(DashboardLaunchRequestTest, EachRequestIsNewAndIsConsumedOnce) {
    test::TestTree tree;
    const std::string conf = tree.path("Velmora.conf");
    PreferenceFile file = openPreferenceFileAt(conf);
    EXPECT_FALSE(pendingDashboardLaunch(*file.settings));

    const auto first = requestDashboardLaunch(*file.settings, "review");
    const auto second = requestDashboardLaunch(*file.settings, "review");
    ASSERT_TRUE(first && second);
    EXPECT_NE(first->requestID, second->requestID);
    EXPECT_EQ(second->requestID.size(), 36u);  // a UUID without braces

    // Another reader (the application) sees the latest request in the file.
    EXPECT_EQ(pendingDashboardLaunch(*openPreferenceFileAt(conf).settings), second);
    EXPECT_EQ(consumeDashboardLaunch(*file.settings), second);
    EXPECT_FALSE(pendingDashboardLaunch(*openPreferenceFileAt(conf).settings));
    EXPECT_FALSE(consumeDashboardLaunch(*file.settings));
}

TEST(DashboardLaunchRequestTest, AHalfRequestIsNoRequest) {
    test::TestTree tree;
    const std::string conf = test::writeFile(
        tree, "Velmora.conf", "[General]\nvelmora.dashboardLaunch.destination=review\n");
    PreferenceFile file = openPreferenceFileAt(conf);
    EXPECT_FALSE(pendingDashboardLaunch(*file.settings));
}

}  // namespace
}  // namespace velmora
