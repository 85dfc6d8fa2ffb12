// The installation key: made once and kept, a damaged one replaced, never read through a link
// or from something that is not a file; and the keyed hash it makes.
#include "CleanerCore/platform/InstallationKey.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "support/Files.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::TestTree;

TEST(InstallationKeyTest, IsCreatedOnceThenLoaded) {
    TestTree tree;
    const std::string path = installationKeyPath(tree.dir("data"));
    const auto first = loadOrCreateInstallationKey(path);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->event, InstallationKeyEvent::created);
    struct stat st {};
    ASSERT_EQ(::stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    EXPECT_EQ(st.st_size, 32);
    const auto again = loadOrCreateInstallationKey(path);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->event, InstallationKeyEvent::loaded);
    EXPECT_EQ(again->key.bytes, first->key.bytes);
    // Nothing but the key is left in its folder.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(tree.path("data/Velmora")),
                            std::filesystem::directory_iterator()),
              1);
}

TEST(InstallationKeyTest, ReplacesADamagedKeyAndRefusesWhatIsNotAFile) {
    TestTree tree;
    const std::string data = tree.dir("data");
    const std::string path = installationKeyPath(data);
    struct Row {
        const char* what;
        std::function<void()> make;
        bool usable;
    };
    const Row rows[] = {
        {"short", [&] { tree.file("data/Velmora/delta-blame.key", 31); }, true},
        {"long", [&] { tree.file("data/Velmora/delta-blame.key", 33); }, true},
        {"empty", [&] { tree.file("data/Velmora/delta-blame.key", 0); }, true},
        {"folder", [&] { tree.dir("data/Velmora/delta-blame.key"); }, false},
        {"fifo", [&] { ::mkfifo(path.c_str(), 0600); }, false},
        {"link", [&] { ::symlink(tree.file("elsewhere", 32).c_str(), path.c_str()); }, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        std::filesystem::remove_all(tree.path("data/Velmora"));
        tree.dir("data/Velmora");
        row.make();
        const auto outcome = loadOrCreateInstallationKey(path);
        ASSERT_EQ(outcome.has_value(), row.usable);
        if (!row.usable) continue;
        EXPECT_EQ(outcome->event, InstallationKeyEvent::replacedDamaged);
        const std::string stored = test::readFile(path);
        EXPECT_EQ(stored, std::string(outcome->key.bytes.begin(), outcome->key.bytes.end()));
    }
}

TEST(InstallationKeyTest, KeyedHashIsHmacSha256) {
    // Computed independently (Python's hmac module): "abc" under 32 bytes of 0x0b.
    InstallationKey key;
    key.bytes.fill(0x0b);
    const auto a = hexString(keyedHash(key, "abc"));
    EXPECT_EQ(a, "cc2b6e43b092526c09f6b2db76c7dc2867ebfdf7d1b170f2d8f73a3894792e12");
    EXPECT_NE(a, hexString(keyedHash(key, "abd")));
    InstallationKey other = key;
    other.bytes[31] ^= 1;
    EXPECT_NE(a, hexString(keyedHash(other, "abc")));
}

}  // namespace
}  // namespace velmora
