// `velmora export` run as a user runs it, against a throw-away home whose folder and file names
// are distinctive: a redacted export of each kind, in each format, holds no byte sequence of
// any of those names nor of the home path; tokens agree within one export and differ between two;
// `export insights` takes the insight scan's limits; `-o` writes the file and refuses links, FIFOs
// and folders without touching them.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "CleanerCore/audit/CleanupAuditStore.h"
#include "CleanerCore/platform/Environment.h"
#include "audit/AuditTestSupport.h"
#include "cli/CommandRunner.h"
#include "export/CsvReader.h"

namespace velmora::test {
namespace {

class ExportCommandTest : public ::testing::Test {
  protected:
    CommandHome h;
    // Every name below is distinctive, so finding its bytes anywhere in an export is a leak.
    const std::vector<std::string> names = {"QuokkaMarmalade", "ZebraTurnip",    "Vex\377Fennel",
                                            "WombatLedger",    "NarwhalReceipt", "PangolinNotes"};

    void SetUp() override {
        const double old = unixNow() - 3 * 86400;
        h.oldCacheFile("QuokkaMarmalade,\"odd\"\nname/ZebraTurnip.bin", "x");
        h.oldCacheFile("Vex\377Fennel/inner", "y");
        // Duplicates above the insight scan's 20 MiB floor (sparse, so cheap to make).
        for (const char* folder : {"Downloads", "Documents"}) {
            const std::string path = h.homePath(std::string(folder) + "/WombatLedger.iso");
            h.tree.file("home/" + std::string(folder) + "/WombatLedger.iso", 0);
            std::filesystem::resize_file(path, 21u << 20);
            h.tree.setMtime("home/" + std::string(folder) + "/WombatLedger.iso", old);
        }
        // A history entry that names files of this home.
        const UserEnvironment environment = currentUserEnvironment(h.home);
        const CleanupAuditStore store(CleanupAuditStore::defaultFilePath(environment));
        CleanupAuditEntry e = entryAt(790000000, 0);
        e.cleanedItems = {cleanedItemAt(h.cache("NarwhalReceipt"), 4096)};
        e.samplePaths = {h.cache("NarwhalReceipt")};
        e.failureReasons = {"Could not move " + h.cache("PangolinNotes")};
        store.append(e);
    }

    Outcome exportOf(const std::string& subject, std::vector<std::string> extra = {}) {
        std::vector<std::string> args = {"export", subject, "--quiet"};
        args.insert(args.end(), extra.begin(), extra.end());
        return h.velmora(args);
    }

    void expectNothingOfTheHome(const std::string& text, const std::string& what) {
        for (const auto& name : names)
            EXPECT_EQ(text.find(name), std::string::npos) << what << " shows " << name;
        EXPECT_EQ(text.find(h.home), std::string::npos) << what << " shows the home path";
        EXPECT_EQ(text.find(h.tree.root()), std::string::npos) << what;
    }
};

TEST_F(ExportCommandTest, FullExportsShowTheHomeAndRedactedOnesNothingOfIt) {
    for (const std::string subject : {"scan", "insights", "history"}) {
        const Outcome full = exportOf(subject);
        ASSERT_EQ(full.status, 0) << subject << ": " << full.err;
        const auto j = nlohmann::json::parse(full.out);
        EXPECT_EQ(j.at("kind"), subject);
        EXPECT_EQ(j.at("isRedacted"), false);
        // The full export is what the names are found in (so the search below can find them).
        const std::string shown = subject == "scan"       ? "QuokkaMarmalade"
                                  : subject == "insights" ? "WombatLedger"
                                                          : "NarwhalReceipt";
        EXPECT_NE(full.out.find(shown), std::string::npos) << full.out;

        for (const std::string format : {"json", "csv"}) {
            const Outcome o = exportOf(subject, {"--redacted", "--format", format});
            ASSERT_EQ(o.status, 0) << subject << " " << format << ": " << o.err;
            expectNothingOfTheHome(o.out, subject + " " + format);
            EXPECT_NE(o.out.find("<path:"), std::string::npos) << o.out;
            if (format == "csv") {
                const auto rows = readCsv(o.out);
                ASSERT_TRUE(rows) << o.out;
                EXPECT_GE(rows->size(), 2u) << o.out;
            }
        }
    }
}

TEST_F(ExportCommandTest, TokensAgreeWithinAnExportAndLinkNoTwoExports) {
    const Outcome first = exportOf("scan", {"--redacted"});
    ASSERT_EQ(first.status, 0) << first.err;
    const Outcome second = exportOf("scan", {"--redacted"});
    ASSERT_EQ(second.status, 0) << second.err;
    const auto a = nlohmann::json::parse(first.out), b = nlohmann::json::parse(second.out);
    ASSERT_EQ(a.at("report").at("candidates").size(), 2u) << first.out;
    ASSERT_EQ(b.at("report").at("candidates").size(), 2u) << second.out;
    for (const auto& c : a.at("report").at("candidates")) {
        const std::string url = c.at("url");
        EXPECT_EQ(c.at("displayName"), url);
        EXPECT_EQ(c.at("id"), c.at("category").get<std::string>() + ":" + url);
        // The same files in the other export: none of their tokens shows up there.
        EXPECT_EQ(second.out.find(url), std::string::npos) << url << "\n" << second.out;
    }
}

// `export insights` takes the limits of `velmora insights`: a lower large-file size lists the
// two 21 MiB files, a higher duplicate size leaves their group out, a bad value is refused.
TEST_F(ExportCommandTest, InsightExportTakesTheInsightLimits) {
    struct Case {
        std::vector<std::string> options;
        size_t largeFiles, duplicateGroups;
    };
    for (const auto& c :
         std::vector<Case>{{{}, 0, 1},
                           {{"--large-file-size", "20MiB"}, 2, 1},
                           {{"--duplicate-size", "22MiB"}, 0, 0},
                           {{"--large-file-size", "1MiB", "--duplicate-size", "22MiB"}, 2, 0}}) {
        const Outcome o = exportOf("insights", c.options);
        ASSERT_EQ(o.status, 0) << o.err;
        const auto report = nlohmann::json::parse(o.out).at("report");
        EXPECT_EQ(report.at("largeFiles").size(), c.largeFiles) << o.out;
        EXPECT_EQ(report.at("duplicateGroups").size(), c.duplicateGroups) << o.out;
    }
    const Outcome refused = exportOf("insights", {"--visit-limit", "0"});
    EXPECT_EQ(refused.status, 2) << refused.err;
    EXPECT_EQ(refused.out, "");
}

TEST_F(ExportCommandTest, OutputFileIsWrittenAndNothingButARegularFileIsReplaced) {
    const std::string target = h.tree.path("io/history.csv");
    Outcome o = exportOf("history", {"--format", "csv", "-o", target});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.out, "");
    const std::string written = readAll(target);
    EXPECT_TRUE(written.starts_with("id,occurredAt,operation,source,mode,")) << written;
    struct stat st {};
    ASSERT_EQ(::stat(target.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    // An existing file is replaced.
    o = exportOf("history", {"-o", target});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_TRUE(readAll(target).starts_with("{")) << readAll(target);

    const std::string victim = h.tree.file("io/victim.txt", 5);
    const std::string link = h.tree.symlink("io/link.json", victim);
    const std::string fifo = h.tree.path("io/fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const std::string folder = h.tree.dir("io/folder");
    struct Refusal {
        std::string path, said;
    };
    for (const auto& r : std::vector<Refusal>{{link, "symbolic link"},
                                              {fifo, "not a regular file"},
                                              {folder, "not a regular file"}}) {
        o = exportOf("history", {"-o", r.path});
        EXPECT_EQ(o.status, 2) << r.path;
        EXPECT_NE(o.err.find(r.said), std::string::npos) << o.err;
    }
    EXPECT_EQ(readAll(victim), "xxxxx");
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_TRUE(std::filesystem::is_fifo(fifo));

    // A folder that is not there: nothing is written, and the reason is said.
    o = exportOf("history", {"-o", h.tree.path("io/missing/out.json")});
    EXPECT_EQ(o.status, 1);
    EXPECT_NE(o.err.find("could not be written"), std::string::npos) << o.err;
}

TEST_F(ExportCommandTest, UsageErrorsAreRefused) {
    for (const auto& args : std::vector<std::vector<std::string>>{
             {"export"}, {"export", "everything"}, {"export", "scan", "--format", "xml"}}) {
        const Outcome o = h.velmora(args);
        EXPECT_EQ(o.status, 2) << args.back() << ": " << o.err;
        EXPECT_EQ(o.out, "");
    }
}

TEST_F(ExportCommandTest, MessagesFollowTheRunLanguage) {
    const Outcome o =
        h.velmora({"--language", "de", "export", "history", "-o", h.tree.dir("io/de")});
    EXPECT_EQ(o.status, 2);
    EXPECT_EQ(o.err.find("not a regular file"), std::string::npos) << o.err;
}

}  // namespace
}  // namespace velmora::test
