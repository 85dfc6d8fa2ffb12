// File URLs, the scan model records and their JSON coding: what a saved report must survive.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/scanning/CleanupModel.h"
#include "CleanerCore/scanning/ModelJson.h"

namespace velmora {

// Readable failure output: the JSON of a report rather than its bytes.
void PrintTo(const ScanReport& r, std::ostream* os) {
    *os << nlohmann::json(r).dump();
}

namespace {

using nlohmann::json;

// Names a Linux file system accepts but that break naive encoders.
const std::vector<std::string> kHostileNames = {
    "new\nline",           "100%",        "%41",   "-rf",       "\xff\xfe", "a\xc3",
    std::string(255, 'n'), "sp ace",      "a#b?c", "quote\"\\", " padded ", "\x7f\x01",
    "\xe6\x97\xa5",        "\xed\xa0\x80" /* encoded surrogate */};

TEST(FileURLTest, TextIsPercentEncodedAndMarksDirectories) {
    EXPECT_EQ(FileURL("/a b/100%/x\n#?\xff").absoluteString(),
              "file:///a%20b/100%25/x%0A%23%3F%FF");
    EXPECT_EQ(FileURL::directory("/u/Library/Caches").absoluteString(),
              "file:///u/Library/Caches/");
    EXPECT_EQ(FileURL("/").absoluteString(), "file:///");
    EXPECT_EQ(FileURL("/x/y/").path, "/x/y");
    EXPECT_TRUE(FileURL("/x/y/").isDirectory);
}

TEST(FileURLTest, ParsingAcceptsOnlyAbsoluteFileURLs) {
    EXPECT_EQ(FileURL::fromAbsoluteString("file://localhost/a/b"), FileURL("/a/b"));
    EXPECT_EQ(FileURL::fromAbsoluteString("FILE:///a/%2e%2E/b"), FileURL("/b"));
    for (const char* bad : {"http:///a", "file://host/a", "file:a", "/a/b", "file:///a%2",
                            "file:///a%zz", "file:///a%00b", "file:///a?q", "file:///a#f", ""}) {
        EXPECT_FALSE(FileURL::fromAbsoluteString(bad)) << bad;
    }
}

TEST(CleanupModelTest, ProgressIsNormalized) {
    const std::pair<double, double> fractions[] = {
        {1.7, 1.0}, {-0.2, 0.0}, {0.5, 0.5}, {std::nan(""), 0.0}, {INFINITY, 1.0}};
    for (const auto& [in, want] : fractions) {
        auto p = StorageScanProgress::make(std::nullopt, 0, 0, 0, 0, std::nullopt, 0, 0, in);
        EXPECT_EQ(p.fractionCompleted, want) << in;
    }
    // Negative counts and totals become zero.
    EXPECT_EQ(StorageScanProgress::make(std::nullopt, -1, -2, -4, -3, -1, -5, -6, 0.5),
              StorageScanProgress::make(std::nullopt, 0, 0, 0, 0, 0, 0, 0, 0.5));
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
    c.displayName = c.url.lastComponent();
    c.category = category;
    c.sizeBytes = 4096;
    return c;
}

// Shared parts are held once but compare by contents, as the values they stand for.
TEST(CleanupModelTest, SharedPartsCompareByContents) {
    CleanupCandidate a = candidateAt("/h/x", CleanupCategory::groupContainerCaches);
    CleanupCandidate b = a;
    a.appCacheContext = context("c");
    EXPECT_NE(a, b);
    b.appCacheContext = context("c");  // made separately
    EXPECT_EQ(a, b);
    b.appCacheContext = context("d");
    EXPECT_NE(a, b);
}

ScanReport roundTrip(const ScanReport& report) {
    auto decoded = decodeScanReport(dumpJSON(json(report), true));
    EXPECT_TRUE(decoded.ok()) << (decoded.ok() ? "" : decoded.error());
    return decoded.ok() ? *decoded : ScanReport{};
}

TEST(ModelJsonTest, KeysAreFieldNamesAndAbsentOptionalsAreOmitted) {
    CleanupCandidate c = candidateAt("/h/.cache/x", CleanupCategory::packageManagerCaches);
    c.safety = CleanupSafety::manualReview;
    const json j = c;
    EXPECT_EQ(j, json::parse(R"({"id": "packageManagerCaches:/h/.cache/x",
        "url": "file:///h/.cache/x", "displayName": "x", "category": "packageManagerCaches",
        "sizeBytes": 4096, "isSelectedByDefault": false, "safety": "manualReview",
        "requiresManualReviewBySource": false})"));
}

// Dates whose shortest text is long or unusual; each must read back bit for bit.
const std::vector<double> kDates = {123456789.123456789,
                                    dateFromTimespec({1700000000, 999999999}),
                                    dateFromTimespec({1700000000, 1}),
                                    dateFromTimespec({0, 123456789}),
                                    dateFromTimespec({4102444800, 999999999}),
                                    -0.0,
                                    5e-324,
                                    std::nextafter(1.0, 2.0),
                                    0.1 + 0.2,
                                    -978307200.000000001};

bool sameBits(double a, double b) {
    return std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b);
}

TEST(ModelJsonTest, FullReportRoundTripsFieldForFieldWithHostilePathsAndExactDates) {
    ScanReport report;
    report.scannedAt = 790000000.987654321;
    report.hasCompletedScan = true;
    for (const auto& name : kHostileNames) {
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
        id.creationDate = id.modificationDate = c.lastModified;
        c.resourceIdentity = id;
        c.isSelectedByDefault = c.requiresManualReviewBySource = true;
        c.safety = CleanupSafety::caution;
        c.appCacheContext = context(name);
        report.candidates.push_back(c);

        report.skippedItems.push_back({FileURL(root + "/" + name), "Could not enumerate folder"});
        // A refused root is skipped with the refusal text, which ends in the path.
        report.skippedItems.push_back(
            {FileURL(root), "Refusing to clean protected user data path: " + root});
    }
    for (size_t i = 0; i < kDates.size(); ++i) {
        report.candidates[i].lastModified = kDates[i];
    }
    const ScanReport back = roundTrip(report);
    EXPECT_EQ(back, report);
    ASSERT_EQ(back.candidates.size(), report.candidates.size());
    for (size_t i = 0; i < kDates.size(); ++i) {
        EXPECT_TRUE(sameBits(*back.candidates[i].lastModified, kDates[i])) << kDates[i];
    }
    for (double d : kDates) {
        report.scannedAt = d;
        EXPECT_TRUE(sameBits(roundTrip(report).scannedAt, d)) << d;
    }
    // The text itself is valid UTF-8 JSON that any reader accepts.
    EXPECT_TRUE(json::accept(dumpJSON(json(report), false)));
}

TEST(ModelJsonTest, MalformedReportsFailToDecode) {
    ScanReport report;
    report.candidates.push_back(candidateAt("/h/x", CleanupCategory::userLogs));
    report.candidates[0].appCacheContext = context("c");
    report.skippedItems.push_back({FileURL("/h/y"), "r"});
    const json good = report;
    ASSERT_TRUE(decodeScanReport(good.dump()).ok());
    const std::pair<const char*, json> changes[] = {
        {"/candidates/0/category", "userCache"},
        {"/candidates/0/safety", "Safe"},
        {"/candidates/0/appCacheContext/runningState", "asleep"},
        {"/candidates/0/appCacheContext/containerKind", "group"},
        {"/candidates/0/category", 0},
        {"/candidates/0/id", "userCaches:/h/x"},  // not its own category
        {"/candidates/0/id", "userLogs:/h/y"},
        {"/candidates/0/resourceIdentity", 3},
        {"/skippedItems/0/url", "h/y"},
        {"/scannedRoots", {"https://x/"}},
        {"/scannedAt", "2024-01-01"},
    };
    for (const auto& [pointer, value] : changes) {
        json j = good;
        j[json::json_pointer(pointer)] = value;
        EXPECT_FALSE(decodeScanReport(j.dump()).ok()) << pointer << " = " << value;
    }
    json missing = good;
    missing["candidates"][0].erase("sizeBytes");
    EXPECT_FALSE(decodeScanReport(missing.dump()).ok());
    EXPECT_FALSE(decodeScanReport("{").ok());
    EXPECT_FALSE(decodeScanReport("").ok());
}

}  // namespace
}  // namespace velmora
