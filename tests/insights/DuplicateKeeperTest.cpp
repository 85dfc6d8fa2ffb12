#include "CleanerCore/insights/DuplicateKeeper.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace velmora {
namespace {

using Reason = DuplicateKeeperRecommendationReason;

struct Copy {
    std::string path;
    std::optional<Date> date;
};

DuplicateFileGroup groupOf(const std::vector<Copy>& copies) {
    DuplicateFileGroup g;
    g.id = "sha256:00:1";
    g.sizeBytes = 1;
    for (const auto& c : copies) {
        FileInsight f;
        f.id = fileInsightID(FileInsightKind::duplicate, c.path);
        f.url = FileURL(c.path);
        f.lastModified = c.date;
        f.kind = FileInsightKind::duplicate;
        g.files.push_back(f);
    }
    return g;
}

constexpr Date k2023 = 694'224'000;  // 2023-01-01
constexpr Date k2024 = 725'846'400;  // 2024-01-01

struct RankRow {
    const char* path;
    int macos;
    int linux;
};

TEST(DuplicateKeeper, LocationRankFollowsTheFirstMatchingRule) {
    const RankRow rows[] = {
        {"/Users/u/Documents/a", 0, 0},
        {"/Users/u/Library/Documents/a", 0, 0},  // Documents wins over Library
        {"/Users/u/Pictures/a", 1, 1},
        {"/Users/u/Movies/a", 1, 1},
        {"/Users/u/Music/a", 1, 1},
        {"/home/u/Videos/a", 2, 1},  // Videos ranks with Movies for linux only
        {"/Users/u/Desktop/a", 2, 2},
        {"/Users/u/Downloads/a", 3, 3},
        {"/Users/u/Downloads/Music/a", 1, 1},  // rule order, not component order
        {"/Users/u/Library/a", 4, 4},
        {"/home/u/.local/share/a", 2, 4},  // .local ranks with Library for linux only
        {"/home/u/elsewhere/a", 2, 2},     // anything else ranks with Desktop
        {"/home/u/MyDocuments/a", 2, 2},   // whole components only
        {"/home/u/documents/a", 2, 2},     // exact case
        {"/Users/u/Downloads/x/Library/a", 3, 3},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(duplicateLocationRank(row.path, Catalogue::macos), row.macos) << row.path;
        EXPECT_EQ(duplicateLocationRank(row.path, Catalogue::linux), row.linux) << row.path;
    }
}

struct KeeperRow {
    const char* name;
    std::vector<Copy> copies;
    std::string keeper;
    std::vector<Reason> reasons;
    Catalogue catalogue = Catalogue::macos;
};

TEST(DuplicateKeeper, RecommendationTable) {
    const std::optional<Date> none;
    const std::vector<KeeperRow> rows = {
        {"Documents beats Downloads",
         {{"/Users/u/Downloads/a", k2023}, {"/Users/u/Documents/a", k2024}},
         "/Users/u/Documents/a",
         {Reason::preferredLocation}},
        {"older copy in the same rank",
         {{"/Users/u/Downloads/b", k2024}, {"/Users/u/Downloads/a", k2023}},
         "/Users/u/Downloads/a",
         {Reason::olderModificationDate}},
        {"equal rank and date: smaller path",
         {{"/Users/u/Downloads/b", k2023}, {"/Users/u/Downloads/a", k2023}},
         "/Users/u/Downloads/a",
         {Reason::deterministicPathTieBreak}},
        {"a missing date loses to any date",
         {{"/Users/u/Downloads/a", none}, {"/Users/u/Downloads/b", k2024}},
         "/Users/u/Downloads/b",
         {Reason::olderModificationDate}},
        {"two missing dates tie",
         {{"/Users/u/Downloads/b", none}, {"/Users/u/Downloads/a", none}},
         "/Users/u/Downloads/a",
         {Reason::deterministicPathTieBreak}},
        {"anything else ranks ahead of Downloads and Library",
         {{"/Users/u/Library/a", k2023},
          {"/Users/u/Projects/a", k2024},
          {"/Users/u/Downloads/a", k2023}},
         "/Users/u/Projects/a",
         {Reason::preferredLocation}},
        {"all three reasons, each once",
         {{"/Users/u/Desktop/c", k2023},
          {"/Users/u/Desktop/b", k2024},
          {"/Users/u/Library/a", k2023},
          {"/Users/u/Desktop/a", k2023},
          {"/Users/u/Downloads/a", k2023}},
         "/Users/u/Desktop/a",
         {Reason::preferredLocation, Reason::olderModificationDate,
          Reason::deterministicPathTieBreak}},
        {"a better rank wins over an older date",
         {{"/Users/u/Library/a", k2023}, {"/Users/u/Pictures/a", k2024}},
         "/Users/u/Pictures/a",
         {Reason::preferredLocation}},
        {"older date elsewhere in the rank order gives no date reason",
         {{"/Users/u/Documents/a", k2024}, {"/Users/u/Downloads/a", k2023}},
         "/Users/u/Documents/a",
         {Reason::preferredLocation}},
        {"linux: Videos beats Desktop",
         {{"/home/u/Desktop/a", k2023}, {"/home/u/Videos/a", k2024}},
         "/home/u/Videos/a",
         {Reason::preferredLocation},
         Catalogue::linux},
        {"macos: Videos ranks with Desktop, the older wins",
         {{"/home/u/Desktop/a", k2023}, {"/home/u/Videos/a", k2024}},
         "/home/u/Desktop/a",
         {Reason::olderModificationDate},
         Catalogue::macos},
        {"linux: .local loses to Downloads",
         {{"/home/u/.local/share/a", k2023}, {"/home/u/Downloads/a", k2024}},
         "/home/u/Downloads/a",
         {Reason::preferredLocation},
         Catalogue::linux},
    };
    for (const auto& row : rows) {
        auto group = groupOf(row.copies);
        auto r = recommendDuplicateKeeper(group, row.catalogue);
        ASSERT_TRUE(r) << row.name;
        EXPECT_EQ(r->keeperPath, row.keeper) << row.name;
        EXPECT_EQ(r->keeperID, "duplicate:" + row.keeper) << row.name;
        EXPECT_EQ(r->groupID, group.id) << row.name;
        EXPECT_EQ(r->duplicateCount, static_cast<int64_t>(row.copies.size()) - 1) << row.name;
        EXPECT_EQ(r->reasons, row.reasons) << row.name;
        // The file order does not change the keeper.
        std::reverse(group.files.begin(), group.files.end());
        EXPECT_EQ(recommendDuplicateKeeper(group, row.catalogue)->keeperPath, row.keeper)
            << row.name;
    }
}

TEST(DuplicateKeeper, OrderingIsStrict) {
    auto g = groupOf({{"/a/Documents/x", k2023}, {"/a/Documents/x", k2023}});
    EXPECT_FALSE(isBetterDuplicateKeeper(g.files[0], g.files[1], Catalogue::macos));
    EXPECT_FALSE(isBetterDuplicateKeeper(g.files[0], g.files[0], Catalogue::macos));
}

TEST(DuplicateKeeper, EmptyGroupHasNoRecommendation) {
    EXPECT_FALSE(recommendDuplicateKeeper(DuplicateFileGroup{}, Catalogue::linux));
}

}  // namespace
}  // namespace velmora
