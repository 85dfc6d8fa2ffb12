// The snapshot store: keeping, bounds, and hostile files, each set aside with its issue while
// nothing valid is lost. Every test works in its own throw-away folder.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <nlohmann/json.hpp>

#include "CleanerCore/delta-blame/DeltaBlameSnapshotStore.h"
#include "delta-blame/DeltaBlameTestSupport.h"
#include "support/Files.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::namesIn;
using test::readFile;
using test::writeFile;
using Issue = DeltaBlameStoreIssue;

constexpr const char* kName = "delta-blame-snapshots.json";

std::string uuidNumbered(int n) {
    char text[40];
    std::snprintf(text, sizeof text, "00000000-0000-4000-8000-%012d", n);
    return text;
}

DeltaBlameSnapshotDraftEnvelope envelopeNumbered(int n) {
    auto e = test::sampleEnvelope();
    e.draft.snapshotID = uuidNumbered(n);
    return e;
}

class DeltaBlameSnapshotStoreTest : public ::testing::Test {
  protected:
    std::string folder() const { return tree.path("data/Velmora"); }
    std::string file() const { return folder() + "/" + kName; }
    DeltaBlameSnapshotStore store(DeltaBlameLimits limits = {}, char key = 'k') const {
        return DeltaBlameSnapshotStore(file(), test::providerFilledWith(key), limits);
    }
    static std::vector<std::string> ids(const DeltaBlameStoreState& state) {
        std::vector<std::string> out;
        for (const auto& s : state.snapshots) out.push_back(s.draft.snapshotID);
        return out;
    }
    std::vector<std::string> backups(std::string_view reason) const {
        std::vector<std::string> out;
        for (const auto& name : namesIn(folder()))
            if (name.rfind(std::string(kName) + "." + std::string(reason) + "-", 0) == 0)
                out.push_back(folder() + "/" + name);
        return out;
    }
    void saveNumbered(std::initializer_list<int> numbers, DeltaBlameLimits limits = {}) {
        for (int n : numbers) ASSERT_TRUE(store(limits).save(envelopeNumbered(n)).written) << n;
    }
    test::TestTree tree;
};

TEST_F(DeltaBlameSnapshotStoreTest, KeepsSnapshotsOldestFirstAndReadsThemBack) {
    EXPECT_TRUE(store().load().snapshots.empty());
    EXPECT_FALSE(test::exists(file()));  // loading creates nothing
    saveNumbered({1, 2, 3});
    const auto state = store().load();
    EXPECT_EQ(ids(state), (std::vector{uuidNumbered(1), uuidNumbered(2), uuidNumbered(3)}));
    EXPECT_EQ(state.snapshots[0], envelopeNumbered(1));
    EXPECT_FALSE(state.issue);
    EXPECT_EQ(state.notice(), "");
    struct stat st {};
    ASSERT_EQ(::stat(file().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    // The same id again replaces the older copy and becomes the newest.
    saveNumbered({1});
    EXPECT_EQ(ids(store().load()),
              (std::vector{uuidNumbered(2), uuidNumbered(3), uuidNumbered(1)}));
}

TEST_F(DeltaBlameSnapshotStoreTest, DropsTheOldestBeyondCountOrSize) {
    DeltaBlameLimits three;
    three.maximumSnapshots = 3;
    saveNumbered({1, 2, 3, 4, 5}, three);
    EXPECT_EQ(ids(store(three).load()),
              (std::vector{uuidNumbered(3), uuidNumbered(4), uuidNumbered(5)}));

    const auto one = static_cast<int64_t>(
        DeltaBlameTemporaryCodec::encode(envelopeNumbered(1), kDeltaBlameMaximumEncodedBytes)
            ->size());
    DeltaBlameLimits small;
    small.maximumEncodedStoreBytes = 2 * one + 200;  // room for two, not three
    saveNumbered({6, 7}, small);
    EXPECT_EQ(ids(store(small).load()), (std::vector{uuidNumbered(6), uuidNumbered(7)}));
    EXPECT_LE(static_cast<int64_t>(readFile(file()).size()), small.maximumEncodedStoreBytes);

    // A snapshot that cannot fit even alone, or that is invalid, is refused and changes nothing.
    DeltaBlameLimits tiny;
    tiny.maximumEncodedStoreBytes = one / 2;
    const auto before = readFile(file());
    const auto refused = store(tiny).save(envelopeNumbered(9));
    EXPECT_FALSE(refused.written);
    ASSERT_TRUE(refused.refused);
    auto bad = envelopeNumbered(10);
    bad.draft.evidence[0].evidenceOrdinal = bad.draft.evidence[1].evidenceOrdinal;
    const auto invalid = store(small).save(bad);
    EXPECT_FALSE(invalid.written);
    ASSERT_TRUE(invalid.refused);
    EXPECT_EQ(std::get<DeltaBlameValidationError>(*invalid.refused).kind,
              DeltaBlameValidationError::Kind::duplicateEvidenceOrdinal);
    EXPECT_EQ(readFile(file()), before);
}

TEST_F(DeltaBlameSnapshotStoreTest, DamagedFilesAreSetAsideAndTheStoreStartsAnew) {
    saveNumbered({1});
    const std::string good = readFile(file());
    const struct {
        const char* name;
        std::function<void()> damage;
        Issue issue;
    } cases[] = {
        {"truncated", [&] { writeFile(file(), good.substr(0, good.size() / 2)); },
         Issue::undecodable},
        {"not JSON", [&] { writeFile(file(), "snapshots, please"); }, Issue::undecodable},
        {"empty", [&] { writeFile(file(), ""); }, Issue::undecodable},
        {"wrong types",
         [&] { writeFile(file(), R"({"keyCheck":1,"schemaVersion":1,"snapshots":{}})"); },
         Issue::undecodable},
        {"newer schema",
         [&] {
             auto j = nlohmann::json::parse(good);
             j["schemaVersion"] = 2;
             writeFile(file(), j.dump());
         },
         Issue::undecodable},
        {"oversized",
         [&] { writeFile(file(), good + std::string(kDeltaBlameMaximumEncodedBytes, ' ')); },
         Issue::oversized},
        {"a link",
         [&] {
             ::unlink(file().c_str());
             ASSERT_EQ(::symlink("/etc/hostname", file().c_str()), 0);
         },
         Issue::unreadable},
        {"another key", [&] { writeFile(file(), good); }, Issue::otherKey},
    };
    for (const auto& c : cases) {
        c.damage();
        const std::string damaged = test::exists(file()) ? readFile(file()) : "";
        // "another key" is the intact file read under a different key.
        const char key = c.issue == Issue::otherKey ? 'x' : 'k';
        const auto state = store({}, key).load();
        EXPECT_EQ(state.issue, c.issue) << c.name;
        EXPECT_TRUE(state.snapshots.empty()) << c.name;
        EXPECT_FALSE(state.notice().empty()) << c.name;
        ASSERT_TRUE(state.backupPath) << c.name;
        EXPECT_FALSE(test::exists(file())) << c.name;
        if (c.issue != Issue::unreadable) {
            EXPECT_EQ(readFile(*state.backupPath), damaged) << c.name;
        }
        // The store works again at once.
        ASSERT_TRUE(store({}, key).save(envelopeNumbered(2)).written) << c.name;
        EXPECT_EQ(ids(store({}, key).load()), (std::vector{uuidNumbered(2)})) << c.name;
        ::unlink(file().c_str());
        saveNumbered({1});
    }
}

TEST_F(DeltaBlameSnapshotStoreTest, ABadSnapshotIsLeftOutAndTheOthersKept) {
    saveNumbered({1, 2, 3});
    auto j = nlohmann::json::parse(readFile(file()));
    // A token that is not in the token form, and a snapshot of the wrong shape.
    std::string& token =
        j["snapshots"][0]["draft"]["evidence"][0]["pathToken"].get_ref<std::string&>();
    token[token.size() - 1] = 'G';
    j["snapshots"][2]["draft"]["aggregates"] = "none";
    const std::string damaged = j.dump();
    writeFile(file(), damaged);

    const auto state = store().load();
    EXPECT_EQ(state.issue, Issue::invalidSnapshots);
    EXPECT_EQ(state.droppedSnapshots, 2);
    EXPECT_EQ(ids(state), (std::vector{uuidNumbered(2)}));
    ASSERT_TRUE(state.backupPath);
    EXPECT_EQ(readFile(*state.backupPath), damaged);
    // The rewritten file holds the one that was sound, and reads cleanly.
    const auto again = store().load();
    EXPECT_FALSE(again.issue);
    EXPECT_EQ(ids(again), (std::vector{uuidNumbered(2)}));
}

TEST_F(DeltaBlameSnapshotStoreTest, KeyIsNeverWritten) {
    saveNumbered({1});
    const std::string text = readFile(file());
    EXPECT_EQ(text.find(std::string(32, 'k')), std::string::npos);
    std::string keyHex;
    for (int i = 0; i < 32; ++i) keyHex += "6b";  // 'k' in hexadecimal
    EXPECT_EQ(text.find(keyHex), std::string::npos);
}

}  // namespace
}  // namespace velmora

namespace velmora {
namespace {

// A save carries the kept snapshots over as lines without decoding them: a file in another
// layout still goes through the parser, and a snapshot damaged inside its line is caught by the
// next load rather than lost or trusted.
TEST_F(DeltaBlameSnapshotStoreTest, ASaveCarriesLinesOverAndTheNextLoadStillChecksThem) {
    saveNumbered({1, 2});
    // The same document on one line, as an older build wrote it.
    auto doc = nlohmann::json::parse(readFile(file()));
    writeFile(file(), doc.dump());
    saveNumbered({3});
    EXPECT_EQ(ids(store().load()),
              (std::vector{uuidNumbered(1), uuidNumbered(2), uuidNumbered(3)}));

    // Damage the second snapshot inside its line: the layout still holds.
    std::string text = readFile(file());
    const size_t line = text.rfind('\n', text.find(uuidNumbered(2)));
    text.replace(text.find("\"byteCount\":", line), 12, "\"byteCount\":-");
    writeFile(file(), text);
    const auto saved = store().save(envelopeNumbered(4));
    EXPECT_TRUE(saved.written);
    EXPECT_EQ(saved.keptSnapshots, 4);
    const auto state = store().load();
    EXPECT_EQ(ids(state), (std::vector{uuidNumbered(1), uuidNumbered(3), uuidNumbered(4)}));
    EXPECT_EQ(state.issue, Issue::invalidSnapshots);
    EXPECT_EQ(backups("invalidSnapshots").size(), 1u);
}

}  // namespace
}  // namespace velmora
