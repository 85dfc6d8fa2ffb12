// The sentence a scan after a cleanup shows: one per assessment, none without a cleanup, and in
// every language a whole translated sentence that keeps the sizes and the date.
#include <gtest/gtest.h>

#include <string>

#include "VelmoraUI/dashboard/CleanupTexts.h"

namespace velmora {
namespace {

using A = CleanupReappearanceObservation::Assessment;

// Noon UTC on 2026-11-20: the same calendar day in every time zone within twelve hours.
constexpr Date kCleanedAt = 816868800;

CleanupReappearanceObservation observation(A assessment) {
    CleanupReappearanceObservation o;
    o.assessment = assessment;
    o.cleanupSource = CleanupAuditSource::cleanupDashboard;
    o.cleanedAt = kCleanedAt;
    o.observedAt = kCleanedAt + 86400;
    o.recordedCleanedBytes = 2'000'000;
    o.samePathReappearedBytes = 1'500'000;
    return o;
}

TEST(ReappearanceTextsTest, OneSentencePerAssessment) {
    const std::pair<A, std::string> cases[] = {
        {A::noRecordedCleanedItems,
         "The cleanup on 2026-11-20 kept no list of its items, so this scan cannot tell whether "
         "its 2.0 MB came back."},
        {A::awaitingFollowupScan,
         "This scan started before the cleanup on 2026-11-20 was recorded; scan again to see "
         "whether what it cleaned (2.0 MB) comes back."},
        {A::ambiguousAfterRestore,
         "Items cleaned on 2026-11-20 (2.0 MB) were restored since, so this scan cannot tell how "
         "much came back on its own."},
        {A::noSamePathReappearance,
         "Nothing of the 2.0 MB cleaned on 2026-11-20 is back at the same paths, so that cleanup "
         "kept its space free."},
        {A::partialReappearance,
         "1.5 MB of the 2.0 MB cleaned on 2026-11-20 is back at the same paths: part of it "
         "regenerates, so cleaning it again frees some space for a while."},
        {A::substantialReappearance,
         "1.5 MB of the 2.0 MB cleaned on 2026-11-20 is back at the same paths: it regenerates "
         "with use, so cleaning it again frees space only for a short while."},
    };
    for (const auto& [assessment, english] : cases) {
        SCOPED_TRACE(std::string(rawValue(assessment)));
        EXPECT_EQ(reappearanceSentence(observation(assessment), AppLanguage::english), english);
        // Every other language has the whole sentence, with the figures carried through.
        for (AppLanguage language : kAppLanguages) {
            if (language == AppLanguage::english) continue;
            const auto text = reappearanceSentence(observation(assessment), language);
            ASSERT_TRUE(text.has_value());
            EXPECT_NE(*text, english) << languageCode(language);
            EXPECT_EQ(text->find(" is back"), std::string::npos) << *text;
            EXPECT_NE(text->find("2026-11-20"), std::string::npos) << *text;
            EXPECT_NE(text->find("2.0 MB"), std::string::npos) << *text;
        }
    }
    // No cleanup to compare: nothing is said, in any language.
    for (AppLanguage language : kAppLanguages) {
        EXPECT_EQ(reappearanceSentence(CleanupReappearanceObservation{}, language), std::nullopt);
    }
}

}  // namespace
}  // namespace velmora
