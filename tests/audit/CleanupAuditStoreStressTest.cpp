// The history under pressure: several processes at once, a full disk, and thousands of damaged
// files. Each test works in its own throw-away folder.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <map>
#include <memory>
#include <random>
#include <set>

#include "CleanerCore/audit/CleanupAuditChain.h"
#include "CleanerCore/audit/CleanupAuditDecoding.h"
#include "CleanerCore/audit/CleanupAuditStore.h"
#include "CleanerCore/platform/UniqueFd.h"
#include "audit/AuditTestSupport.h"
#include "support/FailingSystemCalls.h"
#include "support/MountNamespace.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::entryAt;
using test::namesIn;
using test::readFile;
using test::writeFile;

constexpr const char* kName = "cleanup-audit-log.json";

TEST(CleanupAuditStoreStressTest, ProcessesAppendingAtOnceLoseNothing) {
    test::TestTree tree;
    const std::string file = tree.path("Velmora/") + kName;
    constexpr int kChildren = 4, kAppends = 30;
    // Ids fixed before forking, so that the parent knows whose entry is whose.
    std::vector<std::vector<std::string>> ids(kChildren);
    std::map<std::string, std::pair<int, int>> owner;
    for (int c = 0; c < kChildren; ++c) {
        for (int i = 0; i < kAppends; ++i) {
            ids[c].push_back(makeUUIDString());
            owner[ids[c].back()] = {c, i};
        }
    }
    std::vector<pid_t> children;
    for (int c = 0; c < kChildren; ++c) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            const CleanupAuditStore store(file);
            for (int i = 0; i < kAppends; ++i) {
                auto e = entryAt(0, 2);
                e.id = ids[c][i];
                const auto kept = store.appendAtCurrentTime(e);
                if (kept.empty() || kept[0].id != e.id) ::_exit(1);
            }
            ::_exit(0);
        }
        ASSERT_GT(pid, 0);
        children.push_back(pid);
    }
    for (pid_t pid : children) {
        int status = 0;
        ASSERT_EQ(::waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }

    const auto entries = CleanupAuditStore(file).recentEntries();
    ASSERT_EQ(entries.size(), 100u);
    EXPECT_EQ(verifyChain(entries).status, CleanupAuditChainStatus::intact);
    // The newest 100 of 120: per child, what is kept is the tail of its appends (a lost update
    // would leave a hole), and the dates strictly decrease down the list.
    std::vector<std::set<int>> keptOf(kChildren);
    for (size_t k = 0; k < entries.size(); ++k) {
        ASSERT_TRUE(owner.count(entries[k].id)) << entries[k].id;
        const auto [c, i] = owner[entries[k].id];
        EXPECT_TRUE(keptOf[c].insert(i).second);
        if (k > 0) {
            EXPECT_LT(entries[k].occurredAt, entries[k - 1].occurredAt);
        }
    }
    for (int c = 0; c < kChildren; ++c) {
        if (keptOf[c].empty()) continue;
        EXPECT_EQ(*keptOf[c].rbegin(), kAppends - 1) << c;
        EXPECT_EQ(static_cast<int>(keptOf[c].size()), kAppends - *keptOf[c].begin()) << c;
    }
}

TEST(CleanupAuditStoreStressTest, AnAppendWaitsForTheLockOfAnotherProcess) {
    test::TestTree tree;
    const CleanupAuditStore store(tree.path("Velmora/") + kName);
    store.append(entryAt(1));
    const std::string before = readFile(store.filePath());

    UniqueFd lock(::open(store.lockFilePath().c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_TRUE(lock);
    ASSERT_EQ(::flock(lock.get(), LOCK_EX), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        lock.reset();  // the inherited descriptor shares our lock; the child must not hold it
        ::_exit(store.append(entryAt(2)).size() == 2 ? 0 : 1);
    }
    ASSERT_GT(child, 0);
    // Wait until the kernel lists the child as blocked on our lock ("-> FLOCK ... <pid>").
    const std::string waiter = "-> FLOCK  ADVISORY  WRITE " + std::to_string(child) + " ";
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    bool blocked = false;
    while (!blocked && std::chrono::steady_clock::now() < deadline) {
        blocked = readFile("/proc/locks").find(waiter) != std::string::npos;
        if (!blocked) ::sched_yield();
    }
    EXPECT_TRUE(blocked);
    EXPECT_EQ(readFile(store.filePath()), before);  // nothing written while we hold it
    lock.reset();
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(store.recentEntries().size(), 2u);
}

// Appends an entry while `diskFull` (held for the append) leaves no room for it; returns the
// findings (empty: the old file is intact and no temporary file is left behind).
std::string appendWithoutRoom(const std::string& folder,
                              const std::function<std::shared_ptr<void>()>& diskFull) {
    test::ChildFindings f;
    const CleanupAuditStore store(folder + "/" + kName);
    store.append(entryAt(1, 2));
    const std::string before = readFile(store.filePath());
    const auto names = namesIn(folder);
    const auto e = entryAt(2, 40);
    {
        const auto full = diskFull();
        const auto kept = store.append(e);
        f.expect(kept.size() == 2 && kept[0].id == e.id, "the caller lost the list it built");
    }
    f.expect(readFile(store.filePath()) == before, "the old file changed");
    auto after = namesIn(folder);
    std::erase(after, "filler");
    f.expect(after == names, "a temporary file was left behind");
    return f.text;
}

TEST(CleanupAuditStoreStressTest, FullDiskLeavesTheOldFileByteIdentical) {
    test::TestTree tree;
    const std::string folder = tree.dir("Velmora");
    // A 64 KiB tmpfs over the history folder, filled up after the first append.
    const auto report = test::runInPrivateMountNamespace([&] {
        if (::mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=64k,mode=0700") != 0) {
            return std::string("mount tmpfs failed");
        }
        return appendWithoutRoom(folder, [&] {
            UniqueFd filler(::open((folder + "/filler").c_str(), O_WRONLY | O_CREAT, 0600));
            const std::string block(4096, 'f');
            while (::write(filler.get(), block.data(), block.size()) > 0) {
            }
            return std::shared_ptr<void>();
        });
    });
    if (report.status != test::kMountNamespaceUnavailable) {
        EXPECT_EQ(report.status, 0) << report.text;
        return;
    }
    // No namespaces here: the same checks with a write that fails halfway.
    std::cout << "[   NOTE   ] mount namespaces unavailable; injected write failure used\n";
    EXPECT_EQ(appendWithoutRoom(folder,
                                [] {
                                    return std::make_shared<test::FailingSystemCalls>(
                                        test::FailingCall::write, ENOSPC);
                                }),
              "");
}

// One deterministic damage of `text`.
void mutate(std::string& text, std::mt19937& rng) {
    auto pick = [&](size_t n) { return std::uniform_int_distribution<size_t>(0, n)(rng); };
    static const std::string kSyntax = "[]{}\",:\\0-e.";
    switch (pick(5)) {
        case 0:  // flip one bit
            if (!text.empty()) text[pick(text.size() - 1)] ^= static_cast<char>(1 << pick(7));
            break;
        case 1:  // truncate
            text.resize(pick(text.size()));
            break;
        case 2:  // insert structure
            text.insert(pick(text.size()), 1, kSyntax[pick(kSyntax.size() - 1)]);
            break;
        case 3: {  // duplicate a chunk elsewhere
            const size_t from = pick(text.size());
            const std::string chunk = text.substr(from, pick(200));
            text.insert(pick(text.size()), chunk);
            break;
        }
        case 4: {  // delete a chunk
            const size_t from = pick(text.size());
            text.erase(from, pick(200));
            break;
        }
        default:  // change a digit, which keeps the JSON well-formed
            for (size_t i = pick(text.size()), n = 0; n < text.size(); ++n) {
                char& c = text[(i + n) % text.size()];
                if (c >= '0' && c <= '9') {
                    c = static_cast<char>('0' + pick(9));
                    break;
                }
            }
            break;
    }
}

TEST(CleanupAuditStoreStressTest, DamagedHistoriesNeverCrashAndNeverWriteABadFile) {
    test::TestTree tree;
    const std::string folder = tree.dir("Velmora");
    const CleanupAuditStore store(folder + "/" + kName);
    for (int i = 0; i < 4; ++i) store.append(entryAt(10 + i, 2));
    const std::string valid = readFile(store.filePath());

    std::mt19937 rng(20261122);
    std::map<std::string, int> outcomes;
    for (int round = 0; round < 1000; ++round) {
        std::string text = valid;
        const int mutations = 1 + static_cast<int>(rng() % 3);
        for (int m = 0; m < mutations; ++m) mutate(text, rng);
        writeFile(store.filePath(), text);
        const int64_t limit = std::array<int64_t, 3>{1, 3, 100}[rng() % 3];

        const auto entries = store.recentEntries(limit);
        ASSERT_LE(static_cast<int64_t>(entries.size()), limit) << round;
        // Whatever was set aside holds exactly what the user had.
        for (const auto& name : namesIn(folder)) {
            if (name != kName && name != std::string(kName) + ".lock" &&
                name != "cleanup-audit-head.json") {
                ASSERT_EQ(readFile(folder + "/" + name), text) << round;
                std::filesystem::remove(folder + "/" + name);
                ++outcomes["set aside"];
            }
        }
        if (!std::filesystem::exists(store.filePath())) continue;
        const std::string after = readFile(store.filePath());
        if (after == text) {
            ++outcomes["unchanged"];
            continue;
        }
        // Written back: the file loads strictly and starts with what was returned.
        ++outcomes["written back"];
        const auto decoded = decodeCleanupAuditHistory(after);
        ASSERT_TRUE(decoded.ok() && decoded->wasStrict) << round;
        ASSERT_GE(decoded->entries.size(), entries.size()) << round;
        EXPECT_TRUE(std::equal(entries.begin(), entries.end(), decoded->entries.begin()));
    }
    for (const auto& [what, count] : outcomes) RecordProperty(what, count);
    EXPECT_GT(outcomes["set aside"], 0);
    EXPECT_GT(outcomes["written back"], 0);
}

}  // namespace
}  // namespace velmora
