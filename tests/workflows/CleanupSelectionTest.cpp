// The default selection leaves out what the front end withholds (the ignore list), while a
// candidate named by path or id is still selected.
#include "CleanerCore/workflows/CleanupSelection.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

CleanupCandidate candidate(const std::string& path, bool selectedByDefault) {
    CleanupCandidate c;
    c.url = FileURL(path);
    c.category = CleanupCategory::userCaches;
    c.isSelectedByDefault = selectedByDefault;
    return c;
}

TEST(CleanupSelectionTest, WithheldCandidatesAreLeftOutOfTheDefaultsOnly) {
    ScanReport report;
    report.candidates = {candidate("/h/a", true), candidate("/h/b", true),
                         candidate("/h/c", false)};
    auto withholdA = [](const CleanupCandidate& c) { return c.url.path == "/h/a"; };
    struct Case {
        const char* name;
        CandidateSelectionRequest request;
        std::vector<size_t> selected;
    };
    const std::vector<Case> cases = {
        {"defaults", {true, {}, {}, {}}, {0, 1}},
        {"defaults, one withheld", {true, {}, {}, withholdA}, {1}},
        {"withheld but named by path", {true, {"/h/a"}, {}, withholdA}, {0, 1}},
        {"withheld but named by id", {false, {}, {"userCaches:/h/a"}, withholdA}, {0}},
    };
    for (const Case& c : cases) {
        const auto selected = selectCandidates(report, c.request);
        ASSERT_TRUE(std::holds_alternative<std::vector<size_t>>(selected)) << c.name;
        EXPECT_EQ(std::get<std::vector<size_t>>(selected), c.selected) << c.name;
    }
}

}  // namespace
}  // namespace velmora
