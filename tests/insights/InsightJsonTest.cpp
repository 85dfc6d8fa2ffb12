// The insight records and the insight report as JSON: exact round trips (non-UTF-8 names and
// bit-identical dates included), the wire names other tools read, the older report shape, and
// refusal of unknown values; plus the name-only security classification.
#include "CleanerCore/insights/InsightJson.h"

#include <gtest/gtest.h>

#include <limits>

#include "CleanerCore/insights/InsightSecurity.h"
#include "CleanerCore/insights/MacStorageInsightReportJson.h"
#include "CleanerCore/scanning/ModelJson.h"

namespace velmora {
namespace {

using nlohmann::json;

FileInsight fullInsight(const std::string& path = "/home/u/Downloads/a b.iso") {
    FileInsight f;
    f.url = FileURL(path);
    f.kind = FileInsightKind::duplicate;
    f.id = fileInsightID(f.kind, f.url.path);
    f.displayName = lastPathComponent(path);
    f.parentPath = "~/Downloads";
    f.sizeBytes = 31'457'280;
    f.lastModified = 756'000'000.123456789;
    FileResourceIdentity identity;
    identity.fileResourceIdentifier = "2049:77";
    identity.systemFileNumber = 77;
    identity.systemNumber = 2049;
    identity.modificationDate = f.lastModified;
    f.resourceIdentity = identity;
    f.linkCount = 2;
    f.detail = duplicateSetDetail(3);
    f.safety = CleanupSafety::caution;
    return f;
}

TEST(InsightModel, DisplayPathsAndReclaimableEstimate) {
    EXPECT_EQ(insightDisplayPath("/home/u", "/home/u"), "~");
    EXPECT_EQ(insightDisplayPath("/home/u/Documents/x", "/home/u"), "~/Documents/x");
    EXPECT_EQ(insightDisplayPath("/home/user2/x", "/home/u"), "/home/user2/x");
    EXPECT_EQ(insightDisplayPath("/home/user2/x", "/home/u", "/home/user2"), "~/x");
    EXPECT_EQ(insightDisplayPath("/x", "/"), "~/x");

    // Copies with more than one name free nothing when deleted; one copy is always kept; the
    // sum saturates instead of overflowing.
    auto member = [](std::optional<int64_t> links) {
        FileInsight f;
        f.linkCount = links;
        return f;
    };
    const int64_t huge = std::numeric_limits<int64_t>::max() / 2 + 1;
    const std::tuple<int64_t, std::vector<std::optional<int64_t>>, int64_t> cases[] = {
        {100, {}, 0},
        {100, {1, std::nullopt, 1}, 200},
        {100, {1, std::nullopt, 1, 2, 3}, 200},
        {100, {2, 2}, 0},
        {huge, {1, 1, 1, 1}, std::numeric_limits<int64_t>::max()},
    };
    for (const auto& [size, links, expected] : cases) {
        DuplicateFileGroup g;
        g.sizeBytes = size;
        for (auto l : links) g.files.push_back(member(l));
        EXPECT_EQ(g.estimatedReclaimableBytes(), expected) << links.size();
    }
}

TEST(InsightJson, RecordsRoundTripExactlyUnderTheirWireNames) {
    FileInsight f = fullInsight();
    const json j = f;
    EXPECT_EQ(j.at("id"), "duplicate:" + f.url.path);
    EXPECT_EQ(j.at("url"), "file:///home/u/Downloads/a%20b.iso");
    EXPECT_EQ(j.at("kind"), "duplicate");
    EXPECT_EQ(j.at("safety"), "caution");
    const FileInsight back = json::parse(dumpJSON(j, false)).get<FileInsight>();
    EXPECT_EQ(back, f);
    EXPECT_EQ(*back.lastModified, *f.lastModified);  // bit-identical

    f = fullInsight("/home/u/Do\xFFwn/b\xFE.iso");  // not UTF-8: read back exactly
    f.parentPath = "~/Do\xFFwn";
    EXPECT_EQ(json::parse(dumpJSON(json(f), false)).get<FileInsight>(), f);
    f.lastModified.reset();
    f.resourceIdentity.reset();
    f.linkCount.reset();
    EXPECT_EQ(json(f).size(), 8u);  // absent optionals are left out
    EXPECT_EQ(json(f).get<FileInsight>(), f);

    DuplicateFileGroup g{"sha256:ab:31457280", 31'457'280, {fullInsight(), fullInsight("/a")}};
    EXPECT_EQ(json::parse(dumpJSON(json(g), true)).get<DuplicateFileGroup>(), g);
    StorageMapItem m{
        "/home/u/Movies", FileURL::directory("/home/u/Movies"), "~/Movies", 5, 2, true};
    EXPECT_EQ(json(m).at("url"), "file:///home/u/Movies/");
    EXPECT_EQ(json(m).get<StorageMapItem>(), m);
    using Reason = DuplicateKeeperRecommendationReason;
    DuplicateKeeperRecommendation r{
        g.id, g.files[1].id, "/a", 1, {Reason::preferredLocation, Reason::olderModificationDate}};
    EXPECT_EQ(json(r).at("reasons"),
              json::parse(R"(["preferredLocation","olderModificationDate"])"));
    EXPECT_EQ(json(r).get<DuplicateKeeperRecommendation>(), r);

    json badKind = fullInsight();
    badKind["kind"] = "bigFile";
    EXPECT_THROW(badKind.get<FileInsight>(), json::exception);
    json badReason = r;
    badReason["reasons"] = json::array({"newest"});
    EXPECT_THROW(badReason.get<DuplicateKeeperRecommendation>(), json::exception);
}

MacStorageInsightReport sampleReport() {
    MacStorageInsightReport r;
    r.scannedAt = 123.25;
    r.heatmapItems.push_back(
        {"/h/Documents", FileURL::directory("/h/Documents"), "~/Documents", 10, 2, true});
    r.largeFiles.push_back(fullInsight("/h/Documents/a"));
    r.skippedItems.push_back({FileURL("/h/Downloads/.Trash", true), "Protected user data path"});
    r.isTruncated = true;
    r.systemSnapshot.processorCount = 4;
    r.hasCompletedScan = true;
    return r;
}

TEST(InsightJson, ReportRoundTripsAcceptsTheOlderShapeAndRefusesWrongOnes) {
    for (const auto& r : {sampleReport(), MacStorageInsightReport::placeholder()}) {
        const json j = r;
        EXPECT_EQ(j.size(), 10u);
        auto back = decodeMacStorageInsightReport(j.dump());
        ASSERT_TRUE(back) << back.error();
        EXPECT_EQ(*back, r);
    }
    EXPECT_FALSE(MacStorageInsightReport::placeholder().hasCompletedScan);

    const auto older = R"({"scannedAt": 7, "scannedRoots": ["file:///h/Downloads/"],
        "largeFiles": [], "downloadFiles": [], "skippedItems": [], "isTruncated": false})";
    auto r = decodeMacStorageInsightReport(older);
    ASSERT_TRUE(r) << r.error();
    EXPECT_EQ(r->scannedAt, 7);
    EXPECT_TRUE(r->hasCompletedScan);

    const json good = sampleReport();
    const std::pair<const char*, json> changes[] = {
        {"scannedRoots", 3}, {"scannedAt", "yesterday"}, {"isTruncated", 1}};
    for (const auto& [key, value] : changes) {
        auto changed = good;
        changed[key] = value;
        EXPECT_FALSE(decodeMacStorageInsightReport(changed.dump())) << key;
    }
    for (const char* key : {"heatmapItems", "systemSnapshot", "hasCompletedScan", "largeFiles"}) {
        auto missing = good;
        missing.erase(key);
        EXPECT_FALSE(decodeMacStorageInsightReport(missing.dump())) << key;
    }
}

TEST(InsightSecurityTest, ClassifiesByNameOnly) {
    struct Row {
        const char* name;
        std::optional<std::string> detail;
        int severity;
        Catalogue catalogue = Catalogue::macos;
    };
    constexpr auto linux = Catalogue::linux;
    const std::vector<Row> rows = {
        {"a.pkg", "Installer package", 4},
        {"a.DMG", "Disk image", 2},
        {"a.mobileconfig", "Configuration profile", 5},
        {"run.command", "Executable command script", 3},
        {"X.app", "Application bundle", 4},
        {"y.workflow", "Automation workflow", 3},
        {"z.webloc", "Web shortcut", 1},
        {"tool-keygen.zip", "Suspicious filename pattern", 1},
        {"Photo Crack (1).rar", "Suspicious filename pattern", 1},
        {"patcher", "Suspicious filename pattern", 1},
        {"keygenerator.zip", std::nullopt, 1},
        {"how-to-crack.txt", std::nullopt, 1},
        // What a Linux user downloads and runs; the macOS table stays as it is.
        {"tool.deb", std::nullopt, 1},
        {"tool.deb", "Debian software package", 4, linux},
        {"tool.x86_64.rpm", "RPM software package", 4, linux},
        {"NVIDIA-Linux.run", "Self-extracting installer", 4, linux},
        {"Editor.AppImage", "AppImage application", 3, linux},
        {"app_1.0.snap", "Snap package", 3, linux},
        {"org.example.App.flatpakref", "Flatpak install link", 3, linux},
        {"sdcard.img", "Disk image", 2, linux},
        {"setup.MSI", "Windows installer package", 1, linux},
        {"x.sh", "Shell script", 3, linux},
        {"keygen.exe", "Windows program", 1, linux},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(securityDetail(row.name, row.catalogue), row.detail) << row.name;
        EXPECT_EQ(securitySeverity(row.name, row.catalogue), row.severity) << row.name;
    }
}

}  // namespace
}  // namespace velmora
