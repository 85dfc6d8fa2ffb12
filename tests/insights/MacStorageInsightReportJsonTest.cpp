#include "CleanerCore/insights/MacStorageInsightReportJson.h"

#include <gtest/gtest.h>

#include "CleanerCore/insights/InsightSecurity.h"

namespace velmora {
namespace {

MacStorageInsightReport sample() {
    MacStorageInsightReport r;
    r.scannedAt = 123.25;
    r.heatmapItems.push_back(
        {"/h/Documents", FileURL::directory("/h/Documents"), "~/Documents", 10, 2, true});
    FileInsight f;
    f.id = fileInsightID(FileInsightKind::largeFile, "/h/Documents/a");
    f.url = FileURL("/h/Documents/a");
    f.displayName = "a";
    f.parentPath = "~/Documents";
    f.sizeBytes = 10;
    f.lastModified = 5.5;
    f.linkCount = 1;
    r.largeFiles.push_back(f);
    r.skippedItems.push_back({FileURL("/h/Downloads/.Trash", true), "Protected user data path"});
    r.isTruncated = true;
    r.systemSnapshot.processorCount = 4;
    r.hasCompletedScan = true;
    return r;
}

TEST(MacStorageInsightReportJsonTest, RoundTripsAndUsesFieldNames) {
    const auto r = sample();
    const nlohmann::json j = r;
    for (const char* key : {"scannedAt", "heatmapItems", "largeFiles", "downloadFiles",
                            "duplicateGroups", "securityFindings", "skippedItems", "isTruncated",
                            "systemSnapshot", "hasCompletedScan"}) {
        EXPECT_TRUE(j.contains(key)) << key;
    }
    EXPECT_EQ(j.size(), 10u);
    auto back = decodeMacStorageInsightReport(j.dump());
    ASSERT_TRUE(back) << back.error();
    EXPECT_EQ(*back, r);
}

TEST(MacStorageInsightReportJsonTest, PlaceholderIsEmptyAndNotCompleted) {
    const auto p = MacStorageInsightReport::placeholder();
    EXPECT_FALSE(p.hasCompletedScan);
    EXPECT_TRUE(p.heatmapItems.empty() && p.largeFiles.empty() && p.downloadFiles.empty() &&
                p.duplicateGroups.empty() && p.securityFindings.empty() && p.skippedItems.empty());
    auto back = decodeMacStorageInsightReport(nlohmann::json(p).dump());
    ASSERT_TRUE(back);
    EXPECT_EQ(*back, p);
}

TEST(MacStorageInsightReportJsonTest, OlderShapeWithScannedRootsIsAccepted) {
    const auto older = R"({"scannedAt": 7, "scannedRoots": ["file:///h/Downloads/"],
        "largeFiles": [], "downloadFiles": [], "skippedItems": [], "isTruncated": false})";
    auto r = decodeMacStorageInsightReport(older);
    ASSERT_TRUE(r) << r.error();
    EXPECT_EQ(r->scannedAt, 7);
    EXPECT_TRUE(r->hasCompletedScan);
    EXPECT_TRUE(r->heatmapItems.empty());
}

TEST(MacStorageInsightReportJsonTest, RejectsWrongShapes) {
    nlohmann::json j = sample();
    for (const char* key : {"heatmapItems", "systemSnapshot", "hasCompletedScan", "largeFiles"}) {
        auto missing = j;
        missing.erase(key);
        EXPECT_FALSE(decodeMacStorageInsightReport(missing.dump())) << key;
    }
    auto badRoots = j;
    badRoots["scannedRoots"] = 3;
    EXPECT_FALSE(decodeMacStorageInsightReport(badRoots.dump()));
    auto badDate = j;
    badDate["scannedAt"] = "yesterday";
    EXPECT_FALSE(decodeMacStorageInsightReport(badDate.dump()));
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
        {"x.sh", "Shell script", 3},
        {"X.app", "Application bundle", 4},
        {"y.workflow", "Automation workflow", 3},
        {"z.webloc", "Web shortcut", 1},
        {"tool-keygen.zip", "Suspicious filename pattern", 1},
        {"Photo Crack (1).rar", "Suspicious filename pattern", 1},
        {"patcher", "Suspicious filename pattern", 1},
        {"keygenerator.zip", std::nullopt, 1},
        {"crackers.zip", std::nullopt, 1},
        {"how-to-crack.txt", std::nullopt, 1},
        {"notes.md", std::nullopt, 1},
        // What a Linux user downloads and runs; the macOS table stays as it is.
        {"tool.deb", std::nullopt, 1},
        {"tool.deb", "Debian software package", 4, linux},
        {"tool.x86_64.rpm", "RPM software package", 4, linux},
        {"NVIDIA-Linux.run", "Self-extracting installer", 4, linux},
        {"Editor.AppImage", "AppImage application", 3, linux},
        {"app_1.0.snap", "Snap package", 3, linux},
        {"org.example.App.flatpakref", "Flatpak install link", 3, linux},
        {"debian.iso", "Disk image", 2, linux},
        {"sdcard.img", "Disk image", 2, linux},
        {"setup.exe", "Windows program", 1, linux},
        {"setup.MSI", "Windows installer package", 1, linux},
        {"setup.pkg", "Installer package", 4, linux},
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
