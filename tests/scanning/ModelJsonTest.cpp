// File URLs, the scan model records and their JSON coding: what a saved report must survive.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <set>

#include "CleanerCore/scanning/CleanupModel.h"
#include "CleanerCore/scanning/FileURL.h"
#include "CleanerCore/scanning/ModelJson.h"

namespace velmora {

// Readable failure output: the JSON of a record rather than its bytes.
void PrintTo(const CleanupCandidate& c, std::ostream* os) {
    *os << nlohmann::json(c).dump();
}
void PrintTo(const SkippedItem& s, std::ostream* os) {
    *os << nlohmann::json(s).dump();
}
void PrintTo(const ScanReport& r, std::ostream* os) {
    *os << nlohmann::json(r).dump();
}

namespace {

using nlohmann::json;

// Names a Linux file system accepts but that break naive encoders.
const std::vector<std::string>& hostileNames() {
    static const std::vector<std::string> names = {"new\nline",
                                                   "100%",
                                                   "%41",
                                                   "-rf",
                                                   "\xff\xfe",
                                                   "a\xc3",
                                                   std::string(255, 'n'),
                                                   "sp ace",
                                                   "a#b?c",
                                                   "\xe6\x97\xa5\xe6\x9c\xac",
                                                   "quote\"\\",
                                                   " padded ",
                                                   "\x7f\x01",
                                                   "\xed\xa0\x80" /* encoded surrogate */};
    return names;
}

std::set<std::string> keysOf(const json& j) {
    std::set<std::string> keys;
    for (const auto& [key, value] : j.items()) keys.insert(key);
    return keys;
}

bool sameBits(double a, double b) {
    return std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b);
}

TEST(FileURLTest, StandardizesPaths) {
    const std::pair<std::string, std::string> cases[] = {
        {"/a//b/./c/", "/a/b/c"},
        {"/a/b/..", "/a"},
        {"/../..", "/"},
        {"a/b", "/a/b"},
        {"", "/"},
        {"//", "/"},
        {"/a/../../b", "/b"},
        {"/a/.../b", "/a/.../b"},
    };
    for (const auto& [in, out] : cases) EXPECT_EQ(standardizePath(in), out) << in;
}

TEST(FileURLTest, TextIsPercentEncodedAndMarksDirectories) {
    EXPECT_EQ(FileURL("/a b/100%/x\n#?\xff").absoluteString(),
              "file:///a%20b/100%25/x%0A%23%3F%FF");
    EXPECT_EQ(FileURL::directory("/Users/a/Library/Caches").absoluteString(),
              "file:///Users/a/Library/Caches/");
    EXPECT_EQ(FileURL("/").absoluteString(), "file:///");
    EXPECT_TRUE(FileURL("/x/y/").isDirectory);
    EXPECT_EQ(FileURL("/x/y/").path, "/x/y");
}

TEST(FileURLTest, HostileNamesSurviveTheText) {
    for (const auto& name : hostileNames()) {
        for (bool dir : {false, true}) {
            FileURL url(appendingPathComponent("/home/u/.cache", name), dir);
            auto back = FileURL::fromAbsoluteString(url.absoluteString());
            ASSERT_TRUE(back) << url.absoluteString();
            EXPECT_EQ(*back, url) << url.absoluteString();
            EXPECT_EQ(back->lastComponent(), name);
        }
    }
}

TEST(FileURLTest, ParsingAcceptsOnlyAbsoluteFileURLs) {
    EXPECT_EQ(FileURL::fromAbsoluteString("file://localhost/a/b"), FileURL("/a/b"));
    EXPECT_EQ(FileURL::fromAbsoluteString("FILE:///a/%2e%2E/b"), FileURL("/b"));
    for (const char* bad : {"http:///a", "file://host/a", "file:a", "/a/b", "file:///a%2",
                            "file:///a%zz", "file:///a%00b", "file:///a?q", "file:///a#f", ""}) {
        EXPECT_FALSE(FileURL::fromAbsoluteString(bad)) << bad;
    }
}

TEST(CleanupModelTest, CandidateIDIsCategoryColonPath) {
    EXPECT_EQ(candidateID(CleanupCategory::userCaches, "/Users/a/Library/Caches/com.x"),
              "userCaches:/Users/a/Library/Caches/com.x");
    EXPECT_NE(candidateID(CleanupCategory::userCaches, "/p"),
              candidateID(CleanupCategory::developerToolCaches, "/p"));
}

TEST(CleanupModelTest, EnumsRoundTripAndRejectUnknownRawStrings) {
    const auto& all = allCleanupCategories();
    ASSERT_EQ(all.size(), 13u);
    EXPECT_EQ(rawValue(all.front()), "userCaches");
    EXPECT_EQ(rawValue(all.back()), "customFolder");
    std::set<std::string_view> distinct;
    for (auto c : all) {
        EXPECT_EQ(categoryFromRaw(rawValue(c)), c);
        distinct.insert(displayName(c));
        EXPECT_FALSE(categoryDescription(c).empty());
    }
    EXPECT_EQ(distinct.size(), 13u);
    EXPECT_EQ(displayName(CleanupCategory::appSandboxCaches), "This App's Caches");
    EXPECT_EQ(displayName(CleanupSafety::manualReview), "Manual Review");
    EXPECT_EQ(safetyFromRaw("manualReview"), CleanupSafety::manualReview);
    for (const char* bad : {"", "UserCaches", "userCaches ", "Manual Review", "safe\n"}) {
        EXPECT_FALSE(categoryFromRaw(bad)) << bad;
        EXPECT_FALSE(safetyFromRaw(bad)) << bad;
        EXPECT_FALSE(scanModeFromRaw(bad)) << bad;
    }
}

TEST(CleanupModelTest, ProgressIsNormalized) {
    struct Case {
        double fraction;
        int64_t items;
        std::optional<int64_t> total;
        double wantFraction;
        int64_t wantItems;
        std::optional<int64_t> wantTotal;
    };
    const Case cases[] = {
        {1.7, 5, 3, 1.0, 5, 3},
        {-0.2, -4, -1, 0.0, 0, 0},
        {0.5, 0, std::nullopt, 0.5, 0, std::nullopt},
        {std::numeric_limits<double>::quiet_NaN(), 1, std::nullopt, 0.0, 1, std::nullopt},
        {std::numeric_limits<double>::infinity(), 1, std::nullopt, 1.0, 1, std::nullopt},
    };
    for (const auto& c : cases) {
        auto p = StorageScanProgress::make(std::nullopt, -1, -2, c.items, -3, c.total, -5, -6,
                                           c.fraction);
        EXPECT_EQ(p.fractionCompleted, c.wantFraction) << c.fraction;
        EXPECT_EQ(p.completedItems, c.wantItems);
        EXPECT_EQ(p.totalItemsInCurrentLocation, c.wantTotal);
        EXPECT_EQ(p.completedLocations + p.totalLocations + p.completedItemsInCurrentLocation +
                      p.foundCandidates + p.skippedItems,
                  0);
    }
}

TEST(CleanupModelTest, ReportOrderIsSafetyThenSizeDescendingAndStable) {
    auto cand = [](std::string id, CleanupSafety s, int64_t size) {
        CleanupCandidate c;
        c.id = std::move(id);
        c.safety = s;
        c.sizeBytes = size;
        return c;
    };
    using S = CleanupSafety;
    std::vector<CleanupCandidate> v = {cand("m", S::manualReview, 900), cand("c", S::caution, 5),
                                       cand("s1", S::safe, 10),         cand("s2", S::safe, 30),
                                       cand("s3", S::safe, 10),         cand("s4", S::safe, 10)};
    sortCandidatesForReport(v);
    std::vector<std::string> ids;
    for (const auto& c : v) ids.push_back(c.id);
    EXPECT_EQ(ids, (std::vector<std::string>{"s2", "s1", "s3", "s4", "c", "m"}));
}

// A group-container context whose bundle identifier is the part after "group.".
AppCacheContext context(const std::string& bundle) {
    return {AppCacheContainerKind::groupContainer,
            "group." + bundle,
            bundle,
            "com.x.run",
            "Runner",
            AppCacheRunningState::notRunning,
            AppCacheIdentitySource::groupContainerPossibleMatch};
}

// A candidate as the scanner would build it for `path`.
CleanupCandidate candidateAt(const std::string& path, CleanupCategory category) {
    CleanupCandidate c;
    c.url = FileURL(path);
    c.id = candidateID(category, c.url.path);
    c.displayName = c.url.lastComponent();
    c.category = category;
    c.sizeBytes = 4096;
    return c;
}

ScanReport roundTrip(const ScanReport& report) {
    json j = report;
    auto decoded = decodeScanReport(dumpJSON(j, true));
    EXPECT_TRUE(decoded.ok()) << (decoded.ok() ? "" : decoded.error());
    return decoded.ok() ? *decoded : ScanReport{};
}

TEST(ModelJsonTest, CandidateKeysAreFieldNamesAndAbsentOptionalsAreOmitted) {
    CleanupCandidate c = candidateAt("/h/.cache/x", CleanupCategory::packageManagerCaches);
    c.safety = CleanupSafety::manualReview;
    json minimal = c;
    EXPECT_EQ(keysOf(minimal), (std::set<std::string>{"id", "url", "displayName", "category",
                                                      "sizeBytes", "isSelectedByDefault", "safety",
                                                      "requiresManualReviewBySource"}));
    EXPECT_EQ(minimal["category"], "packageManagerCaches");
    EXPECT_EQ(minimal["safety"], "manualReview");
    EXPECT_EQ(minimal["url"], "file:///h/.cache/x");

    c.lastModified = 1.5;
    c.resourceIdentity = FileResourceIdentity{};
    c.resourceIdentity->fileSize = 3;
    c.appCacheContext = AppCacheContext{};
    json full = c;
    EXPECT_EQ(keysOf(full).size(), 11u);
    EXPECT_EQ(keysOf(full["resourceIdentity"]), std::set<std::string>{"fileSize"});
    EXPECT_EQ(keysOf(full["appCacheContext"]),
              (std::set<std::string>{"containerKind", "containerIdentifier", "runningState",
                                     "identitySource"}));
    EXPECT_EQ(full["appCacheContext"]["runningState"], "unknown");
}

TEST(ModelJsonTest, DatesReadBackBitIdentical) {
    const double dates[] = {
        123456789.123456789,
        dateFromTimespec({1700000000, 999999999}),
        dateFromTimespec({1700000000, 1}),
        dateFromTimespec({0, 123456789}),
        dateFromTimespec({4102444800, 999999999}),
        -0.0,
        5e-324,
        std::nextafter(1.0, 2.0),
        0.1 + 0.2,
        -978307200.000000001,
    };
    ScanReport report;
    for (double d : dates) {
        report.scannedAt = d;
        CleanupCandidate c = candidateAt("/h/x", CleanupCategory::userCaches);
        c.lastModified = d;
        c.resourceIdentity = FileResourceIdentity{};
        c.resourceIdentity->creationDate = d;
        c.resourceIdentity->modificationDate = std::nextafter(d, 0.0);
        report.candidates = {c};
        ScanReport back = roundTrip(report);
        ASSERT_EQ(back.candidates.size(), 1u);
        EXPECT_TRUE(sameBits(back.scannedAt, d)) << d;
        EXPECT_TRUE(sameBits(*back.candidates[0].lastModified, d)) << d;
        EXPECT_TRUE(sameBits(*back.candidates[0].resourceIdentity->creationDate, d)) << d;
        EXPECT_TRUE(sameBits(*back.candidates[0].resourceIdentity->modificationDate,
                             std::nextafter(d, 0.0)))
            << d;
    }
}

TEST(ModelJsonTest, FullReportRoundTripsFieldForFieldWithHostilePaths) {
    ScanReport report;
    report.scannedAt = 790000000.987654321;
    report.hasCompletedScan = true;
    for (const auto& name : hostileNames()) {
        const std::string container = "/home/u/.var/app/group." + name;
        const std::string root = container + "/cache";
        report.scannedRoots.push_back(FileURL::directory(root));

        CleanupCandidate c = candidateAt(root + "/" + name, CleanupCategory::appContainerCaches);
        c.lastModified = dateFromTimespec({1712345678, 123456789});
        FileResourceIdentity id;
        id.fileResourceIdentifier = "2049:131";
        id.volumeIdentifier = "0f1e-uuid";
        id.volumeName = container;  // mounted there
        id.isDirectory = true;
        id.fileSize = std::numeric_limits<int64_t>::max();
        id.totalFileAllocatedSize = 8192;
        id.systemFileNumber = std::numeric_limits<uint64_t>::max();
        id.systemNumber = 2049;
        id.modificationDate = c.lastModified;
        c.resourceIdentity = id;
        c.isSelectedByDefault = true;
        c.safety = CleanupSafety::caution;
        c.requiresManualReviewBySource = true;
        c.appCacheContext = context(name);
        report.candidates.push_back(c);

        report.skippedItems.push_back({FileURL(root + "/" + name), "Could not enumerate folder"});
        // A refused root is skipped with the refusal text, which ends in the path.
        report.skippedItems.push_back(
            {FileURL(root),
             "Refusing to clean protected user data path: " + standardizePath(root)});
    }
    ScanReport back = roundTrip(report);
    ASSERT_EQ(back.candidates.size(), report.candidates.size());
    for (size_t i = 0; i < report.candidates.size(); ++i) {
        EXPECT_EQ(back.candidates[i], report.candidates[i]) << report.candidates[i].url.path;
    }
    ASSERT_EQ(back.skippedItems.size(), report.skippedItems.size());
    for (size_t i = 0; i < report.skippedItems.size(); ++i) {
        EXPECT_EQ(back.skippedItems[i], report.skippedItems[i]) << report.skippedItems[i].reason;
    }
    EXPECT_EQ(back.scannedRoots, report.scannedRoots);
    EXPECT_EQ(back, report);

    // The text itself is valid UTF-8 JSON that any reader accepts.
    EXPECT_TRUE(json::accept(dumpJSON(json(report), false)));
}

TEST(ModelJsonTest, EmptyReportRoundTrips) {
    ScanReport empty;
    EXPECT_EQ(roundTrip(empty), empty);
    EXPECT_EQ(keysOf(json(empty)), (std::set<std::string>{"scannedAt", "candidates", "skippedItems",
                                                          "scannedRoots", "hasCompletedScan"}));
}

TEST(ModelJsonTest, MalformedReportsFailToDecode) {
    ScanReport report;
    report.candidates.push_back(candidateAt("/h/x", CleanupCategory::userLogs));
    report.candidates[0].appCacheContext = context("c");
    report.skippedItems.push_back({FileURL("/h/y"), "r"});
    const json good = report;
    ASSERT_TRUE(decodeScanReport(good.dump()).ok());

    std::vector<std::pair<std::string, json>> cases;
    auto mutate = [&](std::string label, auto change) {
        json j = good;
        change(j);
        cases.emplace_back(std::move(label), std::move(j));
    };
    mutate("unknown category", [](json& j) { j["candidates"][0]["category"] = "userCache"; });
    mutate("unknown safety", [](json& j) { j["candidates"][0]["safety"] = "Safe"; });
    mutate("unknown running state",
           [](json& j) { j["candidates"][0]["appCacheContext"]["runningState"] = "asleep"; });
    mutate("unknown container kind",
           [](json& j) { j["candidates"][0]["appCacheContext"]["containerKind"] = "group"; });
    mutate("enum as number", [](json& j) { j["candidates"][0]["category"] = 0; });
    mutate("missing key", [](json& j) { j["candidates"][0].erase("sizeBytes"); });
    mutate("relative url", [](json& j) { j["skippedItems"][0]["url"] = "h/y"; });
    mutate("other scheme", [](json& j) { j["scannedRoots"] = {"https://x/"}; });
    mutate("date as text", [](json& j) { j["scannedAt"] = "2024-01-01"; });
    mutate("identity not object", [](json& j) { j["candidates"][0]["resourceIdentity"] = 3; });
    for (const auto& [label, j] : cases) {
        auto decoded = decodeScanReport(j.dump());
        EXPECT_FALSE(decoded.ok()) << label;
    }
    EXPECT_FALSE(decodeScanReport("{").ok());
    EXPECT_FALSE(decodeScanReport("").ok());
}

TEST(ModelJsonTest, ProgressRoundTripsAndIsNormalizedOnDecoding) {
    auto p = StorageScanProgress::make(FileURL("/h/%x\n"), 1, 4, 10, 3, std::nullopt, 2, 1, 0.25);
    json j = p;
    EXPECT_FALSE(j.contains("totalItemsInCurrentLocation"));
    EXPECT_EQ(j.get<StorageScanProgress>(), p);

    j["fractionCompleted"] = 1.7;
    j["completedItems"] = -3;
    auto decoded = j.get<StorageScanProgress>();
    EXPECT_EQ(decoded.fractionCompleted, 1.0);
    EXPECT_EQ(decoded.completedItems, 0);
}

TEST(ModelJsonTest, LocationRoundTrips) {
    ScanLocation l;
    l.rootURL = FileURL::directory("/h/Library/Group Containers/g\xff/Library/Caches");
    l.category = CleanupCategory::groupContainerCaches;
    l.displayName = "Group Container Cache: g";
    l.depth = ScanDepth::directoryItself;
    l.safety = CleanupSafety::manualReview;
    l.minimumModificationAge = 86400;
    l.includesHiddenFiles = true;
    l.appCacheContext = context("g");
    json j = l;
    EXPECT_EQ(j["depth"], "directoryItself");
    EXPECT_EQ(keysOf(j).size(), 10u);
    EXPECT_EQ(j.get<ScanLocation>(), l);
}

}  // namespace
}  // namespace velmora
