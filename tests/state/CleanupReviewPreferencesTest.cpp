// The review loop: due at exactly its instant, day counts rounded up, the value forms the
// settings screen shares, the fallbacks of values nobody wrote, and the profile catalogue.
#include <gtest/gtest.h>

#include "VelmoraUI/state/CleanupReviewPreferencesStore.h"
#include "VelmoraUI/state/PreferenceFile.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::TestTree;
using Kind = CleanupReviewCadenceStatus::Kind;

constexpr double kDay = 86400;

TEST(CleanupReviewPreferencesTest, StatusAndItsSentence) {
    const Date now = 800'000'000;
    const struct {
        CleanupReviewCadence cadence;
        std::optional<double> secondsAgo;
        Kind kind;
        std::optional<int64_t> days;
        std::string sentence;
    } cases[] = {
        {CleanupReviewCadence::off, 1, Kind::disabled, std::nullopt, "Review cadence is off."},
        {CleanupReviewCadence::weekly, std::nullopt, Kind::notStarted, std::nullopt,
         "Complete one review to calculate the next reminder."},
        {CleanupReviewCadence::monthly, 30 * kDay + 1, Kind::due, 0,
         "Safety review is due. Review candidates before choosing anything."},
        {CleanupReviewCadence::monthly, 30 * kDay, Kind::due, 0,
         "Safety review is due. Review candidates before choosing anything."},
        {CleanupReviewCadence::monthly, 29 * kDay + 1, Kind::upcoming, 1,
         "Next safety review reminder in 1 day."},
        {CleanupReviewCadence::monthly, 30 * kDay - 0.001, Kind::upcoming, 1,
         "Next safety review reminder in 1 day."},
        {CleanupReviewCadence::weekly, 1, Kind::upcoming, 7,
         "Next safety review reminder in 7 days."},
        {CleanupReviewCadence::weekly, kDay, Kind::upcoming, 6,
         "Next safety review reminder in 6 days."},
        {CleanupReviewCadence::weekly, -100 * kDay, Kind::upcoming, 107,
         "Next safety review reminder in 107 days."},
        {CleanupReviewCadence::weekly, -1e300, Kind::upcoming, 1'000'000'000,
         "Next safety review reminder in 1000000000 days."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(rawValue(c.cadence)) + " " +
                     (c.secondsAgo ? std::to_string(*c.secondsAgo) : "never"));
        std::optional<Date> last;
        if (c.secondsAgo) last = now - *c.secondsAgo;
        const auto status = cleanupReviewStatus(last, now, c.cadence);
        EXPECT_EQ(status.kind, c.kind);
        EXPECT_EQ(status.daysUntilNextReview, c.days);
        if (c.kind == Kind::due || c.kind == Kind::upcoming) {
            EXPECT_EQ(status.nextReviewAt, *last + *reviewInterval(c.cadence));
        } else {
            EXPECT_FALSE(status.nextReviewAt);
        }
        EXPECT_EQ(cleanupReviewStatusMessage(status, AppLanguage::english), c.sentence);
    }
    EXPECT_EQ(cleanupReviewStatusMessage({Kind::upcoming, std::nullopt, 3}, AppLanguage::korean),
              "다음 안전 검토 알림까지 3일 남았습니다.");
}

TEST(CleanupReviewPreferencesTest, StoredValuesReadWithTheirFallbacks) {
    const struct {
        std::optional<QVariant> cadence, profile, lastReviewedAt;
        CleanupReviewCadence expectedCadence;
        CleanupReviewProfileID expectedProfile;
        std::optional<Date> expectedLast;
    } cases[] = {
        {std::nullopt, std::nullopt, std::nullopt, CleanupReviewCadence::weekly,
         CleanupReviewProfileID::balanced, std::nullopt},
        {QString("off"), QString("downloads"), 978307200.0 + 5.5, CleanupReviewCadence::off,
         CleanupReviewProfileID::downloads, 5.5},
        {QString("monthly"), QString("developerCaches"), QString("978307300"),
         CleanupReviewCadence::monthly, CleanupReviewProfileID::developerCaches, 100},
        {QString(""), QString("custom"), 0.0, CleanupReviewCadence::weekly,
         CleanupReviewProfileID::balanced, std::nullopt},
        {QString("daily"), QString("Downloads"), -3.0, CleanupReviewCadence::weekly,
         CleanupReviewProfileID::balanced, std::nullopt},
        {QString("Monthly"), QByteArray("downloads"), QString("soon"), CleanupReviewCadence::weekly,
         CleanupReviewProfileID::balanced, std::nullopt},
        {QStringList{"off", "x"}, QString(""), QString("inf"), CleanupReviewCadence::weekly,
         CleanupReviewProfileID::balanced, std::nullopt},
        {QString("weekly"), QString("balanced"), QString("nan"), CleanupReviewCadence::weekly,
         CleanupReviewProfileID::balanced, std::nullopt},
    };
    for (const auto& c : cases) {
        TestTree tree;
        const std::string conf = tree.path("Velmora.conf");
        {
            PreferenceFile file = openPreferenceFileAt(conf);
            if (c.cadence) storePreference(*file.settings, kReviewCadenceKey, *c.cadence);
            if (c.profile) storePreference(*file.settings, kReviewProfileKey, *c.profile);
            if (c.lastReviewedAt) {
                storePreference(*file.settings, kLastReviewedAtKey, *c.lastReviewedAt);
            }
        }
        PreferenceFile file = openPreferenceFileAt(conf);
        const CleanupReviewPreferencesStore store(*file.settings);
        SCOPED_TRACE(file.settings->allKeys().join(",").toStdString());
        EXPECT_EQ(store.cadence(), c.expectedCadence);
        EXPECT_EQ(store.selectedProfileID(), c.expectedProfile);
        EXPECT_EQ(store.lastReviewedAt(), c.expectedLast);
    }
}

TEST(CleanupReviewPreferencesTest, ChangesAreWrittenInTheSharedForms) {
    TestTree tree;
    const std::string conf = tree.path("Velmora.conf");
    PreferenceFile file = openPreferenceFileAt(conf);
    CleanupReviewPreferencesStore store(*file.settings);
    int published = 0;
    QObject::connect(&store, &CleanupReviewPreferencesStore::lastReviewedAtChanged,
                     [&] { ++published; });
    EXPECT_TRUE(store.setCadence(CleanupReviewCadence::monthly));
    EXPECT_TRUE(store.setSelectedProfileID(CleanupReviewProfileID::developerCaches));
    EXPECT_TRUE(store.markReviewed(700'000'000.25));
    // A time the stored form would read as "never" is refused.
    EXPECT_FALSE(store.markReviewed(-kReferenceDateUnixOffset));
    EXPECT_FALSE(store.markReviewed(NAN));
    EXPECT_EQ(published, 1);

    PreferenceFile again = openPreferenceFileAt(conf);
    QSettings& s = *again.settings;
    EXPECT_EQ(s.value(QString(kReviewCadenceKey.data())).toString(), "monthly");
    EXPECT_EQ(s.value(QString(kReviewProfileKey.data())).toString(), "developerCaches");
    EXPECT_EQ(s.value(QString(kLastReviewedAtKey.data())).toDouble(),
              700'000'000.25 + kReferenceDateUnixOffset);
    const CleanupReviewPreferencesStore reread(s);
    EXPECT_EQ(reread.cadence(), CleanupReviewCadence::monthly);
    EXPECT_EQ(reread.selectedProfileID(), CleanupReviewProfileID::developerCaches);
    EXPECT_EQ(reread.lastReviewedAt(), 700'000'000.25);
    EXPECT_EQ(reread.status(700'000'000.25 + 30 * kDay).kind, Kind::due);
}

TEST(CleanupReviewPreferencesTest, AChangeThatCannotBeWrittenIsUndone) {
    TestTree tree;
    const std::string conf = tree.path("ro/Velmora.conf");
    {
        PreferenceFile file = openPreferenceFileAt(conf);
        CleanupReviewPreferencesStore store(*file.settings);
        ASSERT_TRUE(store.setCadence(CleanupReviewCadence::off));
    }
    tree.chmod("ro", 0555);
    EXPECT_TRUE(test::runWithoutPrivileges(tree, [&] {
        PreferenceFile file = openPreferenceFileAt(conf);
        CleanupReviewPreferencesStore store(*file.settings);
        const bool refused = !store.setCadence(CleanupReviewCadence::monthly) &&
                             !store.setSelectedProfileID(CleanupReviewProfileID::downloads) &&
                             !store.markReviewed(1000);
        const bool undone = store.cadence() == CleanupReviewCadence::off &&
                            store.selectedProfileID() == CleanupReviewProfileID::balanced &&
                            !store.lastReviewedAt();
        // A later write of another preference must not carry the undone changes.
        ::chmod(tree.path("ro").c_str(), 0755);
        return refused && undone &&
               storePreference(*file.settings, "velmora.language", QString("de"));
    }));
    const CleanupReviewPreferencesStore reread(*openPreferenceFileAt(conf).settings);
    EXPECT_EQ(reread.cadence(), CleanupReviewCadence::off);
    EXPECT_EQ(reread.selectedProfileID(), CleanupReviewProfileID::balanced);
    EXPECT_FALSE(reread.lastReviewedAt());
}

TEST(CleanupReviewPreferencesTest, ProfilesOnlyNarrowAReviewAndReadBackFromJSON) {
    const auto& profiles = cleanupReviewProfiles();
    ASSERT_EQ(profiles.size(), 3u);
    EXPECT_EQ(profiles[0].categories,
              (std::vector<CleanupCategory>{CleanupCategory::userCaches, CleanupCategory::userLogs,
                                            CleanupCategory::temporaryFiles}));
    EXPECT_EQ(profiles[2].scanMode, CleanupScanMode::aggressive);
    const std::string footnotes[] = {"Saved profiles do not widen scan roots.",
                                     "Saved profiles do not widen scan roots.",
                                     "Aggressive review still does not auto-select items."};
    for (size_t i = 0; i < profiles.size(); ++i) {
        const CleanupReviewProfile& p = profiles[i];
        EXPECT_FALSE(p.includesCustomFolders);
        EXPECT_TRUE(p.respectsIgnoreAndSnoozeRules);
        EXPECT_EQ(&CleanupReviewPreferencesStore::profile(p.id), &p);
        EXPECT_EQ(reviewProfileFootnote(p, AppLanguage::english), footnotes[i]);
        auto decoded = decodeCleanupReviewProfile(encodeCleanupReviewProfile(p));
        ASSERT_TRUE(decoded) << decoded.error();
        EXPECT_EQ(*decoded, p);
    }
    EXPECT_EQ(encodeCleanupReviewProfile(profiles[1]),
              R"({"id":"downloads","scope":"downloadsInsights","scanMode":"standard",)"
              R"("categories":["temporaryFiles"],"includesCustomFolders":false,)"
              R"("respectsIgnoreAndSnoozeRules":true})");
    EXPECT_EQ(reviewProfileHiddenItems(4, AppLanguage::english), "4 ignored/snoozed items");
    for (const char* bad :
         {R"({"id":"downloads","scope":"everywhere","scanMode":"standard","categories":[],)"
          R"("includesCustomFolders":false,"respectsIgnoreAndSnoozeRules":true})",
          R"({"id":"downloads","scope":"downloadsInsights","scanMode":"standard",)"
          R"("categories":[],"includesCustomFolders":0,"respectsIgnoreAndSnoozeRules":true})",
          "[]", "{"}) {
        EXPECT_FALSE(decodeCleanupReviewProfile(bad)) << bad;
    }
}

}  // namespace
}  // namespace velmora
