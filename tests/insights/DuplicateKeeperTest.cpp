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

// Copies below /Users/u (macos) or /home/u (linux), with their dates.
struct KeeperRow {
    const char* name;
    std::vector<Copy> copies;
    std::string keeper;
    std::vector<Reason> reasons;
    Catalogue catalogue = Catalogue::macos;
};

TEST(DuplicateKeeper, RecommendationTable) {
    const std::optional<Date> none;
    constexpr auto Loc = Reason::preferredLocation, Old = Reason::olderModificationDate,
                   Tie = Reason::deterministicPathTieBreak;
    const std::vector<KeeperRow> rows = {
        {"rank first", {{"Downloads/a", k2023}, {"Documents/a", k2024}}, "Documents/a", {Loc}},
        {"older, one rank", {{"Downloads/b", k2024}, {"Downloads/a", k2023}}, "Downloads/a", {Old}},
        {"then the path", {{"Downloads/b", k2023}, {"Downloads/a", k2023}}, "Downloads/a", {Tie}},
        {"no date loses", {{"Downloads/a", none}, {"Downloads/b", k2024}}, "Downloads/b", {Old}},
        {"two without date", {{"Downloads/b", none}, {"Downloads/a", none}}, "Downloads/a", {Tie}},
        {"elsewhere beats Downloads and Library",
         {{"Library/a", k2023}, {"Projects/a", k2024}, {"Downloads/a", k2023}},
         "Projects/a",
         {Loc}},
        {"all three reasons, each once",
         {{"Desktop/c", k2023},
          {"Desktop/b", k2024},
          {"Library/a", k2023},
          {"Desktop/a", k2023},
          {"Downloads/a", k2023}},
         "Desktop/a",
         {Loc, Old, Tie}},
        {"an older copy of a worse rank gives no date reason",
         {{"Documents/a", k2024}, {"Downloads/a", k2023}},
         "Documents/a",
         {Loc}},
        {"linux: Videos beats an older Desktop copy",
         {{"Desktop/a", k2023}, {"Videos/a", k2024}},
         "Videos/a",
         {Loc},
         Catalogue::linux},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string base = row.catalogue == Catalogue::linux ? "/home/u/" : "/Users/u/";
        std::vector<Copy> copies = row.copies;
        for (auto& c : copies) c.path = base + c.path;
        auto group = groupOf(copies);
        auto r = recommendDuplicateKeeper(group, row.catalogue);
        ASSERT_TRUE(r);
        EXPECT_EQ(r->keeperPath, base + row.keeper);
        EXPECT_EQ(r->keeperID, "duplicate:" + base + row.keeper);
        EXPECT_EQ(r->groupID, group.id);
        EXPECT_EQ(r->duplicateCount, static_cast<int64_t>(copies.size()) - 1);
        EXPECT_EQ(r->reasons, row.reasons);
        // The file order does not change the keeper.
        std::reverse(group.files.begin(), group.files.end());
        EXPECT_EQ(recommendDuplicateKeeper(group, row.catalogue)->keeperPath, base + row.keeper);
    }
}

// A strict ordering (sorting relies on it), and no keeper for an empty group.
TEST(DuplicateKeeper, OrderingIsStrictAndAnEmptyGroupHasNoKeeper) {
    auto g = groupOf({{"/a/Documents/x", k2023}, {"/a/Documents/x", k2023}});
    EXPECT_FALSE(isBetterDuplicateKeeper(g.files[0], g.files[1], Catalogue::macos));
    EXPECT_FALSE(isBetterDuplicateKeeper(g.files[0], g.files[0], Catalogue::macos));
    EXPECT_FALSE(recommendDuplicateKeeper(DuplicateFileGroup{}, Catalogue::linux));
}

}  // namespace
}  // namespace velmora
