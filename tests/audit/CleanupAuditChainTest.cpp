// The canonical text, its digest and the verification of a chain: what must break it and what
// must not.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "CleanerCore/audit/CleanupAuditChain.h"
#include "CleanerCore/audit/CleanupAuditDigest.h"
#include "audit/AuditTestSupport.h"

namespace velmora {
namespace {

using test::cleanedItemAt;
using test::entryAt;

// The fixed entry whose digest was computed independently:
//   printf '0F1E2D3C-4B5A-4978-8695-A4B3C2D1E0F9\n790000000.123456\nclean\nmacInsights\n
//   moveToTrash\n3\n12288\n2\n1\n8192\n1\n2\n/home/u/.cache/a b\x1f4096\x1f
//   /home/u/.local/share/Trash/files/a b\x1e/home/u/.cache/\xff\x1f4096\x1f-\n<previous>'
//   | sha256sum          (one line; wrapped here)
CleanupAuditEntry knownEntry() {
    CleanupAuditEntry e;
    e.id = "0f1e2d3c-4b5a-4978-8695-a4b3c2d1e0f9";  // written in upper case
    e.occurredAt = 790000000.123456;
    e.operation = CleanupAuditOperation::clean;
    e.source = CleanupAuditSource::macInsights;
    e.mode = CleaningMode::moveToTrash;
    e.requestedItemCount = 3;
    e.requestedBytes = 12288;
    e.succeededItemCount = 2;
    e.failedItemCount = 1;
    e.affectedBytes = 8192;
    e.wasCancelled = true;
    CleanedItem first = cleanedItemAt("/home/u/.cache/a b", 4096);
    first.destinationURL = FileURL("/home/u/.local/share/Trash/files/a b");
    e.cleanedItems = {first, cleanedItemAt("/home/u/.cache/\xff", 4096, false)};
    e.samplePaths = {"/home/u/.cache/a b"};
    e.failureReasons = {"Item changed since scan: /home/u/.cache/c"};
    return e;
}
const std::string kPrevious = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

TEST(CleanupAuditDigestTest, KnownAnswers) {
    EXPECT_EQ(canonicalText(knownEntry(), kPrevious),
              "0F1E2D3C-4B5A-4978-8695-A4B3C2D1E0F9\n790000000.123456\nclean\nmacInsights\n"
              "moveToTrash\n3\n12288\n2\n1\n8192\n1\n2\n"
              "/home/u/.cache/a b\x1f"
              "4096\x1f/home/u/.local/share/Trash/files/a b\x1e/home/u/.cache/\xff\x1f"
              "4096\x1f-\n" +
                  kPrevious);
    EXPECT_EQ(entryDigest(knownEntry(), kPrevious),
              "11923895dcae10175117cce569df41b74a1ec4c04a24f2d77406015e6f74e7eb");

    // A restore without items that starts a chain: "-" for mode and previous, an empty line 13.
    CleanupAuditEntry restore;
    restore.id = "0F1E2D3C-4B5A-4978-8695-A4B3C2D1E0F9";
    restore.occurredAt = -0.5;
    restore.operation = CleanupAuditOperation::restore;
    EXPECT_EQ(entryDigest(restore, std::nullopt),
              "eb6cd838b88ed1762bbefe96097b16b4354e220ff262b1e5cb8170eef533d5b3");
}

TEST(CleanupAuditDigestTest, CoversTheRecordButNotItsDisplayDetail) {
    const std::string base = entryDigest(knownEntry(), kPrevious);
    const std::vector<std::pair<const char*, std::function<void(CleanupAuditEntry&)>>> digested = {
        {"occurredAt by a microsecond", [](auto& e) { e.occurredAt += 1e-6; }},
        {"source", [](auto& e) { e.source = CleanupAuditSource::iOSSandbox; }},
        {"mode", [](auto& e) { e.mode.reset(); }},
        {"requestedBytes", [](auto& e) { e.requestedBytes += 1; }},
        {"failedItemCount", [](auto& e) { e.failedItemCount = 0; }},
        {"wasCancelled", [](auto& e) { e.wasCancelled = false; }},
        {"item size", [](auto& e) { e.cleanedItems[1].candidate.sizeBytes = 1; }},
        {"item destination", [](auto& e) { e.cleanedItems[0].destinationURL.reset(); }},
        {"item order", [](auto& e) { std::swap(e.cleanedItems[0], e.cleanedItems[1]); }},
        {"item removed", [](auto& e) { e.cleanedItems.pop_back(); }},
    };
    for (const auto& [what, change] : digested) {
        CleanupAuditEntry e = knownEntry();
        change(e);
        EXPECT_NE(entryDigest(e, kPrevious), base) << what;
    }
    EXPECT_NE(entryDigest(knownEntry(), std::nullopt), base);

    const std::vector<std::pair<const char*, std::function<void(CleanupAuditEntry&)>>> ignored = {
        {"samplePaths", [](auto& e) { e.samplePaths = {"/elsewhere"}; }},
        {"failureReasons", [](auto& e) { e.failureReasons.clear(); }},
        {"candidate name", [](auto& e) { e.cleanedItems[0].candidate.displayName = "x"; }},
        {"candidate safety",
         [](auto& e) { e.cleanedItems[0].candidate.safety = CleanupSafety::caution; }},
        {"restore identity", [](auto& e) { e.cleanedItems[0].restoreSourceIdentity.reset(); }},
        {"own chain link",
         [](auto& e) {
             e.chainLink = CleanupAuditChainLink{"x", "y"};
         }},
        {"id case", [](auto& e) { e.id = "0F1E2D3C-4B5A-4978-8695-A4B3C2D1E0F9"; }},
    };
    for (const auto& [what, change] : ignored) {
        CleanupAuditEntry e = knownEntry();
        change(e);
        EXPECT_EQ(entryDigest(e, kPrevious), base) << what;
    }
}

// Newest first, each linked to the next one, as the store writes them.
std::vector<CleanupAuditEntry> chainOf(int count) {
    std::vector<CleanupAuditEntry> newestFirst;
    std::optional<std::string> previous;
    for (int i = 0; i < count; ++i) {
        CleanupAuditEntry e = entryAt(1000.0 + i, 2);
        e.chainLink = CleanupAuditChainLink{entryDigest(e, previous), previous};
        previous = e.chainLink->entryDigest;
        newestFirst.insert(newestFirst.begin(), e);
    }
    return newestFirst;
}

TEST(CleanupAuditChainTest, ReportsWhereAndHowTheChainFails) {
    using S = CleanupAuditChainStatus;
    struct Case {
        const char* what;
        S status;
        int64_t verified, unverifiable;
        std::optional<size_t> brokenAt;  // index after the change
        std::function<void(std::vector<CleanupAuditEntry>&)> change;
    };
    const auto none = std::nullopt;
    const std::vector<Case> cases = {
        {"untouched", S::intact, 3, 0, none, [](auto&) {}},
        {"affectedBytes edited", S::broken, 2, 0, 1, [](auto& l) { l[1].affectedBytes += 1; }},
        {"a sample path edited", S::intact, 3, 0, none,
         [](auto& l) { l[1].samplePaths[0] = "/somewhere/else"; }},
        {"middle entry removed", S::broken, 1, 0, 0, [](auto& l) { l.erase(l.begin() + 1); }},
        {"oldest entry dropped (retention)", S::intact, 2, 0, none, [](auto& l) { l.pop_back(); }},
        // The newer one no longer matches a rewritten digest either.
        {"digest rewritten without the content", S::broken, 1, 0, 1,
         [](auto& l) { l[2].chainLink->entryDigest = std::string(64, '0'); }},
        {"link of the oldest removed", S::broken, 1, 1, 1, [](auto& l) { l[2].chainLink.reset(); }},
        {"unlinked entries only", S::unverifiable, 0, 3, none,
         [](auto& l) { std::ranges::for_each(l, [](auto& e) { e.chainLink.reset(); }); }},
        {"a new chain above an unlinked entry", S::unverifiable, 2, 1, none,
         [](auto& l) {
             l[2].chainLink.reset();
             l[1].chainLink = CleanupAuditChainLink{entryDigest(l[1], std::nullopt), {}};
             l[0].chainLink = CleanupAuditChainLink{entryDigest(l[0], l[1].chainLink->entryDigest),
                                                    l[1].chainLink->entryDigest};
         }},
    };
    for (const auto& c : cases) {
        auto entries = chainOf(3);
        c.change(entries);
        const auto report = verifyChain(entries);
        EXPECT_EQ(report.status, c.status) << c.what;
        EXPECT_EQ(report.verifiedEntryCount, c.verified) << c.what;
        EXPECT_EQ(report.unverifiableEntryCount, c.unverifiable) << c.what;
        EXPECT_EQ(report.firstBrokenEntryID,
                  c.brokenAt ? std::optional(entries[*c.brokenAt].id) : std::nullopt)
            << c.what;
    }
    EXPECT_EQ(verifyChain({}),
              (CleanupAuditChainReport{CleanupAuditChainStatus::intact, 0, 0, {}}));
}

// The broken-chain sentence is checked word for word by the history command tests.
TEST(CleanupAuditChainTest, SentencesSayWhatTheCheckIs) {
    EXPECT_EQ(integritySentence({CleanupAuditChainStatus::intact, 7, 0, {}}),
              "Record integrity: no entry was changed or removed across the 7 checked records. "
              "This is a link check, not a signature, so a log rewritten in full would not be "
              "caught.");
    EXPECT_EQ(integritySentence({CleanupAuditChainStatus::unverifiable, 2, 3, {}}),
              "Record integrity: 3 records carry no link information, so they cannot be "
              "checked.");
}

}  // namespace
}  // namespace velmora
