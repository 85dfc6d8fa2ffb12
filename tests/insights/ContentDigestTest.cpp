#include "CleanerCore/insights/ContentDigest.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>

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

// The fingerprint is the digest of the size and each sample with its header, so that equal
// samples at different places never give equal fingerprints.
TEST(ContentDigest, FingerprintHashesTheSamplesWithTheirHeaders) {
    TestTree tree;
    const size_t size = 200'001;
    const std::string content = patternContent(size, 7);
    const size_t L = 65'536, mid = (size - L) / 2, tail = size - L;
    const std::string input =
        "size:200001" + std::string("offset:0:bytes:65536") + content.substr(0, L) +
        "offset:" + std::to_string(mid) + ":bytes:65536" + content.substr(mid, L) +
        "offset:" + std::to_string(tail) + ":bytes:65536" + content.substr(tail, L);
    for (const auto& [text, hashed] :
         {std::pair{content, input},
          std::pair{std::string("0123456789"),
                    std::string("size:10offset:0:bytes:100123456789")}}) {
        auto digest = sampledFingerprint(expected(writeFile(tree, "a", text)), nullptr);
        ASSERT_TRUE(digest.ok());
        EXPECT_EQ(hexText(digest->digest), sha256Hex(hashed));
        EXPECT_EQ(digest->linkCount, 1);
    }
}

TEST(ContentDigest, FullDigestIsTheContentDigestWhateverTheChunkSize) {
    TestTree tree;
    const std::string content = patternContent(1'048'576 + 4'099, 3),
                      small = content.substr(0, 999);
    const auto big = expected(writeFile(tree, "a", content));
    const auto shortFile = expected(writeFile(tree, "small", small));
    for (size_t chunk : {size_t{1}, size_t{7}, size_t{65'536}, kFullDigestChunkBytes}) {
        DigestBuffers buffer{std::vector<unsigned char>(chunk), {}};
        // A one-byte buffer on a megabyte is slow under sanitizers: the short file for it.
        auto d = fullContentDigest(chunk == 1 ? shortFile : big, buffer, nullptr);
        ASSERT_TRUE(d.ok()) << chunk;
        EXPECT_EQ(hexText(d->digest), sha256Hex(chunk == 1 ? small : content)) << chunk;
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

// Nothing but the collected object is read: another inode, device, size or date, a missing
// name, a folder, or a link leading to exactly the collected object (only O_NOFOLLOW refuses
// that) are each "changed"; a cancelled run reads nothing.
TEST(ContentDigest, OnlyTheCollectedFileIsRead) {
    TestTree tree;
    const auto e = expected(writeFile(tree, "a", patternContent(5'000, 1)));
    auto folder = expected(tree.dir("folder"));
    folder.sizeBytes = collect(tree.path("folder")).sizeBytes;
    const std::string link = tree.symlink("link", e.path);
    const std::vector<std::pair<const char*, std::function<void(ExpectedFile&)>>> cases = {
        {"inode", [](auto& f) { f.inode += 1; }},
        {"device", [](auto& f) { f.device += 1; }},
        {"size", [](auto& f) { f.sizeBytes -= 1; }},
        {"date", [](auto& f) { *f.modificationDate += 1e-6; }},
        {"missing", [&](auto& f) { f.path = tree.path("missing"); }},
        {"folder", [&](auto& f) { f = folder; }},
        {"link", [&](auto& f) { f.path = link; }},
    };
    DigestBuffers buffer;
    for (const auto& [what, change] : cases) {
        auto other = e;
        change(other);
        auto s = sampledFingerprint(other, nullptr);
        ASSERT_FALSE(s.ok()) << what;
        EXPECT_EQ(s.error().kind, DigestFailure::Kind::changed) << what;
        auto f = fullContentDigest(other, buffer, nullptr);
        ASSERT_FALSE(f.ok()) << what;
        EXPECT_EQ(f.error().kind, DigestFailure::Kind::changed) << what;
    }
    CancellationToken token;
    token.requestCancellation();
    EXPECT_EQ(sampledFingerprint(e, &token).error().kind, DigestFailure::Kind::cancelled);
    EXPECT_EQ(fullContentDigest(e, buffer, &token).error().kind, DigestFailure::Kind::cancelled);
}

}  // namespace
}  // namespace velmora
