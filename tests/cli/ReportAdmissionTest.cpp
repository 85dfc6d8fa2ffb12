// `velmora clean --report FILE` given a report that was edited or is not a report at all: a
// report can select nothing that a scan of the same locations would not offer, implausible sizes
// and files that are not reports are refused before anything is touched, and the totals the
// commands print count every byte once.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "CleanerCore/base/FileURL.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "cli/CommandRunner.h"
#include "support/Files.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using test::CommandHome;
using test::Outcome;

// The candidate of `report` at `path`.
const json& candidateAt(const json& report, const std::string& path) {
    for (const auto& c : report.at("candidates")) {
        if (test::pathOfFileURL(c.at("url")) == path) return c;
    }
    ADD_FAILURE() << "no candidate " << path;
    static const json none;
    return none;
}

TEST(ReportAdmissionTest, AnEditedReportCannotSelectWhatTheScanWouldNotOffer) {
    CommandHome h;
    h.oldCacheFile("real/data", std::string(5000, 'r'));
    h.oldCacheFile("outer/inner/data", "inner");
    h.oldCacheFile(".hidden", "hidden");
    json report = h.scan();
    ASSERT_EQ(report.at("candidates").size(), 2u);  // real, outer
    h.oldCacheFile("fresh", "written just now");
    h.tree.setMtime("home/.cache/fresh", test::unixNow() - 5);

    // Every forged entry comes without a recorded identity or date, as an editor would leave it.
    struct Case {
        std::string path;
        std::string reason;  // empty: the item is cleaned
    };
    const std::string outside = "Path is outside the active scan scope: ";
    const std::vector<Case> cases = {
        {h.cache(""), outside + h.cache("").substr(0, h.cache("").size() - 1)},  // the root
        {h.cache("outer/inner"), outside + h.cache("outer/inner")},
        {h.cache(".hidden"), outside + h.cache(".hidden")},
        {h.cache("fresh"),
         "Refusing to clean because the item changed since the scan result: " + h.cache("fresh")},
        // A real candidate stripped of its identity is still what the scan offers.
        {h.cache("real"), ""},
    };
    const json templ = report["candidates"][0];
    for (const auto& c : cases) {
        std::string path = c.path;
        if (path.size() > 1 && path.back() == '/') path.pop_back();
        SCOPED_TRACE(path);
        const json forged = test::forgedCandidate(templ, path);
        json& listed = report["candidates"];
        for (size_t i = listed.size(); i-- > 0;) {
            if (listed[i]["id"] == forged["id"]) listed.erase(i);
        }
        listed.push_back(forged);
        h.save(report.dump());

        Outcome o =
            h.velmora({"clean", "--report", h.reportFile, "--id", forged["id"], "--yes", "--json"});
        const json result = json::parse(o.out.empty() ? "{}" : o.out);
        if (c.reason.empty()) {
            EXPECT_EQ(o.status, 0) << o.err;
            EXPECT_FALSE(fs::exists(path));
            continue;
        }
        EXPECT_EQ(o.status, 1) << o.err;
        ASSERT_EQ(result.value("failedItems", json::array()).size(), 1u) << o.out;
        EXPECT_EQ(result["failedItems"][0]["reason"], c.reason);
        EXPECT_TRUE(fs::exists(path));
        EXPECT_TRUE(fs::exists(h.cache("outer/inner/data")));
        EXPECT_FALSE(fs::exists(h.trashFiles) && !fs::is_empty(h.trashFiles));
    }
}

TEST(ReportAdmissionTest, ImplausibleReportsAndFilesThatAreNotReportsAreRefused) {
    CommandHome h;
    h.oldCacheFile("a/data", "a");
    const json report = h.scan();
    const std::string id = report["candidates"][0]["id"];
    const auto before = h.snapshot();

    struct Case {
        std::string label;
        std::function<std::string()> makeReport;  // returns the path to give to --report
        std::string message;
    };
    auto withSizes = [&](std::vector<json> sizes) {
        return [&h, report, sizes] {
            json edited = report;
            const json c = edited["candidates"][0];
            edited["candidates"] = json::array();
            for (const json& size : sizes) {
                json copy = c;
                copy["sizeBytes"] = size;
                edited["candidates"].push_back(copy);
            }
            h.save(edited.dump());
            return h.reportFile;
        };
    };
    const std::vector<Case> cases = {
        {"negative size", withSizes({-9'223'372'036'854'775'807}), "is negative"},
        {"absurd size", withSizes({int64_t{1} << 62}), "larger than 1 EiB"},
        {"sum overflows", withSizes(std::vector<json>(8, int64_t{1} << 60)),
         "add up to more than can be counted"},
        {"beyond 64 bits", withSizes({json::parse("18446744073709551615")}),
         "a size must be a whole number of bytes"},
        {"huge fraction", withSizes({1e30}), "a size must be a whole number of bytes"},
        {"fraction", withSizes({2.5}), "a size must be a whole number of bytes"},
        {"folder", [&h] { return h.tree.dir("io/folder"); }, "is a folder"},
        {"device", [] { return std::string("/dev/zero"); }, "is not a regular file"},
        {"fifo",
         [&h] {
             const std::string fifo = h.tree.path("io/fifo");
             EXPECT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
             return fifo;
         },
         "is not a regular file"},
        {"oversized",
         [&h] {
             const std::string big = h.tree.path("io/big.json");
             const int fd = ::open(big.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
             EXPECT_EQ(::ftruncate(fd, (int64_t{64} << 20) + 1), 0);  // sparse
             ::close(fd);
             return big;
         },
         "larger than 64 MiB"},
    };
    for (const auto& c : cases) {
        Outcome o = h.velmora({"clean", "--report", c.makeReport(), "--id", id, "--yes"});
        SCOPED_TRACE(c.label + "\n" + o.err);
        EXPECT_EQ(o.status, 2);
        EXPECT_NE(o.err.find(c.message), std::string::npos);
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(h.snapshot(), before);
    }
}

TEST(ReportAdmissionTest, NestedCandidatesAreCountedOnceInEveryTotal) {
    CommandHome h;
    // In direct mode ~/.cache/pip is an entry of ~/.cache and a root of its own.
    h.oldCacheFile("pip/http-v2/blob", std::string(40000, 'p'));
    h.oldCacheFile("pip/wheels", std::string(9000, 'w'));
    const json report = h.scan({"--mode", "direct", "--allow-direct"});
    const int64_t outer = candidateAt(report, h.cache("pip"))["sizeBytes"];
    const int64_t inner = candidateAt(report, h.cache("pip/http-v2"))["sizeBytes"];
    ASSERT_GT(inner, 0);
    ASSERT_GT(outer, inner);

    Outcome scan = h.velmora({"scan", "--mode", "direct", "--allow-direct"});
    EXPECT_NE(scan.out.find(", " + formatBytes(outer) + " in total;"), std::string::npos)
        << scan.out;

    Outcome clean = h.velmora({"clean", "--mode", "direct", "--allow-direct", "--report",
                               h.reportFile, h.cache("pip/http-v2"), h.cache("pip"), "--yes"});
    EXPECT_NE(clean.out.find("2 items, " + formatBytes(outer) + " selected."), std::string::npos)
        << clean.out;
    Outcome history = h.velmora({"history", "--json"});
    const json entries = json::parse(history.out);
    ASSERT_EQ(entries.size(), 1u) << history.out;
    EXPECT_EQ(entries[0]["requestedBytes"], outer);
}

TEST(ReportAdmissionTest, HardLinksToOneFileCountItsBytesOnce) {
    CommandHome h;
    const std::string file = h.oldCacheFile("links/0", std::string(64 * 1024, 'l'));
    for (int i = 1; i < 300; ++i) {
        ASSERT_EQ(::link(file.c_str(), h.cache("links/" + std::to_string(i)).c_str()), 0);
    }
    h.tree.setMtimeRecursive("home/.cache/links", test::unixNow() - 3 * 86400);
    const int64_t once = test::allocatedBytes(file);
    const json report = h.scan();
    EXPECT_EQ(candidateAt(report, h.cache("links"))["sizeBytes"], once);

    Outcome o = h.velmora({"clean", "--delete-permanently", h.cache("links"), "--yes"});
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_NE(o.out.find("1 item (" + formatBytes(once) + ") deleted."), std::string::npos)
        << o.out;
}

}  // namespace
}  // namespace velmora
