// `velmora insights` as a user runs it: the built program in a child process whose home and
// XDG folders lie inside a throw-away tree. The files are small (the default large-file and
// duplicate thresholds are never reached), so the checks are about roots, counts, Downloads
// items, security findings, skipped items and the JSON shape.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include <nlohmann/json.hpp>

#include "cli/CommandRunner.h"

namespace velmora::test {
namespace {

class InsightsCommandTest : public ::testing::Test {
  protected:
    CommandHome h;
    const double old = unixNow() - 3 * 86400;

    InsightsCommandTest() { h.catalogue = "macos"; }

    void oldFile(const std::string& relative, size_t size) {
        h.tree.file("home/" + relative, size);
        h.tree.setMtime("home/" + relative, old);
    }
    // A sparse file of `size`, so large sizes cost nothing.
    void sparseOldFile(const std::string& relative, size_t size) {
        oldFile(relative, 0);
        std::filesystem::resize_file(h.homePath(relative), size);
        h.tree.setMtime("home/" + relative, old);
    }

    Outcome insights(std::vector<std::string> args) {
        args.insert(args.begin(), "insights");
        return h.velmora(args);
    }
};

// The keys of a JSON object, in the order the output gives them.
std::vector<std::string> keys(const nlohmann::ordered_json& object) {
    std::vector<std::string> out;
    for (const auto& item : object.items()) out.push_back(item.key());
    return out;
}

TEST_F(InsightsCommandTest, JsonReportOfAMacosHome) {
    oldFile("Downloads/setup.pkg", 10000);  // more blocks than notes.txt
    oldFile("Downloads/notes.txt", 100);
    oldFile("Documents/a/b.txt", 2000);
    oldFile("Library/Mail/V10/m.emlx", 100);  // not a root: never seen
    oldFile("Library/Application Support/CloudDocs/x", 100);
    h.tree.symlink("home/Documents/link", h.tree.path("home/Downloads/setup.pkg"));
    const auto before = h.snapshot();

    const auto o = insights({"--json"});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(h.snapshot(), before);  // read-only
    const auto j = nlohmann::json::parse(o.out);
    EXPECT_TRUE(j.at("hasCompletedScan").get<bool>());
    EXPECT_FALSE(j.at("isTruncated").get<bool>());
    std::map<std::string, int64_t> counts;
    for (const auto& item : j.at("heatmapItems"))
        counts[item.at("displayName")] = item.at("itemCount");
    // The link is not counted; Mail is not a root, so never seen.
    EXPECT_EQ(counts,
              (std::map<std::string, int64_t>{
                  {"~/Downloads", 2}, {"~/Documents", 1}, {"~/Library/Application Support", 0}}));
    // What is in the lists is the scanner's business; here: that they all reach the output.
    ASSERT_EQ(j.at("downloadFiles").size(), 2u);
    EXPECT_EQ(j.at("securityFindings").size(), 1u);  // the installer package
    EXPECT_EQ(j.at("skippedItems").size(), 1u);      // CloudDocs

    // Keys come in the records' declared order, for people and diff tools reading the output.
    const auto ordered = nlohmann::ordered_json::parse(o.out);
    EXPECT_EQ(keys(ordered),
              (std::vector<std::string>{"scannedAt", "heatmapItems", "largeFiles", "downloadFiles",
                                        "duplicateGroups", "securityFindings", "skippedItems",
                                        "isTruncated", "systemSnapshot", "hasCompletedScan"}));
    EXPECT_EQ(keys(ordered.at("downloadFiles")[0]),
              (std::vector<std::string>{"id", "url", "displayName", "parentPath", "sizeBytes",
                                        "lastModified", "resourceIdentity", "linkCount", "kind",
                                        "detail", "safety"}));
    EXPECT_EQ(keys(ordered.at("heatmapItems")[0]),
              (std::vector<std::string>{"id", "url", "displayName", "sizeBytes", "itemCount",
                                        "isTruncated"}));
}

// A relative --home is where the person stands, not a path from the root folder.
TEST_F(InsightsCommandTest, RelativeHomeIsResolvedFromTheWorkingFolder) {
    oldFile("Documents/tool-keygen.zip", 100);
    const auto o =
        h.run({VELMORA_BINARY, "--home", "home", "--catalogue", "macos", "insights", "--json"},
              {.signalPending = 0, .workingDirectory = h.tree.root()});
    ASSERT_EQ(o.status, 0) << o.err;
    const auto j = nlohmann::json::parse(o.out);
    ASSERT_EQ(j.at("heatmapItems").size(), 1u);
    EXPECT_EQ(j.at("heatmapItems")[0].at("id"), h.homePath("Documents"));
    EXPECT_EQ(j.at("securityFindings").size(), 1u);
}

TEST_F(InsightsCommandTest, SummaryKeepersAndUsageErrors) {
    oldFile("Documents/x.bin", 10);
    auto o = insights({});
    ASSERT_EQ(o.status, 0) << o.err;
    // An empty list says what it looked for.
    for (const char* shown :
         {"Storage map", "~/Documents", "System", "no files of 104.9 MB or more",
          "no downloads older than 1 day", "no identical files of 21.0 MB or more"}) {
        EXPECT_NE(o.out.find(shown), std::string::npos) << shown << "\n" << o.out;
    }

    o = insights({"--keepers", "--json"});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(nlohmann::json::parse(o.out), nlohmann::json::array());

    // Duplicates at the default 20 MiB floor (sparse, so cheap): the keeper is marked, and
    // copies that are hard links are called out, since deleting them frees nothing.
    for (const char* name : {"Documents/d.iso", "Downloads/d.iso"}) sparseOldFile(name, 21u << 20);
    h.tree.dir("home/Desktop");
    ASSERT_EQ(::link(h.homePath("Downloads/d.iso").c_str(), h.homePath("Desktop/d.iso").c_str()),
              0);
    o = insights({"--keepers", "--json"});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(keys(nlohmann::ordered_json::parse(o.out).at(0)),
              (std::vector<std::string>{"groupID", "keeperID", "keeperPath", "duplicateCount",
                                        "reasons"}));
    o = insights({});
    ASSERT_EQ(o.status, 0) << o.err;
    // The Desktop name is the Downloads file itself: one file, not a third copy.
    EXPECT_NE(o.out.find("2 copies of 22.0 MB, up to 0 bytes recoverable"), std::string::npos)
        << o.out;
    EXPECT_NE(o.out.find("keep ~/Documents/d.iso"), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("1 of these copies is a hard link"), std::string::npos) << o.out;
    // Reasons and ages are sentences, never the records' raw values.
    EXPECT_NE(o.out.find("Keep this copy because it is in a folder better suited"),
              std::string::npos)
        << o.out;
    EXPECT_NE(o.out.find("3 days old  ~/Downloads/d.iso"), std::string::npos) << o.out;
    EXPECT_EQ(o.out.find("preferredLocation"), std::string::npos) << o.out;
    o = insights({"--keepers"});
    EXPECT_NE(o.out.find("keep ~/Documents/d.iso (1 other copy)"), std::string::npos) << o.out;

    EXPECT_EQ(insights({"--bogus"}).status, 2);
    EXPECT_EQ(h.run({VELMORA_BINARY, "--home", h.home + "/missing", "insights"}).status, 2);
}

// A Linux home as a new user meets it: the hidden folders where the space is are on the map, and
// when a limit or a budget stopped the scan, the output names the option that raises it.
TEST_F(InsightsCommandTest, LinuxHomeMapAndTheLimitsToRaise) {
    oldFile(".pyenv/versions/3.12/lib/libpython.so", 5000);
    oldFile(".rustup/toolchains/stable/lib/std.rlib", 5000);
    for (int i = 0; i < 130; ++i) oldFile(".cache/f" + std::to_string(i), 1);
    for (const char* name : {"Videos/a.mkv", "Music/a.mkv"}) sparseOldFile(name, 2u << 20);
    h.catalogue = "linux";
    const std::vector<std::string> args = {
        "--visit-limit", "128", "--duplicate-size", "1MiB", "--duplicate-file-budget", "1MiB"};
    auto o = insights(args);
    ASSERT_EQ(o.status, 0) << o.err;
    for (const char* shown : {"~/.pyenv", "~/.rustup", "~/.cache  (not fully scanned)",
                              "raise --visit-limit", "raise --duplicate-file-budget"}) {
        EXPECT_NE(o.out.find(shown), std::string::npos) << shown << "\n" << o.out;
    }
    EXPECT_EQ(o.out.find("no scanned folders"), std::string::npos);

    auto json = args;
    json.push_back("--json");
    o = insights(json);
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_TRUE(nlohmann::json::parse(o.out).at("isTruncated").get<bool>());
    EXPECT_NE(o.err.find("raise --duplicate-file-budget"), std::string::npos) << o.err;
}

}  // namespace
}  // namespace velmora::test
