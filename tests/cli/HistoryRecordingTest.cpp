// What the history promises a person: a cleanup that could not be recorded is reported with
// everything needed to find the items, and `restore --last` never mistakes an older cleanup for
// it; `history --verify` never claims to have checked a file it could not read, and notices
// entries removed from the newest end; a restore never takes anything but one trashed item.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>

#include "CleanerCore/base/Date.h"
#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/platform/FileIdentity.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "cli/CommandRunner.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;
using test::CommandHome;
using test::Outcome;

struct HistoryHome : CommandHome {
    std::string folder = dataHome + "/Velmora";
    std::string historyFile = folder + "/cleanup-audit-log.json";

    explicit HistoryHome(const std::vector<std::string>& caches) {
        for (const auto& c : caches) oldCacheFile(c + "/inner/data", "data of " + c);
    }
    Outcome clean(const std::string& name) { return velmora({"clean", cache(name), "--yes"}); }
    nlohmann::json history() const {
        return nlohmann::json::parse(test::readAll(historyFile), nullptr, false);
    }
    void writeHistory(const nlohmann::json& j) const {
        std::ofstream(historyFile, std::ios::binary | std::ios::trunc) << j.dump(2);
    }
};

TEST(HistoryRecordingTest, AnUnrecordedCleanupIsReportedAndRestoreLastRefusesToGuess) {
    struct Case {
        const char* what;
        std::function<void(HistoryHome&)> breakHistory;
    };
    const std::vector<Case> cases = {
        {"lock file is a folder",
         [](HistoryHome& h) {
             fs::remove(h.historyFile + ".lock");
             fs::create_directory(h.historyFile + ".lock");
         }},
        {"lock file is a link",
         [](HistoryHome& h) {
             fs::remove(h.historyFile + ".lock");
             fs::create_symlink(h.tree.path("io/elsewhere"), h.historyFile + ".lock");
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        HistoryHome h({"first", "second", "third"});
        ASSERT_EQ(h.clean("first").status, 0);
        c.breakHistory(h);

        const Outcome o = h.clean("second");
        EXPECT_EQ(o.status, 1) << o.err;
        EXPECT_NE(o.err.find("could not be written, so this cleanup is not recorded"),
                  std::string::npos)
            << o.err;
        EXPECT_NE(o.out.find("Moved to Trash: ~/.cache/second\n"
                             "    now at ~/.local/share/Trash/files/second\n"),
                  std::string::npos)
            << o.out;
        EXPECT_EQ(o.out.find("velmora restore --last"), std::string::npos);

        // The history still ends with the first cleanup; --last must not put that one back.
        const Outcome restore = h.velmora({"restore", "--last", "--yes"});
        EXPECT_EQ(restore.status, 2) << restore.err;
        EXPECT_NE(restore.err.find("could not be recorded in the history"), std::string::npos)
            << restore.err;
        EXPECT_NE(restore.err.find("--entry"), std::string::npos);
        EXPECT_TRUE(fs::exists(h.trashFiles + "/first"));
        EXPECT_TRUE(fs::exists(h.trashFiles + "/second"));

        // Once a cleanup is recorded again, --last means that one.
        fs::remove(h.historyFile + ".lock");
        ASSERT_EQ(h.clean("third").status, 0);
        const Outcome again = h.velmora({"restore", "--last", "--yes"});
        EXPECT_EQ(again.status, 0) << again.err;
        EXPECT_TRUE(fs::exists(h.cache("third/inner/data")));
        EXPECT_TRUE(fs::exists(h.trashFiles + "/first"));
    }
}

TEST(HistoryRecordingTest, VerifyRefusesToVouchForAHistoryItCouldNotRead) {
    HistoryHome source({"a", "b"});
    ASSERT_EQ(source.clean("a").status, 0);
    ASSERT_EQ(source.clean("b").status, 0);
    const std::string good = test::readAll(source.historyFile);

    struct Case {
        const char* what;
        std::function<void(HistoryHome&)> damage;
    };
    const auto text = [](std::string t) {
        return [t](HistoryHome& h) { std::ofstream(h.historyFile, std::ios::binary) << t; };
    };
    // Each way of reading fails once (a damaged file, the cap, not UTF-8, not a regular file);
    // the store's own tests cover the other kinds of damage.
    const std::vector<Case> cases = {
        {"trailing garbage", text(good + "\n}garbage")},
        {"over 1 MiB", text(good + std::string(2 << 20, ' '))},
        {"invalid UTF-8", text("[\"\xff\xfe\"]")},
        {"a FIFO", [](HistoryHome& h) { ASSERT_EQ(::mkfifo(h.historyFile.c_str(), 0600), 0); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        HistoryHome h({});
        fs::create_directories(h.folder);
        c.damage(h);
        const Outcome o = h.velmora({"history", "--verify"});
        SCOPED_TRACE(o.out);
        EXPECT_EQ(o.status, 1);
        EXPECT_NE(o.out.find("could not be read"), std::string::npos);
        EXPECT_EQ(o.out.find("checked records"), std::string::npos);
        // The sentence names the backup, and the backup is there.
        const std::string aside = "moved aside to ";
        const size_t at = o.out.find(aside);
        ASSERT_NE(at, std::string::npos);
        const size_t from = at + aside.size();
        const std::string backup = o.out.substr(from, o.out.find_first_of(",;", from) - from);
        EXPECT_TRUE(fs::symlink_status(backup).type() != fs::file_type::not_found) << backup;
    }
}

TEST(HistoryRecordingTest, VerifyNoticesEntriesRemovedFromTheNewestEnd) {
    struct Case {
        const char* what;
        std::function<void(HistoryHome&)> remove;
    };
    const std::vector<Case> cases = {
        {"newest entry removed",
         [](HistoryHome& h) {
             nlohmann::json j = h.history();
             j.erase(j.begin());
             h.writeHistory(j);
         }},
        {"history file removed", [](HistoryHome& h) { fs::remove(h.historyFile); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        HistoryHome h({"a", "b"});
        ASSERT_EQ(h.clean("a").status, 0);
        ASSERT_EQ(h.clean("b").status, 0);
        const std::string newest = h.history()[0]["id"];
        ASSERT_EQ(h.velmora({"history", "--verify"}).status, 0);
        c.remove(h);
        for (int run = 0; run < 2; ++run) {  // and it stays reported
            const Outcome o = h.velmora({"history", "--verify"});
            EXPECT_EQ(o.status, 1) << o.out;
            EXPECT_NE(o.out.find("newest entry that was recorded (" + newest + ")"),
                      std::string::npos)
                << o.out;
        }
    }
}

// A forged history entry points a restore at the Trash's `files` folder itself, or at something
// deep inside a trashed folder, with the identity of that object so the identity check passes.
TEST(HistoryRecordingTest, RestoreTakesOnlyAnItemDirectlyInsideTheTrash) {
    struct Case {
        const char* what;
        std::string relativeToFiles;  // the forged place, below Trash/files
    };
    for (const auto& c : std::vector<Case>{{"files folder", ""}, {"deeper item", "/a/inner"}}) {
        SCOPED_TRACE(c.what);
        HistoryHome h({"a"});
        ASSERT_EQ(h.clean("a").status, 0);
        const std::string forged = h.trashFiles + c.relativeToFiles;
        nlohmann::json j = h.history();
        auto& item = j[0]["cleanedItems"][0];
        item["destinationURL"] = FileURL(forged, true).absoluteString();
        item["restoreSourceIdentity"] = nlohmann::json(*captureIdentity(forged));
        h.writeHistory(j);
        fs::remove(h.folder + "/cleanup-audit-head.json");

        const Outcome o = h.velmora({"restore", "--last", "--yes"});
        EXPECT_EQ(o.status, 1) << o.out << o.err;
        EXPECT_NE(o.out.find("not an item directly inside the Trash's files folder"),
                  std::string::npos)
            << o.out;
        EXPECT_TRUE(fs::is_directory(forged));
        EXPECT_TRUE(fs::exists(h.trashFiles + "/a/inner/data"));
        EXPECT_FALSE(fs::exists(h.cache("a")));
    }
}

TEST(HistoryRecordingTest, RestoreFromALinkedTrashSaysTheTrashIsALink) {
    HistoryHome h({"a"});
    ASSERT_EQ(h.clean("a").status, 0);
    const std::string trash = h.dataHome + "/Trash";
    fs::rename(trash, h.dataHome + "/RealTrash");
    fs::create_directory_symlink(h.dataHome + "/RealTrash", trash);

    const Outcome o = h.velmora({"restore", "--last", "--yes"});
    EXPECT_EQ(o.status, 1) << o.err;
    EXPECT_NE(o.out.find("the Trash folder " + trash + " is a symbolic link"), std::string::npos)
        << o.out;
    EXPECT_EQ(o.out.find("outside the active scan scope"), std::string::npos) << o.out;
    EXPECT_FALSE(fs::exists(h.cache("a")));
}

// A clock that once ran ahead left a cleanup dated next month. The cleanup run now is recorded
// at the time it finished (below that one), and `restore --last` refuses to take the future one
// for it.
TEST(HistoryRecordingTest, RestoreLastRefusesWhenTheNewestCleanupIsDatedInTheFuture) {
    HistoryHome h({"early", "now"});
    ASSERT_EQ(h.clean("early").status, 0);
    nlohmann::json j = h.history();
    const double future = j[0]["occurredAt"].get<double>() + 30 * 86400.0;
    j[0]["occurredAt"] = future;
    h.writeHistory(j);
    const double before = currentDate();
    ASSERT_EQ(h.clean("now").status, 0);
    j = h.history();
    ASSERT_EQ(j.size(), 2u);
    EXPECT_EQ(j[0]["occurredAt"].get<double>(), future);
    EXPECT_GE(j[1]["occurredAt"].get<double>(), before);
    EXPECT_LE(j[1]["occurredAt"].get<double>(), currentDate());

    const Outcome o = h.velmora({"restore", "--last", "--yes"});
    EXPECT_EQ(o.status, 2) << o.out << o.err;
    EXPECT_NE(o.err.find("later than now"), std::string::npos) << o.err;
    EXPECT_FALSE(fs::exists(h.cache("early")));
    EXPECT_FALSE(fs::exists(h.cache("now")));
}

}  // namespace
}  // namespace velmora
