// The ignore list: its stored form, expiry at the exact instant, replacing on re-ignore, the
// numeric-aware order of equal times, recovery from unreadable values (kept byte for byte) and
// the failed save that puts the previous list back, in the file as in memory.
#include "VelmoraUI/state/CleanupIgnoreStore.h"

#include <gtest/gtest.h>

#include <random>

#include "VelmoraUI/state/PreferenceFile.h"
#include "support/Files.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::TestTree;

constexpr std::string_view kKey = kCleanupIgnoreItemsKey;
const std::string kBackupKey = std::string(kCleanupIgnoreItemsKey) + ".malformedBackup";
const std::string kLoadPrefix =
    "Could not load ignored cleanup items. The saved ignore list was backed up and reset: ";

AppLanguage english() {
    return AppLanguage::english;
}

CleanupCandidate candidate(std::string path, CleanupCategory category = CleanupCategory::userCaches,
                           int64_t size = 10) {
    CleanupCandidate c;
    c.url = FileURL(path);
    c.displayName = c.url.lastComponent();
    c.category = category;
    c.sizeBytes = size;
    return c;
}

QByteArray bytes(std::string_view s) {
    return QByteArray(s.data(), static_cast<qsizetype>(s.size()));
}

std::vector<std::string> pathsOf(const std::vector<IgnoredCleanupItem>& items) {
    std::vector<std::string> paths;
    for (const auto& item : items) paths.push_back(item.path);
    return paths;
}

struct StoreFile {
    TestTree tree;
    std::string path = tree.path("config/Velmora/Velmora.conf");
    PreferenceFile file = openPreferenceFileAt(path);
    QSettings& settings() { return *file.settings; }
    /// What a fresh reader of the file sees under `key`.
    QVariant reread(std::string_view key) const {
        return openPreferenceFileAt(path).settings->value(
            QString::fromUtf8(key.data(), key.size()));
    }
};

TEST(CleanupIgnoreStoreTest, ItemsAreStoredInFieldOrderWithoutAnAbsentExpiry) {
    StoreFile f;
    CleanupIgnoreStore store(f.settings(), std::string(kKey), english, 0);
    ASSERT_TRUE(store.ignore({candidate("/h/.cache/a", CleanupCategory::userLogs, 42)},
                             CleanupIgnoreDuration::oneDay, 1000.5));
    ASSERT_TRUE(
        store.ignore({candidate("/h/.cache/b")}, CleanupIgnoreDuration::untilShownAgain, 2000));
    EXPECT_EQ(f.reread(kKey).toByteArray().toStdString(),
              R"([{"id":"userCaches:/h/.cache/b","displayName":"b","path":"/h/.cache/b",)"
              R"("category":"userCaches","sizeBytes":10,"ignoredAt":2000.0,)"
              R"("duration":"untilShownAgain"},)"
              R"({"id":"userLogs:/h/.cache/a","displayName":"a","path":"/h/.cache/a",)"
              R"("category":"userLogs","sizeBytes":42,"ignoredAt":1000.5,"duration":"oneDay",)"
              R"("expiresAt":87400.5}])");

    PreferenceFile again = openPreferenceFileAt(f.path);
    CleanupIgnoreStore reloaded(*again.settings, std::string(kKey), english, 2000);
    EXPECT_EQ(reloaded.items(), store.items());
    EXPECT_FALSE(reloaded.lastErrorMessage());
}

TEST(CleanupIgnoreStoreTest, ExpiryAtExactlyNowCountsAsExpired) {
    StoreFile f;
    CleanupIgnoreStore store(f.settings(), std::string(kKey), english, 0);
    ASSERT_TRUE(store.ignore({candidate("/h/day")}, CleanupIgnoreDuration::oneDay, 100));
    ASSERT_TRUE(store.ignore({candidate("/h/week")}, CleanupIgnoreDuration::oneWeek, 100));
    ASSERT_TRUE(
        store.ignore({candidate("/h/always")}, CleanupIgnoreDuration::untilShownAgain, 100));
    const Date dayEnd = 100 + 86400;
    EXPECT_EQ(store.activeIgnoredIDs(std::nextafter(dayEnd, 0)).size(), 3u);
    EXPECT_EQ(store.activeIgnoredIDs(dayEnd),
              (std::unordered_set<std::string>{"userCaches:/h/week", "userCaches:/h/always"}));
    EXPECT_EQ(pathsOf(store.activeItems(100 + 604800)), std::vector<std::string>{"/h/always"});

    // Loading drops what has expired by the injected instant, and saves that.
    PreferenceFile again = openPreferenceFileAt(f.path);
    CleanupIgnoreStore reloaded(*again.settings, std::string(kKey), english, dayEnd);
    EXPECT_EQ(pathsOf(reloaded.items()), (std::vector<std::string>{"/h/always", "/h/week"}));
    CleanupIgnoreStore third(*openPreferenceFileAt(f.path).settings, std::string(kKey), english, 0);
    EXPECT_EQ(third.items().size(), 2u);
}

TEST(CleanupIgnoreStoreTest, IgnoringAgainReplacesTheItem) {
    StoreFile f;
    CleanupIgnoreStore store(f.settings(), std::string(kKey), english, 0);
    ASSERT_TRUE(store.ignore({candidate("/h/a"), candidate("/h/b")},
                             CleanupIgnoreDuration::untilShownAgain, 10));
    ASSERT_TRUE(store.ignore({candidate("/h/a", CleanupCategory::userCaches, 99)},
                             CleanupIgnoreDuration::oneDay, 20));
    ASSERT_EQ(store.items().size(), 2u);
    const IgnoredCleanupItem& a = store.items().front();
    EXPECT_EQ(a.id, "userCaches:/h/a");
    EXPECT_EQ(a.ignoredAt, 20);
    EXPECT_EQ(a.duration, CleanupIgnoreDuration::oneDay);
    EXPECT_EQ(a.expiresAt, 20 + 86400);
    EXPECT_EQ(a.sizeBytes, 99);
    // The same path under another category is another candidate.
    ASSERT_TRUE(store.ignore({candidate("/h/a", CleanupCategory::userLogs)},
                             CleanupIgnoreDuration::oneDay, 30));
    EXPECT_EQ(store.items().size(), 3u);
    ASSERT_TRUE(store.remove({"userCaches:/h/a", "userLogs:/h/a"}));
    EXPECT_EQ(pathsOf(store.items()), std::vector<std::string>{"/h/b"});
}

TEST(CleanupIgnoreStoreTest, NewestFirstAndEqualTimesByNumericAwarePath) {
    StoreFile f;
    CleanupIgnoreStore store(f.settings(), std::string(kKey), english, 0);
    ASSERT_TRUE(store.ignore({candidate("/x/item10"), candidate("/x/item2"), candidate("/x/Item3"),
                              candidate("/x/item1")},
                             CleanupIgnoreDuration::untilShownAgain, 50));
    ASSERT_TRUE(store.ignore({candidate("/x/zzz")}, CleanupIgnoreDuration::untilShownAgain, 60));
    ASSERT_TRUE(store.ignore({candidate("/x/aaa")}, CleanupIgnoreDuration::untilShownAgain, 40));
    EXPECT_EQ(pathsOf(store.items()),
              (std::vector<std::string>{"/x/zzz", "/x/item1", "/x/item2", "/x/Item3", "/x/item10",
                                        "/x/aaa"}));
}

TEST(CleanupIgnoreStoreTest, UnreadableValuesAreBackedUpByteForByteAndTheListStartsEmpty) {
    const std::string valid =
        R"({"id":"userCaches:/a","displayName":"a","path":"/a","category":"userCaches",)"
        R"("sizeBytes":1,"ignoredAt":5,"duration":"oneDay")";
    const struct {
        std::string blob;
        std::string description;
    } cases[] = {
        {std::string("\xff\x00\x01garbage", 10), "The saved data is not valid JSON."},
        {"", "The saved data is not valid JSON."},
        {"[" + valid + "}", "The saved data is not valid JSON."},
        {"{\"items\":[]}", "The saved data is not a list of ignored items."},
        {"[[" + valid + "}]]", "The saved data is not a list of ignored items."},
        {"[" + valid + "}, 7]", "Item 2 is not a record."},
        {"[" + valid + R"(,"duration":"forever"}])",
         "Item 1 has a field \"duration\" with the unknown value \"forever\"."},
        {R"([{"id":"x","displayName":"a","path":"/a","category":"bins","sizeBytes":1,)"
         R"("ignoredAt":5,"duration":"oneDay"}])",
         "Item 1 has a field \"category\" with the unknown value \"bins\"."},
        {R"([{"id":"x","displayName":"a","path":"/a","category":"userCaches","sizeBytes":"1",)"
         R"("ignoredAt":5,"duration":"oneDay"}])",
         "Item 1 has a field \"sizeBytes\" of the wrong type."},
        {R"([{"id":"x","displayName":"a","path":"/a","category":"userCaches","sizeBytes":1.5,)"
         R"("ignoredAt":5,"duration":"oneDay"}])",
         "Item 1 has a field \"sizeBytes\" of the wrong type."},
        {R"([{"id":7,"displayName":"a","path":"/a","category":"userCaches","sizeBytes":1,)"
         R"("ignoredAt":5,"duration":"oneDay"}])",
         "Item 1 has a field \"id\" of the wrong type."},
        {"[" + valid + R"(,"expiresAt":"tomorrow"}])",
         "Item 1 has a field \"expiresAt\" of the wrong type."},
        {"[" + valid + R"(,"expiresAt":1e999}])",
         "The saved data is not valid JSON."},  // JSON numbers stay finite
        {R"([{"id":"x","displayName":"a","path":"/a","category":"userCaches","sizeBytes":1,)"
         R"("duration":"oneDay"}])",
         "Item 1 has no field \"ignoredAt\"."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.blob);
        StoreFile f;
        ASSERT_TRUE(storePreference(f.settings(), "velmora.language", QString("en")));
        ASSERT_TRUE(storePreference(f.settings(), kBackupKey, QByteArray("older backup")));
        ASSERT_TRUE(storePreference(f.settings(), kKey, bytes(c.blob)));
        CleanupIgnoreStore store(f.settings(), std::string(kKey), english, 0);
        EXPECT_TRUE(store.items().empty());
        EXPECT_EQ(store.lastErrorMessage(), kLoadPrefix + c.description);
        EXPECT_EQ(f.reread(kBackupKey).toByteArray(), bytes(c.blob));
        EXPECT_FALSE(f.reread(kKey).isValid());
        EXPECT_EQ(f.reread("velmora.language").toString(), "en");
    }
}

TEST(CleanupIgnoreStoreTest, AValueThatIsNotDataIsBackedUpAsItWas) {
    StoreFile f;
    ASSERT_TRUE(storePreference(f.settings(), kKey, QString("[]")));
    CleanupIgnoreStore store(f.settings(), std::string(kKey), english, 0);
    EXPECT_EQ(store.lastErrorMessage(), kLoadPrefix + "The saved value is not stored as data.");
    EXPECT_EQ(f.reread(kBackupKey).toString(), "[]");
    EXPECT_FALSE(f.reread(kKey).isValid());
}

TEST(CleanupIgnoreStoreTest, AnUnreadableValueThatCannotBeBackedUpIsNeverWrittenOver) {
    TestTree tree;
    const std::string conf = tree.path("ro/Velmora.conf");
    ASSERT_TRUE(storePreference(*openPreferenceFileAt(conf).settings, kKey, QByteArray("{oops")));
    tree.chmod("ro", 0555);
    EXPECT_TRUE(test::runWithoutPrivileges(tree, [&] {
        PreferenceFile file = openPreferenceFileAt(conf);
        CleanupIgnoreStore store(*file.settings, std::string(kKey), english, 0);
        const bool told =
            store.lastErrorMessage() ==
            "Could not load ignored cleanup items. The saved ignore list could not be set aside, "
            "so it was left in place: The saved data is not valid JSON.";
        const bool refused = !store.ignore({candidate("/h/a")}, CleanupIgnoreDuration::oneDay, 1);
        // Once the file can be written, the backup is written before the list replaces it.
        ::chmod(tree.path("ro").c_str(), 0755);
        return told && refused &&
               store.ignore({candidate("/h/a")}, CleanupIgnoreDuration::untilShownAgain, 1);
    }));
    const PreferenceFile file = openPreferenceFileAt(conf);
    EXPECT_EQ(file.settings->value(QString::fromStdString(kBackupKey)).toByteArray(), "{oops");
    CleanupIgnoreStore reread(*file.settings, std::string(kKey), english, 0);
    EXPECT_EQ(pathsOf(reread.items()), std::vector<std::string>{"/h/a"});
}

TEST(CleanupIgnoreStoreTest, InvalidUTF8InAStoredPathCostsNothingElse) {
    StoreFile f;
    const std::string blob =
        "[{\"id\":\"userCaches:/h/\xff\",\"displayName\":\"\xff\",\"path\":\"/h/\xff\","
        "\"category\":\"userCaches\",\"sizeBytes\":1,\"ignoredAt\":9,\"duration\":"
        "\"untilShownAgain\"},{\"id\":\"userCaches:/h/b\",\"displayName\":\"b\",\"path\":\"/h/b\","
        "\"category\":\"userCaches\",\"sizeBytes\":1,\"ignoredAt\":8,\"duration\":"
        "\"untilShownAgain\"}]";
    ASSERT_TRUE(storePreference(f.settings(), kKey, bytes(blob)));
    CleanupIgnoreStore store(f.settings(), std::string(kKey), english, 0);
    EXPECT_FALSE(store.lastErrorMessage());
    EXPECT_EQ(pathsOf(store.items()), (std::vector<std::string>{"/h/\uFFFD", "/h/b"}));

    // A candidate with such a name is found again after a reload.
    const CleanupCandidate odd = candidate("/h/c\xfe");
    ASSERT_TRUE(store.ignore({odd}, CleanupIgnoreDuration::untilShownAgain, 10));
    CleanupIgnoreStore reloaded(*openPreferenceFileAt(f.path).settings, std::string(kKey), english,
                                0);
    EXPECT_TRUE(reloaded.activeIgnoredIDs(0).contains(ignoreMatchKey(odd.id())));
    EXPECT_EQ(reloaded.items(), store.items());
}

TEST(CleanupIgnoreStoreTest, AFailedSaveRestoresTheListInMemoryAndInTheFile) {
    TestTree tree;
    const std::string conf = tree.path("ro/Velmora.conf");
    {
        PreferenceFile file = openPreferenceFileAt(conf);
        CleanupIgnoreStore store(*file.settings, std::string(kKey), english, 0);
        ASSERT_TRUE(
            store.ignore({candidate("/h/kept")}, CleanupIgnoreDuration::untilShownAgain, 1));
    }
    const std::string before = test::readFile(conf);
    tree.chmod("ro", 0555);
    EXPECT_TRUE(test::runWithoutPrivileges(tree, [&] {
        PreferenceFile file = openPreferenceFileAt(conf);
        CleanupIgnoreStore store(*file.settings, std::string(kKey), english, 0);
        const auto kept = store.items();
        int published = 0;
        QObject::connect(&store, &CleanupIgnoreStore::itemsChanged, [&] { ++published; });
        const bool saved = store.ignore({candidate("/h/new")}, CleanupIgnoreDuration::oneDay, 2);
        const bool removed = store.removeAll();
        const bool ok =
            !saved && !removed && store.items() == kept && published == 4 &&
            store.lastErrorMessage() ==
                "Could not save ignored cleanup items: The preferences file could not be written.";
        // Once the folder takes writes again, saving another preference must not carry the
        // list that was reported as not saved.
        ::chmod(tree.path("ro").c_str(), 0755);
        return ok && storePreference(*file.settings, "velmora.language", QString("de"));
    }));
    CleanupIgnoreStore reread(*openPreferenceFileAt(conf).settings, std::string(kKey), english, 0);
    EXPECT_EQ(pathsOf(reread.items()), std::vector<std::string>{"/h/kept"});
    EXPECT_NE(test::readFile(conf), before);  // the language was written
}

TEST(CleanupIgnoreStoreTest, ADateJSONCannotHoldFailsTheSaveAndWritesNothing) {
    StoreFile f;
    CleanupIgnoreStore store(f.settings(), std::string(kKey), english, 0);
    EXPECT_FALSE(store.removeAll());  // empty: nothing to do, nothing written
    EXPECT_FALSE(test::exists(f.path));
    EXPECT_FALSE(store.ignore({candidate("/h/a")}, CleanupIgnoreDuration::untilShownAgain, NAN));
    EXPECT_TRUE(store.items().empty());
    EXPECT_EQ(store.lastErrorMessage(),
              "Could not save ignored cleanup items: The date of an ignored item is not a valid "
              "date.");
    EXPECT_FALSE(test::exists(f.path));
    // A good save clears the message.
    EXPECT_TRUE(store.ignore({candidate("/h/a")}, CleanupIgnoreDuration::oneDay, 0));
    EXPECT_FALSE(store.lastErrorMessage());
}

TEST(CleanupIgnoreStoreTest, RandomBlobsNeverCrashTheLoader) {
    const std::string seed =
        R"([{"id":"userCaches:/a","displayName":"a","path":"/a","category":"userCaches",)"
        R"("sizeBytes":1,"ignoredAt":5,"duration":"oneDay","expiresAt":86405}])";
    const std::string alphabet = "[]{}\",:0123456789.eE-+ tfnulraxyz\\\xff\xc3\x80";
    std::mt19937 rng(12345);
    for (int round = 0; round < 3000; ++round) {
        std::string blob = seed;
        const int edits = 1 + static_cast<int>(rng() % 8);
        for (int e = 0; e < edits && !blob.empty(); ++e) {
            const size_t at = rng() % blob.size();
            switch (rng() % 3) {
                case 0:
                    blob[at] = alphabet[rng() % alphabet.size()];
                    break;
                case 1:
                    blob.erase(at, 1 + rng() % 4);
                    break;
                default:
                    blob.insert(at, 1, alphabet[rng() % alphabet.size()]);
            }
        }
        auto decoded = decodeIgnoredCleanupItems(blob);
        if (!decoded) {
            EXPECT_FALSE(decoded.error().description(AppLanguage::english).empty());
            continue;
        }
        // Whatever decodes encodes and reads back equal.
        auto encoded = encodeIgnoredCleanupItems(*decoded, AppLanguage::english);
        ASSERT_TRUE(encoded) << blob;
        auto again = decodeIgnoredCleanupItems(*encoded);
        ASSERT_TRUE(again) << *encoded;
        EXPECT_EQ(*again, *decoded) << blob;
    }
    EXPECT_FALSE(decodeIgnoredCleanupItems(std::string(100000, '[')));
}

}  // namespace
}  // namespace velmora
