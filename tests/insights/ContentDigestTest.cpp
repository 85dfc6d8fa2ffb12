#include "CleanerCore/insights/ContentDigest.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "CleanerCore/audit/CleanupAuditDigest.h"
#include "insights/DuplicateTestSupport.h"

namespace velmora {
namespace {

using test::collect;
using test::patternContent;
using test::TestTree;
using test::writeFile;

ExpectedFile expected(const std::string& path) {
    auto f = collect(path);
    return {f.path, f.device, f.inode, f.sizeBytes, f.modificationDate};
}

TEST(ContentDigest, SampleOffsetsFollowTheSizeAndDropRepeats) {
    EXPECT_EQ(fingerprintSampleOffsets(10), (std::vector<int64_t>{0}));
    EXPECT_EQ(fingerprintSampleLength(10), 10);
    EXPECT_EQ(fingerprintSampleOffsets(65'536), (std::vector<int64_t>{0}));
    EXPECT_EQ(fingerprintSampleOffsets(65'537), (std::vector<int64_t>{0, 1}));
    EXPECT_EQ(fingerprintSampleOffsets(65'538), (std::vector<int64_t>{0, 1, 2}));
    const int64_t size = 30 * 1'048'576;
    EXPECT_EQ(fingerprintSampleOffsets(size),
              (std::vector<int64_t>{0, (size - 65'536) / 2, size - 65'536}));
    EXPECT_EQ(fingerprintReadBytes(size), 3 * 65'536);
    EXPECT_EQ(fingerprintReadBytes(65'537), 2 * 65'536);
    EXPECT_EQ(fingerprintReadBytes(10), 10);
}

TEST(ContentDigest, SmallFileIsSampledOnceAtOffsetZero) {
    TestTree tree;
    const std::string content = "0123456789";
    auto path = writeFile(tree, "a", content);
    auto digest = sampledFingerprint(expected(path), nullptr);
    ASSERT_TRUE(digest.ok());
    EXPECT_EQ(hexText(digest->digest), sha256Hex("size:10offset:0:bytes:10" + content));
    EXPECT_EQ(digest->linkCount, 1);
}

TEST(ContentDigest, FingerprintHashesTheThreeSamplesWithTheirHeaders) {
    TestTree tree;
    const size_t size = 200'001;
    const std::string content = patternContent(size, 7);
    auto path = writeFile(tree, "a", content);
    const size_t L = 65'536, mid = (size - L) / 2, tail = size - L;
    const std::string input =
        "size:200001" + std::string("offset:0:bytes:65536") + content.substr(0, L) +
        "offset:" + std::to_string(mid) + ":bytes:65536" + content.substr(mid, L) +
        "offset:" + std::to_string(tail) + ":bytes:65536" + content.substr(tail, L);
    auto digest = sampledFingerprint(expected(path), nullptr);
    ASSERT_TRUE(digest.ok());
    EXPECT_EQ(hexText(digest->digest), sha256Hex(input));
}

TEST(ContentDigest, FullDigestIsTheContentDigestWhateverTheChunkSize) {
    TestTree tree;
    const std::string content = patternContent(1'048'576 + 4'099, 3);
    auto path = writeFile(tree, "a", content);
    for (size_t chunk : {size_t{1}, size_t{7}, size_t{65'536}, kFullDigestChunkBytes}) {
        DigestBuffers buffer{std::vector<unsigned char>(chunk), {}};
        if (chunk == 1) {
            // A one-byte buffer on a megabyte is slow under sanitizers; use a short file.
            auto small = writeFile(tree, "small", content.substr(0, 1'000));
            auto d = fullContentDigest(expected(small), buffer, nullptr);
            ASSERT_TRUE(d.ok());
            EXPECT_EQ(hexText(d->digest), sha256Hex(content.substr(0, 1'000)));
            continue;
        }
        auto d = fullContentDigest(expected(path), buffer, nullptr);
        ASSERT_TRUE(d.ok()) << chunk;
        EXPECT_EQ(hexText(d->digest), sha256Hex(content)) << chunk;
    }
}

// Files read side by side must each get exactly their own digest, however their bytes agree
// and part: a shared digest state that is not split at the right chunk gives a wrong digest.
TEST(ContentDigest, FilesReadTogetherEachGetTheirOwnDigest) {
    constexpr size_t kChunk = 4'096;
    const std::string base = patternContent(3 * kChunk + 100, 5);
    // A variant of `base` with byte `at` changed to `to`.
    auto changed = [&](size_t at, char to) {
        std::string s = base;
        s[at] = to;
        return s;
    };
    const std::string inChunk0 = changed(10, 'x'), inChunk1 = changed(kChunk + 1, 'y'),
                      inChunk1b = changed(kChunk + 2, 'z'), inLast = changed(base.size() - 1, 'w');
    const std::vector<std::vector<std::string>> shapes = {
        {base, base, base},                            // all agree to the end
        {base, inChunk1, base},                        // one leaves in the middle
        {inChunk1, base, inChunk1, base},              // two pairs part at the same chunk
        {base, inChunk1, inChunk1b},                   // three part at one chunk, all different
        {inChunk0, base, inChunk1, inChunk1, inLast},  // parting at different chunks
    };
    for (size_t s = 0; s < shapes.size(); ++s) {
        TestTree tree;
        std::vector<ExpectedFile> files;
        for (size_t i = 0; i < shapes[s].size(); ++i)
            files.push_back(expected(writeFile(tree, "f" + std::to_string(i), shapes[s][i])));
        DigestBuffers buffers{std::vector<unsigned char>(kChunk), {}};
        auto outcomes = fullContentDigests(files, buffers, nullptr);
        ASSERT_EQ(outcomes.size(), files.size());
        for (size_t i = 0; i < files.size(); ++i) {
            ASSERT_TRUE(outcomes[i].ok()) << "shape " << s << " file " << i;
            EXPECT_EQ(hexText(outcomes[i]->digest), sha256Hex(shapes[s][i]))
                << "shape " << s << " file " << i;
        }
    }
}

TEST(ContentDigest, AFailingFileDoesNotDisturbTheOthersReadWithIt) {
    TestTree tree;
    const std::string content = patternContent(10'000, 9);
    std::vector<ExpectedFile> files;
    for (const char* name : {"gone", "a", "rewritten", "b"})
        files.push_back(expected(writeFile(tree, name, content)));
    ::unlink(files[0].path.c_str());
    writeFile(tree, "rewritten", content.substr(0, 5'000));
    DigestBuffers buffers{std::vector<unsigned char>(1'000), {}};
    auto outcomes = fullContentDigests(files, buffers, nullptr);
    ASSERT_FALSE(outcomes[0].ok());
    EXPECT_EQ(outcomes[0].error().kind, DigestFailure::Kind::changed);
    ASSERT_FALSE(outcomes[2].ok());
    EXPECT_EQ(outcomes[2].error().kind, DigestFailure::Kind::changed);
    for (size_t i : {size_t{1}, size_t{3}}) {
        ASSERT_TRUE(outcomes[i].ok()) << i;
        EXPECT_EQ(hexText(outcomes[i]->digest), sha256Hex(content)) << i;
    }
}

TEST(ContentDigest, CancellationStopsBeforeReading) {
    TestTree tree;
    auto path = writeFile(tree, "a", patternContent(100'000, 1));
    CancellationToken token;
    token.requestCancellation();
    DigestBuffers buffer;
    auto s = sampledFingerprint(expected(path), &token);
    ASSERT_FALSE(s.ok());
    EXPECT_EQ(s.error().kind, DigestFailure::Kind::cancelled);
    auto f = fullContentDigest(expected(path), buffer, &token);
    ASSERT_FALSE(f.ok());
    EXPECT_EQ(f.error().kind, DigestFailure::Kind::cancelled);
}

TEST(ContentDigest, AFileThatIsNotTheCollectedOneIsNotRead) {
    TestTree tree;
    auto path = writeFile(tree, "a", patternContent(5'000, 1));
    DigestBuffers buffer;
    auto check = [&](ExpectedFile e, const char* what) {
        auto s = sampledFingerprint(e, nullptr);
        ASSERT_FALSE(s.ok()) << what;
        EXPECT_EQ(s.error().kind, DigestFailure::Kind::changed) << what;
        auto f = fullContentDigest(e, buffer, nullptr);
        ASSERT_FALSE(f.ok()) << what;
        EXPECT_EQ(f.error().kind, DigestFailure::Kind::changed) << what;
    };
    auto e = expected(path);
    auto other = e;
    other.inode += 1;
    check(other, "inode");
    other = e;
    other.device += 1;
    check(other, "device");
    other = e;
    other.sizeBytes -= 1;
    check(other, "size");
    other = e;
    *other.modificationDate += 1e-6;
    check(other, "date");
    other = e;
    other.path = tree.path("missing");
    check(other, "missing");
    // A folder in its place (its own identity, so only the type check can refuse it).
    auto dirExpected = expected(tree.dir("folder"));
    dirExpected.sizeBytes = collect(tree.path("folder")).sizeBytes;
    check(dirExpected, "folder");
}

TEST(ContentDigest, ALinkToTheCollectedFileIsNotFollowed) {
    TestTree tree;
    auto path = writeFile(tree, "a", patternContent(5'000, 1));
    auto e = expected(path);
    auto link = tree.symlink("link", path);
    e.path = link;  // the link leads to exactly the collected object: only O_NOFOLLOW refuses it
    auto s = sampledFingerprint(e, nullptr);
    ASSERT_FALSE(s.ok());
    EXPECT_EQ(s.error().kind, DigestFailure::Kind::changed);
}

TEST(ContentDigest, UnreadableFileReportsTheSystemError) {
    TestTree tree;
    auto path = writeFile(tree, "locked/a", patternContent(5'000, 1));
    auto e = expected(path);
    tree.chmod("locked/a", 0);
    EXPECT_TRUE(test::runWithoutPrivileges(tree, [&] {
        auto s = sampledFingerprint(e, nullptr);
        return !s.ok() && s.error().kind == DigestFailure::Kind::unreadable &&
               s.error().errorNumber == EACCES;
    }));
}

}  // namespace
}  // namespace velmora
