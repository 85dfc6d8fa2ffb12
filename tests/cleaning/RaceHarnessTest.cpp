// Cleaning and restoring while another thread keeps swapping folders on the way (a candidate, a
// folder a candidate lives under, a folder inside a candidate, the Trash and its `files` and
// `info`) between the real directory and a symbolic link to a folder outside the home. Whatever
// the interleaving, nothing outside may change, every item must end cleaned or refused with a
// known reason, and every item reported cleaned must really be in the Trash (or gone).
//
// The swaps are atomic exchanges (renameat2 RENAME_EXCHANGE) of the real folder with a prepared
// link, so each name always exists as one or the other. The swapping is bounded by an iteration
// count per round, never by time, and the rounds re-create the tree so the windows between each
// check and each act are crossed many times.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <thread>

#include "CleanerCore/platform/FileSystem.h"
#include "cleaning/CleaningFixture.h"
#include "support/Files.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;

// Rounds per test; the deletion rounds are cheaper and their narrowest window (a folder inside a
// candidate swapped between the look and the open of the recursive removal) needs more of them.
constexpr int kTrashRounds = 80;
constexpr int kDeletionRounds = 150;
constexpr long kMaximumSwapsPerPass = 4000;
constexpr int kInsidePairs = 3;  // c1, c2 and c3 have a swapped folder inside

// What must not change about one entry below `outside`: identity, size, content, times of the
// last change (a directory's change time moves whenever an entry is added, renamed or removed
// in it, even when the change is undone).
struct EntryState {
    mode_t mode = 0;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    int64_t modifiedNs = 0, changedNs = 0;
    uint64_t contentHash = 0;
    std::string linkTarget;
    bool operator==(const EntryState&) const = default;
};
using Manifest = std::map<std::string, EntryState>;  // relative path → state

uint64_t fnv1a(const std::string& bytes) {
    uint64_t h = 1469598103934665603ULL;
    for (unsigned char c : bytes) h = (h ^ c) * 1099511628211ULL;
    return h;
}

Manifest manifestOf(const std::string& root) {
    Manifest m;
    auto ns = [](const timespec& t) { return int64_t{t.tv_sec} * 1'000'000'000 + t.tv_nsec; };
    auto add = [&](const std::string& path, const std::string& key) {
        struct stat st {};
        if (::lstat(path.c_str(), &st) != 0) {
            ADD_FAILURE() << "lstat " << path;
            return;
        }
        EntryState e{st.st_mode,     st.st_dev,      st.st_ino, st.st_size,
                     ns(st.st_mtim), ns(st.st_ctim), 0,         {}};
        if (S_ISREG(st.st_mode)) e.contentHash = fnv1a(test::readFile(path));
        if (S_ISLNK(st.st_mode)) e.linkTarget = fs::read_symlink(path).string();
        m[key] = e;
    };
    add(root, ".");
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        add(entry.path().string(), entry.path().string().substr(root.size() + 1));
    }
    return m;
}

std::string describeDifference(const Manifest& before, const Manifest& after) {
    std::string out;
    for (const auto& [k, v] : before) {
        const auto it = after.find(k);
        if (it == after.end() || !(it->second == v)) {
            out += (it == after.end() ? "  removed: " : "  changed: ") + k + "\n";
        }
    }
    for (const auto& [k, v] : after) {
        if (!before.count(k)) out += "  added: " + k + "\n";
    }
    return out;
}

std::optional<struct stat> lstatOf(const std::string& path) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0) return std::nullopt;
    return st;
}

// One name that is exchanged, again and again, between the real folder and a link to
// `outside`. The pair lives in the real parent folder, reached through a descriptor, so a swap
// of a folder above never redirects these exchanges.
struct SwapPair {
    int parentFd = -1;
    std::string name, linkName;
    bool isTrash = false;    ///< the Trash or one of its folders
    int insideOrdinal = -1;  ///< for a folder inside a candidate: which one (0, 1, ...)
};

// Which of the swapped names a pass swaps. Swapping fewer names flips each of them more often,
// so that the narrow windows (between a look at a name and the open that follows it) are hit
// too, not only the wide ones.
using PassChoice = std::function<bool(const SwapPair&)>;

// Swaps the pairs in turn until the act under test says it is done, or `limit` exchanges were
// made; then puts every real folder back under its own name.
class Swapper {
  public:
    explicit Swapper(std::vector<SwapPair> pairs) : pairs_(std::move(pairs)) {}

    /// Runs `act` while the pairs `which` chooses are swapped.
    template <typename Act>
    void runDuring(Act&& act, const PassChoice& which, long limit = kMaximumSwapsPerPass) {
        std::vector<const SwapPair*> chosen;
        for (const auto& p : pairs_) {
            if (which(p)) chosen.push_back(&p);
        }
        std::atomic<bool> done{false};
        std::atomic<bool> started{false};
        std::thread thread([&] {
            for (long i = 0; i < limit && !done.load(); ++i) {
                const SwapPair& p = *chosen[static_cast<size_t>(i) % chosen.size()];
                // Fails with ENOENT once the real folder was moved away: that is fine.
                if (::renameat2(p.parentFd, p.name.c_str(), p.parentFd, p.linkName.c_str(),
                                RENAME_EXCHANGE) == 0) {
                    ++exchanges_;
                }
                started.store(true);
            }
            started.store(true);
        });
        while (!started.load()) std::this_thread::yield();
        act();
        done.store(true);
        thread.join();
        for (const auto& p : pairs_) {
            struct stat st {};
            if (::fstatat(p.parentFd, p.name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 &&
                S_ISLNK(st.st_mode)) {
                ASSERT_EQ(::renameat2(p.parentFd, p.name.c_str(), p.parentFd, p.linkName.c_str(),
                                      RENAME_EXCHANGE),
                          0)
                    << p.name << ": " << std::strerror(errno);
            }
        }
    }

    long exchanges() const { return exchanges_; }

  private:
    std::vector<SwapPair> pairs_;
    long exchanges_ = 0;
};

// Every reason a refusal may give: the cleaning and restore checks, the Trash's own refusals,
// and the operating-system errors a vanished or swapped name produces.
bool isKnownReason(const std::string& reason) {
    using K = CleaningError::Kind;
    for (K kind :
         {K::pathNotAllowed, K::criticalPath, K::protectedUserData, K::symbolicLink,
          K::unreadableAttributes, K::cleanupCandidateChanged, K::cleanupCandidateRecentlyModified,
          K::cleanupValidationItemLimitExceeded, K::cleanupPostOperationVerificationFailed,
          K::restoreDestinationMissing, K::restoreDestinationExists,
          K::missingRestoreSourceIdentity, K::restoreSourceChanged}) {
        const std::string prefix = CleaningError{kind, {}}.description();
        if (reason.size() > prefix.size() && reason.compare(0, prefix.size(), prefix) == 0) {
            return true;
        }
    }
    // A trash folder refused for safety. When the folder is swapped back between the refused
    // open and the look that names the cause, the sentence says "not a folder" for a link.
    if (reason.rfind("Could not move to the Trash: ", 0) == 0 &&
        (reason.ends_with(" is a symbolic link, and Velmora never follows links in the Trash.") ||
         reason.ends_with(" is not a folder."))) {
        return true;
    }
    // A restore whose trash folder was swapped for a link.
    if (reason.rfind("Could not restore because the Trash folder ", 0) == 0 &&
        reason.ends_with(" is a symbolic link, and Velmora never follows links in the Trash.")) {
        return true;
    }
    // A deletion that a swap stopped part-way says that part of the item is gone.
    const std::string partly = std::string(kPartlyDeletedReasonStart) + " before the deletion";
    for (int e : {ENOENT, ENOTDIR, EISDIR, ELOOP}) {
        if (reason == std::strerror(e)) return true;
        if (reason.starts_with(partly) && reason.ends_with(std::string(": ") + std::strerror(e))) {
            return true;
        }
    }
    return false;
}

class RaceHarnessTest : public test::CleaningFixture {
  protected:
    std::string mid = cache + "/mid";
    std::string dataHome = home + "/.local/share";
    std::string trashFolder = dataHome + "/Trash";
    std::vector<std::string> middleChildren = {"m0", "m1", "m2"};
    std::vector<std::string> topChildren = {"c0", "c1", "c2", "c3"};
    std::map<std::string, int> reasonCounts;

    RaceHarnessTest() {
        // A second location whose root is a folder that is itself a candidate of ~/.cache.
        ScanLocation l = locations[0];
        l.rootURL = FileURL::directory(mid);
        l.displayName = "Middle";
        locations.push_back(l);

        // The outside world. Half of the names a followed link would lead to have look-alikes
        // there (which a fault would act on), the other half are free (where a fault would put
        // something).
        for (int i = 0; i < 12; ++i) tree.file("outside/plain-" + std::to_string(i), 100 + i);
        for (const char* n : {"m0", "m1"}) tree.file(std::string("outside/") + n + "/f", 50);
        for (const char* n : {"c0", "c1"}) tree.file(std::string("outside/files/") + n + "/f", 60);
        tree.file("outside/files/mid/m0/f", 60);
        tree.file("outside/info/c0.trashinfo", 40);
        tree.file("outside/sub/inner/f", 70);
        tree.file("outside/deep/sub/f", 70);
        tree.file("outside/inner/f", 70);
    }

    ~RaceHarnessTest() override {
        for (int fd : fds_) ::close(fd);
    }

    int openDir(const std::string& path) {
        const int fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        EXPECT_GE(fd, 0) << path;
        fds_.push_back(fd);
        return fd;
    }

    // A fresh ~/.cache and an empty Trash; the candidates in an order that varies per round.
    std::vector<CleanupCandidate> prepareRound(int round) {
        fs::remove_all(cache);
        fs::remove_all(trashFolder);
        fs::remove(dataHome + "/Trash.link");
        tree.dir("home/.local/share/Trash/files");
        tree.dir("home/.local/share/Trash/info");
        for (const auto& n : topChildren) {
            tree.file("home/.cache/" + n + "/a", 10);
            tree.file("home/.cache/" + n + "/deep/sub/b", 20);
            tree.file("home/.cache/" + n + "/deep/sub/inner/c", 20);
        }
        for (const auto& n : middleChildren) tree.file("home/.cache/mid/" + n + "/f", 30);
        auto candidates = scan();
        EXPECT_EQ(candidates.size(), topChildren.size() + 1 + middleChildren.size());
        // Every other round leaves the middle folder in place, so its children can be restored
        // into it; in the others it is cleaned before or after its children.
        if (round % 2 == 1) {
            std::erase_if(candidates, [&](const auto& c) { return c.url.path == mid; });
        }
        std::rotate(
            candidates.begin(),
            candidates.begin() + static_cast<long>(static_cast<size_t>(round) % candidates.size()),
            candidates.end());
        return candidates;
    }

    // The swapped names: a candidate of each location, the middle folder, a folder inside
    // some candidates, and the Trash with its `files` and `info`. Each link points outside.
    Swapper swapper() {
        std::vector<SwapPair> pairs;
        auto add = [&](const std::string& parent, const std::string& name, bool isTrash = false,
                       int insideOrdinal = -1) {
            tree.symlink(parent.substr(tree.root().size() + 1) + "/" + name + ".link",
                         tree.path("outside"));
            pairs.push_back({openDir(parent), name, name + ".link", isTrash, insideOrdinal});
        };
        add(cache, "c0");
        add(mid, "m0");
        add(cache, "mid");
        for (int i = 1; i <= kInsidePairs; ++i) {
            add(cache + "/" + topChildren[static_cast<size_t>(i)] + "/deep", "sub", false, i - 1);
        }
        add(dataHome, "Trash", true);
        add(trashFolder, "files", true);
        add(trashFolder, "info", true);
        return Swapper(std::move(pairs));
    }

    // Round by round: everything; the items' side (not the Trash); one folder inside a
    // candidate alone.
    static PassChoice passFor(int round) {
        switch (round % 3) {
            case 0:
                return everything;
            case 1:
                return itemSide;
        }
        const int focus = (round / 3) % kInsidePairs;
        return [focus](const SwapPair& p) { return p.insideOrdinal == focus; };
    }
    static bool everything(const SwapPair&) { return true; }
    static bool itemSide(const SwapPair& p) { return !p.isTrash; }

    void tally(const std::string& reason) {
        EXPECT_TRUE(isKnownReason(reason)) << reason;
        const size_t colon = reason.find(": ");
        ++reasonCounts[colon == std::string::npos ? reason : reason.substr(0, colon)];
    }

    // The object the candidate was scanned as, by inode, at `path`.
    static bool holdsCandidate(const std::string& path, const CleanupCandidate& c) {
        auto st = lstatOf(path);
        return st && S_ISDIR(st->st_mode) &&
               static_cast<uint64_t>(st->st_ino) == *c.resourceIdentity->systemFileNumber;
    }

    void expectInTrash(const CleanedItem& item) {
        ASSERT_TRUE(item.destinationURL);
        const std::string& dest = item.destinationURL->path;
        EXPECT_EQ(deletingLastPathComponent(dest), trashFolder + "/files");
        EXPECT_TRUE(holdsCandidate(dest, item.candidate)) << dest;
        const std::string info =
            test::readFile(trashFolder + "/info/" + lastPathComponent(dest) + ".trashinfo");
        EXPECT_NE(info.find("\nPath=" + item.candidate.url.path + "\n"), std::string::npos) << info;
        EXPECT_FALSE(holdsCandidate(item.candidate.url.path, item.candidate));
    }

    // Where an item that was not cleaned lies now: its own place, or inside the Trash when a
    // cleaned item contained it.
    static std::string currentPlaceOf(const CleanupCandidate& c, const CleanResult& result) {
        for (const auto& item : result.cleanedItems) {
            const std::string& parent = item.candidate.url.path;
            if (c.url.path.compare(0, parent.size() + 1, parent + "/") == 0) {
                return item.destinationURL->path + c.url.path.substr(parent.size());
            }
        }
        return c.url.path;
    }

    void reportCoverage(const char* what, long exchanges) {
        std::string line = std::string(what) + ": " + std::to_string(exchanges) + " exchanges;";
        for (const auto& [reason, count] : reasonCounts) {
            line += " [" + reason + "] ×" + std::to_string(count);
        }
        std::printf("%s\n", line.c_str());
        reasonCounts.clear();
    }

  private:
    std::vector<int> fds_;
};

TEST_F(RaceHarnessTest, MoveToTrashAndRestoreNeverReachOutsideWhileFoldersAreSwapped) {
    const Manifest before = manifestOf(outside);
    long exchanges = 0;
    size_t cleanedCount = 0, restoredCount = 0;
    for (int round = 0; round < kTrashRounds; ++round) {
        auto candidates = prepareRound(round);
        Swapper swaps = swapper();
        CleanResult cleaned;
        swaps.runDuring([&] { cleaned = clean(candidates); }, passFor(round));
        ASSERT_FALSE(HasFailure()) << "round " << round;

        EXPECT_EQ(cleaned.cleanedItems.size() + cleaned.failedItems.size(), candidates.size());
        for (const auto& item : cleaned.cleanedItems) expectInTrash(item);
        for (const auto& f : cleaned.failedItems) {
            tally(f.reason);
            // A refused item stays in its place, which is inside the Trash when the folder
            // holding it was cleaned first.
            EXPECT_TRUE(holdsCandidate(currentPlaceOf(f.candidate, cleaned), f.candidate))
                << f.candidate.url.path << ": " << f.reason;
        }
        cleanedCount += cleaned.cleanedItems.size();
        const Manifest afterClean = manifestOf(outside);
        ASSERT_EQ(afterClean, before) << "round " << round << " (clean)\n"
                                      << describeDifference(before, afterClean);

        RestoreResult restored;
        // With the Trash swapped as well, most restores are refused at one of their path checks;
        // two rounds in three swap only the items' side, so that restores also get through
        // and race with the put-back itself.
        swaps.runDuring([&] { restored = restore(cleaned.cleanedItems); },
                        round % 3 == 0 ? PassChoice(everything) : PassChoice(itemSide));
        exchanges += swaps.exchanges();
        EXPECT_EQ(restored.restoredItems.size() + restored.failedItems.size(),
                  cleaned.cleanedItems.size());
        for (const auto& r : restored.restoredItems) {
            const CleanedItem& item = r.cleanedItem;
            EXPECT_TRUE(holdsCandidate(item.candidate.url.path, item.candidate));
            EXPECT_FALSE(lstatOf(item.destinationURL->path)) << item.destinationURL->path;
        }
        for (const auto& f : restored.failedItems) {
            tally(f.reason);
            // A refused restore leaves the item where the Trash keeps it.
            const CleanedItem& item = f.cleanedItem;
            EXPECT_TRUE(holdsCandidate(item.destinationURL->path, item.candidate))
                << item.destinationURL->path << ": " << f.reason;
        }
        restoredCount += restored.restoredItems.size();
        const Manifest afterRestore = manifestOf(outside);
        ASSERT_EQ(afterRestore, before) << "round " << round << " (restore)\n"
                                        << describeDifference(before, afterRestore);
    }
    // The races must not have starved the work: some items got through both ways.
    EXPECT_GT(cleanedCount, 0u);
    EXPECT_GT(restoredCount, 0u);
    reportCoverage(
        ("cleaned " + std::to_string(cleanedCount) + ", restored " + std::to_string(restoredCount))
            .c_str(),
        exchanges);
}

TEST_F(RaceHarnessTest, PermanentDeletionNeverReachesOutsideWhileFoldersAreSwapped) {
    const Manifest before = manifestOf(outside);
    long exchanges = 0;
    size_t deletedCount = 0;
    for (int round = 0; round < kDeletionRounds; ++round) {
        auto candidates = prepareRound(round);
        Swapper swaps = swapper();
        CleanResult result;
        swaps.runDuring([&] { result = clean(candidates, CleaningMode::deletePermanently); },
                        passFor(round));
        ASSERT_FALSE(HasFailure()) << "round " << round;
        exchanges += swaps.exchanges();

        EXPECT_EQ(result.cleanedItems.size() + result.failedItems.size(), candidates.size());
        for (const auto& item : result.cleanedItems) {
            EXPECT_FALSE(item.destinationURL);
            EXPECT_FALSE(lstatOf(item.candidate.url.path)) << item.candidate.url.path;
        }
        for (const auto& f : result.failedItems) tally(f.reason);
        deletedCount += result.cleanedItems.size();
        // Nothing was ever put in the Trash.
        EXPECT_TRUE(fs::is_empty(trashFolder + "/files"));
        EXPECT_TRUE(fs::is_empty(trashFolder + "/info"));
        const Manifest after = manifestOf(outside);
        ASSERT_EQ(after, before) << "round " << round << "\n" << describeDifference(before, after);
    }
    EXPECT_GT(deletedCount, 0u);
    reportCoverage(("deleted " + std::to_string(deletedCount)).c_str(), exchanges);
}

// The fence is what keeps a restore inside the scope: a root that is a link when the fence is
// built is refused, and a root's recorded identity is what every later anchor is compared with.
// Built while the root is swapped, it must therefore record the real folder or leave the root
// out, never the folder the link leads to.
TEST_F(RaceHarnessTest, TheFenceNeverRecordsWhatALinkInPlaceOfARootLeadsTo) {
    prepareRound(1);
    const auto real = AnchorIdentity::ofPath(mid);
    ASSERT_TRUE(real);
    Swapper swaps = swapper();
    // Only the middle location, with the path rules built once: each fence is then cheap, and
    // many are built while the root flips.
    const std::vector<ScanLocation> middle = {locations[1]};
    const SafePathPolicy rules = SafePathPolicy::make({}, home, Catalogue::linux);
    int built = 0, anchoredOutside = 0;
    swaps.runDuring(
        [&] {
            for (; built < 40000; ++built) {
                const auto fence =
                    CleanupEligibilityPolicy::make(middle, descendantLimit, std::nullopt, rules);
                if (!fence.roots.empty() && fence.roots[0].identity != *real) ++anchoredOutside;
            }
        },
        [](const SwapPair& p) { return p.name == "mid"; }, 1'000'000);
    std::printf("%d fences built: %ld exchanges\n", built, swaps.exchanges());
    EXPECT_EQ(anchoredOutside, 0) << "fences that recorded the link's target as the root " << mid;
}

}  // namespace
}  // namespace velmora
