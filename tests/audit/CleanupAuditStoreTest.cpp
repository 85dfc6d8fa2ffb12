// The history file: creation, linking, normalization, the read cap, damaged files, retention and
// failed writes. Every test works in its own throw-away folder.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <functional>
#include <memory>

#include "CleanerCore/audit/CleanupAuditChain.h"
#include "CleanerCore/audit/CleanupAuditDecoding.h"
#include "CleanerCore/audit/CleanupAuditDigest.h"
#include "CleanerCore/audit/CleanupAuditJson.h"
#include "CleanerCore/audit/CleanupAuditMarkers.h"
#include "CleanerCore/audit/CleanupAuditStore.h"
#include "audit/AuditTestSupport.h"
#include "support/FailingSystemCalls.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::entryAt;
using test::idsOf;
using test::namesIn;
using test::readFile;
using test::writeFile;

constexpr const char* kName = "cleanup-audit-log.json";

class CleanupAuditStoreTest : public ::testing::Test {
  protected:
    std::string folder() const { return tree.path("data/Velmora"); }
    std::string file() const { return folder() + "/" + kName; }
    CleanupAuditStore store() const { return CleanupAuditStore(file()); }

    /// Names of the backups made for `reason`, checked against the naming rule.
    std::vector<std::string> backups(const std::string& reason) const {
        std::vector<std::string> out;
        const std::string prefix = std::string(kName) + "." + reason + "-";
        for (const auto& name : namesIn(folder())) {
            if (!name.starts_with(prefix)) continue;
            // <unix seconds>-<UUID>
            const std::string rest = name.substr(prefix.size());
            const auto dash = rest.find('-');
            EXPECT_NE(dash, std::string::npos) << name;
            EXPECT_LE(std::abs(std::stod(rest.substr(0, dash)) - test::unixNow()), 600) << name;
            EXPECT_EQ(canonicalUUIDText(rest.substr(dash + 1)), rest.substr(dash + 1)) << name;
            out.push_back(folder() + "/" + name);
        }
        return out;
    }

    /// Stores `entries` as given, linked oldest to newest as appends would have linked them.
    void storeLinked(std::vector<CleanupAuditEntry>& newestFirst) const {
        std::optional<std::string> previous;
        for (auto it = newestFirst.rbegin(); it != newestFirst.rend(); ++it) {
            it->chainLink = CleanupAuditChainLink{entryDigest(*it, previous), previous};
            previous = it->chainLink->entryDigest;
        }
        writeFile(file(), *encodeCleanupAuditHistory(newestFirst));
    }

    std::vector<CleanupAuditEntry> onDisk() const {
        auto decoded = decodeCleanupAuditHistory(readFile(file()));
        EXPECT_TRUE(decoded.ok() && decoded->wasStrict);
        return decoded.ok() ? decoded->entries : std::vector<CleanupAuditEntry>{};
    }

    test::TestTree tree;
};

TEST_F(CleanupAuditStoreTest, FirstAppendCreatesTheFolderAndAnUnlinkedFirstEntry) {
    EXPECT_TRUE(store().recentEntries().empty());
    EXPECT_FALSE(std::filesystem::exists(tree.path("data")));  // reading creates nothing

    const CleanupAuditEntry e = entryAt(100, 2);
    const auto kept = store().append(e);
    ASSERT_EQ(kept.size(), 1u);
    ASSERT_TRUE(kept[0].chainLink);
    EXPECT_FALSE(kept[0].chainLink->previousEntryDigest);
    EXPECT_EQ(kept[0].chainLink->entryDigest, entryDigest(e, std::nullopt));
    EXPECT_EQ(onDisk(), kept);
    EXPECT_EQ(store().recentEntries(), kept);

    struct stat st {};
    ASSERT_EQ(::stat(folder().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    ASSERT_EQ(::stat(file().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    EXPECT_EQ(namesIn(folder()), (std::vector<std::string>{"cleanup-audit-head.json", kName,
                                                           std::string(kName) + ".lock"}));
    EXPECT_EQ(readFile(file()).substr(0, 9), "[\n  {\n   ");  // pretty, one array
}

TEST_F(CleanupAuditStoreTest, AppendsSortNewestFirstAndLinkToTheEntryAfterThem) {
    // An unlinked entry from before links were written: the chain starts above it.
    writeFile(file(), *encodeCleanupAuditHistory({entryAt(5)}));
    auto s = store();
    const auto a = entryAt(10), b = entryAt(20), c = entryAt(30);
    EXPECT_FALSE(s.append(a)[0].chainLink->previousEntryDigest);
    EXPECT_EQ(verifyChain(s.append(c)),
              (CleanupAuditChainReport{CleanupAuditChainStatus::unverifiable, 2, 1, {}}));
    // An entry older than the newest lands in its place and links to the entry after it ...
    const auto kept = s.append(b);
    EXPECT_EQ(idsOf(kept), (std::vector{c.id, b.id, a.id, kept[3].id}));
    EXPECT_EQ(kept[1].chainLink->previousEntryDigest, kept[2].chainLink->entryDigest);
    // ... which breaks the link of the newer one: that is what the check reports.
    EXPECT_EQ(verifyChain(kept).firstBrokenEntryID, c.id);

    // Equal dates: the greater upper-case id first.
    auto x = entryAt(40), y = entryAt(40);
    x.id = "00000000-0000-4000-8000-000000000000";
    y.id = "ffffffff-ffff-4fff-bfff-ffffffffffff";
    EXPECT_EQ(idsOf(s.append(x))[0], x.id);
    EXPECT_EQ(idsOf(s.append(y))[0], "FFFFFFFF-FFFF-4FFF-BFFF-FFFFFFFFFFFF");
}

TEST_F(CleanupAuditStoreTest, ReadCapIsOneMebibyteExactly) {
    std::vector<CleanupAuditEntry> one = {entryAt(1)};
    storeLinked(one);
    std::string text = readFile(file());
    text.append(1'048'576 - text.size(), ' ');
    writeFile(file(), text);
    EXPECT_EQ(store().recentEntries(), one);
    EXPECT_TRUE(backups("oversized").empty());
    EXPECT_EQ(readFile(file()), *encodeCleanupAuditHistory(one));  // normalized on load
    // One byte more is set aside: see the damaged-file table.
}

TEST_F(CleanupAuditStoreTest, MalformedElementIsDroppedAndTheOriginalKept) {
    std::vector<CleanupAuditEntry> good = {entryAt(3), entryAt(1)};
    storeLinked(good);
    nlohmann::json array = nlohmann::json::parse(readFile(file()));
    array.insert(array.begin() + 1, nlohmann::json{{"id", "not an entry"}});
    const std::string damaged = array.dump(2);
    writeFile(file(), damaged);

    EXPECT_EQ(store().recentEntries(), good);
    const auto aside = backups("undecodable");
    ASSERT_EQ(aside.size(), 1u);
    EXPECT_EQ(readFile(aside[0]), damaged);
    EXPECT_EQ(onDisk(), good);  // written back without the element
    EXPECT_EQ(verifyChain(good).status, CleanupAuditChainStatus::intact);
}

TEST_F(CleanupAuditStoreTest, DamagedFilesAreSetAsideAndTheHistoryStartsAgain) {
    // Text files are set aside byte for byte; the others as they are.
    std::string overCap = *encodeCleanupAuditHistory({entryAt(1)});
    overCap.append(1'048'577 - overCap.size(), ' ');
    struct Case {
        const char* what;
        std::string text;
        std::function<void(const std::string&)> make;
        const char* reason;
    };
    const std::vector<Case> cases = {
        {"not JSON", "cleanup log\n", nullptr, "undecodable"},
        {"truncated", "[{\"id\": \"0F1E", nullptr, "undecodable"},
        {"no element decodes", "[1, {}, []]", nullptr, "undecodable"},
        {"200,000 nested arrays", std::string(200000, '['), nullptr, "undecodable"},
        {"one byte over the read cap", overCap, nullptr, "oversized"},
        {"a folder", "", [](auto& f) { std::filesystem::create_directories(f + "/x"); },
         "unreadable"},
        {"a link", "",
         [this](auto& f) { ::symlink(tree.file("elsewhere.json").c_str(), f.c_str()); },
         "unreadable"},
        {"a named pipe", "", [](auto& f) { ::mkfifo(f.c_str(), 0600); }, "unreadable"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::filesystem::remove_all(folder());
        std::filesystem::create_directories(folder());
        c.make ? c.make(file()) : writeFile(file(), c.text);
        EXPECT_TRUE(store().recentEntries().empty());
        const auto aside = backups(c.reason);
        ASSERT_EQ(aside.size(), 1u);
        EXPECT_TRUE(c.make || readFile(aside[0]) == c.text);
        EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(file())));
        // The next cleanup writes a fresh file.
        EXPECT_EQ(store().append(entryAt(1)).size(), 1u);
        EXPECT_EQ(onDisk().size(), 1u);
    }
    // An empty file is an empty history, left as it is.
    writeFile(file(), "");
    EXPECT_TRUE(store().recentEntries().empty());
    EXPECT_EQ(readFile(file()), "");
    EXPECT_TRUE(backups("undecodable").empty());
    EXPECT_EQ(store().append(entryAt(1)).size(), 1u);
}

TEST_F(CleanupAuditStoreTest, RetentionKeepsTheNewestHundredOrTheLargerLimit) {
    std::vector<CleanupAuditEntry> stored;
    for (int i = 101; i >= 1; --i) stored.push_back(entryAt(i, 0));
    storeLinked(stored);

    // Reading normalizes: the oldest of 101 goes, but a small limit does not shrink the file.
    auto s = store();
    EXPECT_EQ(s.recentEntries(10).size(), 10u);
    auto kept = onDisk();
    ASSERT_EQ(kept.size(), 100u);
    EXPECT_EQ(kept.back().id, stored[99].id);
    EXPECT_EQ(verifyChain(kept).status, CleanupAuditChainStatus::intact);

    const auto newest = entryAt(500, 0);
    kept = s.append(newest);
    ASSERT_EQ(kept.size(), 100u);
    EXPECT_EQ(kept.front().id, newest.id);
    EXPECT_EQ(kept.back().id, stored[98].id);
    EXPECT_EQ(onDisk(), kept);
    EXPECT_EQ(verifyChain(kept).status, CleanupAuditChainStatus::intact);

    // A larger limit keeps more; a limit below 1 records nothing.
    EXPECT_EQ(s.append(entryAt(501, 0), 150).size(), 101u);
    const std::string before = readFile(file());
    EXPECT_TRUE(s.append(entryAt(502, 0), 0).empty());
    EXPECT_TRUE(s.recentEntries(0).empty());
    EXPECT_EQ(readFile(file()), before);
}

// A write that fails part-way, or a lock that cannot be taken, leaves the file, the head beside
// it and the folder as they were, and the caller still sees the list it built; only an entry
// that reached the disk becomes the head.
TEST_F(CleanupAuditStoreTest, FailedWritesLeaveTheOldFileByteIdentical) {
    store().append(entryAt(1, 3));
    const std::string before = readFile(file());
    const auto namesBefore = namesIn(folder());
    const auto headBefore = readCleanupAuditHead(file());
    ASSERT_TRUE(headBefore);
    EXPECT_EQ(headBefore->entryDigest, onDisk()[0].chainLink->entryDigest);
    using test::FailingCall;
    auto failing = [](FailingCall call) {
        return [call] { return std::make_shared<test::FailingSystemCalls>(call); };
    };
    const std::string lock = file() + ".lock";
    const std::vector<std::pair<const char*, std::function<std::shared_ptr<void>()>>> cases = {
        {"openFolder", failing(FailingCall::openFolder)},
        {"createFile", failing(FailingCall::createFile)},
        {"write", failing(FailingCall::write)},
        {"fsync", failing(FailingCall::fsync)},
        {"close", failing(FailingCall::close)},
        {"renameat", failing(FailingCall::renameat)},
        {"lock file is a folder",
         [lock] {
             ::unlink(lock.c_str());
             std::filesystem::create_directory(lock);
             return std::shared_ptr<void>(nullptr, [lock](void*) { ::rmdir(lock.c_str()); });
         }},
    };
    for (const auto& [what, fail] : cases) {
        SCOPED_TRACE(what);
        const auto e = entryAt(2, 3);
        {
            const auto failure = fail();
            const CleanupAuditAppendResult result = store().recordAtCurrentTime(e);
            EXPECT_FALSE(result.written);
            ASSERT_EQ(result.entries.size(), 2u);
            EXPECT_EQ(result.entries[0].id, e.id);
            EXPECT_EQ(readFile(file()), before);
            EXPECT_EQ(namesIn(folder()), namesBefore);  // no temporary file left behind
        }
        EXPECT_EQ(readCleanupAuditHead(file()), headBefore);
    }
    // Usable again (the lock file is made anew): written, and the new head.
    const auto e = entryAt(3);
    EXPECT_TRUE(store().recordAtCurrentTime(e).written);
    EXPECT_EQ(onDisk()[0].id, e.id);
    EXPECT_EQ(readCleanupAuditHead(file())->entryID, e.id);
    // A folder that cannot be created: nothing written, nothing reported.
    tree.file("blocked");
    CleanupAuditStore blocked(tree.path("blocked/Velmora/") + kName);
    EXPECT_EQ(blocked.append(entryAt(1)).size(), 1u);
}

TEST_F(CleanupAuditStoreTest, EntriesThatCannotBeEncodedChangeNothing) {
    store().append(entryAt(1));
    const std::string before = readFile(file());
    auto noUUID = entryAt(2);
    noUUID.id = "history-2";
    auto infiniteItemDate = entryAt(3);
    infiniteItemDate.cleanedItems[0].candidate.lastModified = INFINITY;
    for (const auto& e : {noUUID, entryAt(NAN), infiniteItemDate}) {
        EXPECT_TRUE(store().append(e).empty());
    }
    EXPECT_EQ(readFile(file()), before);
}

TEST_F(CleanupAuditStoreTest, TheFileNeverOutgrowsTheReadCap) {
    // About 300 KB per entry (570 bytes per item): three fit under 1 MiB, four do not.
    auto s = store();
    std::vector<std::string> ids;
    for (int i = 0; i < 4; ++i) {
        auto e = entryAt(10 + i, 530);
        ids.insert(ids.begin(), e.id);
        const auto kept = s.append(e);
        EXPECT_EQ(kept.front().id, e.id);
        EXPECT_LE(std::filesystem::file_size(file()), 1'048'576u);
    }
    auto kept = s.recentEntries();
    ASSERT_EQ(kept.size(), 3u);
    EXPECT_EQ(idsOf(kept), std::vector(ids.begin(), ids.begin() + 3));
    EXPECT_EQ(verifyChain(kept).status, CleanupAuditChainStatus::intact);

    // A cleanup too large for the file even alone keeps its figures but not its items.
    const auto huge = entryAt(100, 2500);
    kept = s.append(huge);
    ASSERT_GE(kept.size(), 1u);
    EXPECT_EQ(kept[0].id, huge.id);
    EXPECT_TRUE(kept[0].cleanedItems.empty());
    EXPECT_EQ(kept[0].succeededItemCount, 2500);
    EXPECT_EQ(s.recentEntries(), kept);
    EXPECT_LE(std::filesystem::file_size(file()), 1'048'576u);
    EXPECT_EQ(verifyChain(kept).status, CleanupAuditChainStatus::intact);
}

// The time recorded is when the operation finished, whatever the stored entries say: an entry
// from a clock that ran ahead stays newest, and the new entry is sorted and linked below it.
TEST_F(CleanupAuditStoreTest, AppendAtCurrentTimeRecordsTheTimeEvenBelowAFutureEntry) {
    auto s = store();
    s.append(entryAt(1));
    const auto future = entryAt(currentDate() + 1e6);  // recorded under a clock set ahead
    s.append(future);
    const double start = currentDate();
    const auto kept = s.appendAtCurrentTime(entryAt(0));
    ASSERT_EQ(kept.size(), 3u);
    EXPECT_EQ(kept[0].id, future.id);
    EXPECT_GE(kept[1].occurredAt, start);
    EXPECT_LE(kept[1].occurredAt, currentDate());
    // Linked to the entry right after it, as every append links.
    ASSERT_TRUE(kept[1].chainLink && kept[2].chainLink);
    EXPECT_EQ(kept[1].chainLink->previousEntryDigest, kept[2].chainLink->entryDigest);
}

TEST(CleanupAuditStorePathTest, DefaultFileIsInTheDataFolderElseTheTemporaryFolder) {
    // The data folder itself is where the command tests find the history.
    UserEnvironment env;
    env.temporaryFolder = "/tmp/t";
    EXPECT_EQ(CleanupAuditStore::defaultFilePath(env), "/tmp/t/Velmora/cleanup-audit-log.json");
    EXPECT_EQ(CleanupAuditStore("/a/b/").lockFilePath(), "/a/b.lock");
}

}  // namespace
}  // namespace velmora
