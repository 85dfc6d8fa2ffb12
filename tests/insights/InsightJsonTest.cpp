#include "CleanerCore/insights/InsightJson.h"

#include <gtest/gtest.h>

#include <limits>

#include "CleanerCore/scanning/ModelJson.h"

namespace velmora {
namespace {

using nlohmann::json;

FileInsight fullInsight() {
    FileInsight f;
    f.url = FileURL("/home/u/Downloads/a b.iso");
    f.kind = FileInsightKind::duplicate;
    f.id = fileInsightID(f.kind, f.url.path);
    f.displayName = "a b.iso";
    f.parentPath = "~/Downloads";
    f.sizeBytes = 31'457'280;
    f.lastModified = 756'000'000.123456789;
    FileResourceIdentity identity;
    identity.fileResourceIdentifier = "2049:77";
    identity.systemFileNumber = 77;
    identity.systemNumber = 2049;
    identity.modificationDate = f.lastModified;
    f.resourceIdentity = identity;
    f.linkCount = 2;
    f.detail = duplicateSetDetail(3);
    f.safety = CleanupSafety::caution;
    return f;
}

TEST(InsightModel, RawValuesAndPrefixes) {
    EXPECT_EQ(rawValue(FileInsightKind::largeFile), "largeFile");
    EXPECT_EQ(rawValue(FileInsightKind::download), "download");
    EXPECT_EQ(rawValue(FileInsightKind::duplicate), "duplicate");
    EXPECT_EQ(rawValue(FileInsightKind::securitySignal), "securitySignal");
    EXPECT_EQ(idPrefix(FileInsightKind::largeFile), "largeFile:");
    EXPECT_EQ(idPrefix(FileInsightKind::download), "download:");
    EXPECT_EQ(idPrefix(FileInsightKind::duplicate), "duplicate:");
    EXPECT_EQ(idPrefix(FileInsightKind::securitySignal), "securitySignal:");
    EXPECT_EQ(fileInsightKindFromRaw("securitySignal"), FileInsightKind::securitySignal);
    EXPECT_EQ(fileInsightKindFromRaw("Duplicate"), std::nullopt);
    EXPECT_EQ(rawValue(DuplicateKeeperRecommendationReason::olderModificationDate),
              "olderModificationDate");
    EXPECT_EQ(keeperReasonFromRaw("deterministicPathTieBreak"),
              DuplicateKeeperRecommendationReason::deterministicPathTieBreak);
    EXPECT_EQ(duplicateSetDetail(3), "Duplicate set \xC2\xB7 3 copies");
}

TEST(InsightModel, DisplayPaths) {
    EXPECT_EQ(insightDisplayPath("/home/u", "/home/u"), "~");
    EXPECT_EQ(insightDisplayPath("/home/u/Documents/x", "/home/u"), "~/Documents/x");
    EXPECT_EQ(insightDisplayPath("/home/user2/x", "/home/u"), "/home/user2/x");
    EXPECT_EQ(insightDisplayPath("/home/user2/x", "/home/u", "/home/user2"), "~/x");
    EXPECT_EQ(insightDisplayPath("/srv/x", "/home/u", "/home/me"), "/srv/x");
    EXPECT_EQ(insightDisplayPath("/x", "/"), "~/x");
}

TEST(InsightModel, ReclaimableEstimate) {
    DuplicateFileGroup g;
    g.sizeBytes = 100;
    auto member = [](std::optional<int64_t> links) {
        FileInsight f;
        f.linkCount = links;
        return f;
    };
    EXPECT_EQ(g.estimatedReclaimableBytes(), 0);
    g.files = {member(1), member(std::nullopt), member(1)};
    EXPECT_EQ(g.estimatedReclaimableBytes(), 200);
    EXPECT_FALSE(g.hasHardLinkedMembers());
    g.files.push_back(member(2));
    g.files.push_back(member(3));
    EXPECT_EQ(g.estimatedReclaimableBytes(), 200);
    EXPECT_EQ(g.hardLinkedMemberCount(), 2);
    EXPECT_TRUE(g.hasHardLinkedMembers());
    g.files = {member(2), member(2)};
    EXPECT_EQ(g.estimatedReclaimableBytes(), 0);
    g.sizeBytes = std::numeric_limits<int64_t>::max() / 2 + 1;
    g.files = {member(1), member(1), member(1), member(1)};
    EXPECT_EQ(g.estimatedReclaimableBytes(), std::numeric_limits<int64_t>::max());
}

TEST(InsightJson, FileInsightKeysAndRoundTrip) {
    const FileInsight f = fullInsight();
    const json j = f;
    EXPECT_EQ(j.at("id"), "duplicate:/home/u/Downloads/a b.iso");
    EXPECT_EQ(j.at("url"), "file:///home/u/Downloads/a%20b.iso");
    EXPECT_EQ(j.at("kind"), "duplicate");
    EXPECT_EQ(j.at("safety"), "caution");
    EXPECT_EQ(j.at("linkCount"), 2);
    EXPECT_EQ(j.at("detail"), "Duplicate set \xC2\xB7 3 copies");
    EXPECT_EQ(j.size(), 11u);
    const FileInsight back = json::parse(dumpJSON(j, false)).get<FileInsight>();
    EXPECT_EQ(back, f);
    // The date comes back bit-identical.
    EXPECT_EQ(*back.lastModified, *f.lastModified);
}

TEST(InsightJson, AbsentOptionalsAreOmitted) {
    FileInsight f = fullInsight();
    f.lastModified.reset();
    f.resourceIdentity.reset();
    f.linkCount.reset();
    const json j = f;
    EXPECT_FALSE(j.contains("lastModified"));
    EXPECT_FALSE(j.contains("resourceIdentity"));
    EXPECT_FALSE(j.contains("linkCount"));
    EXPECT_EQ(j.get<FileInsight>(), f);
}

TEST(InsightJson, NonUTF8NamesReadBackExactly) {
    FileInsight f = fullInsight();
    f.url = FileURL("/home/u/Do\xFFwn/b\xFE.iso");
    f.id = fileInsightID(f.kind, f.url.path);
    f.displayName = "b\xFE.iso";
    f.parentPath = "~/Do\xFFwn";
    const std::string text = dumpJSON(json(f), false);
    EXPECT_EQ(json::parse(text).get<FileInsight>(), f);
}

TEST(InsightJson, GroupsMapItemsAndRecommendations) {
    DuplicateFileGroup g;
    g.id = "sha256:ab:31457280";
    g.sizeBytes = 31'457'280;
    g.files = {fullInsight(), fullInsight()};
    g.files[1].url = FileURL("/home/u/Documents/a b.iso");
    g.files[1].id = fileInsightID(FileInsightKind::duplicate, g.files[1].url.path);
    json jg = g;
    EXPECT_EQ(jg.size(), 3u);
    EXPECT_EQ(jg.at("files").size(), 2u);
    EXPECT_EQ(json::parse(dumpJSON(jg, true)).get<DuplicateFileGroup>(), g);

    StorageMapItem m{
        "/home/u/Movies", FileURL::directory("/home/u/Movies"), "~/Movies", 5, 2, true};
    json jm = m;
    EXPECT_EQ(jm.at("url"), "file:///home/u/Movies/");
    EXPECT_EQ(jm.at("isTruncated"), true);
    EXPECT_EQ(jm.at("itemCount"), 2);
    EXPECT_EQ(jm.get<StorageMapItem>(), m);

    DuplicateKeeperRecommendation r{g.id,
                                    g.files[1].id,
                                    g.files[1].url.path,
                                    1,
                                    {DuplicateKeeperRecommendationReason::preferredLocation,
                                     DuplicateKeeperRecommendationReason::olderModificationDate}};
    json jr = r;
    EXPECT_EQ(jr.at("reasons"), json::parse(R"(["preferredLocation","olderModificationDate"])"));
    EXPECT_EQ(jr.at("keeperPath"), "/home/u/Documents/a b.iso");
    EXPECT_EQ(jr.at("duplicateCount"), 1);
    EXPECT_EQ(jr.get<DuplicateKeeperRecommendation>(), r);
    r.reasons.clear();
    EXPECT_EQ(json(r).at("reasons"), json::array());
}

TEST(InsightJson, UnknownEnumerationValuesAreRejected) {
    json j = fullInsight();
    j["kind"] = "bigFile";
    EXPECT_THROW(j.get<FileInsight>(), json::exception);
    json r = DuplicateKeeperRecommendation{"g", "k", "/p", 1, {}};
    r["reasons"] = json::array({"newest"});
    EXPECT_THROW(r.get<DuplicateKeeperRecommendation>(), json::exception);
}

}  // namespace
}  // namespace velmora
