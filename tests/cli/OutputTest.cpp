#include <gtest/gtest.h>

#include <sstream>

#include "CleanerCore/scanning/ModelJson.h"
#include "Velmora/cli/Output.h"

namespace velmora {
namespace {

CleanupCandidate candidate(const std::string& path, int64_t size) {
    CleanupCandidate c;
    c.url = FileURL(path, true);
    c.id = candidateID(CleanupCategory::userCaches, c.url.path);
    c.displayName = c.url.lastComponent();
    c.sizeBytes = size;
    c.lastModified = 815000000.123456789;
    c.resourceIdentity = FileResourceIdentity{};
    c.resourceIdentity->systemFileNumber = 42;
    return c;
}

// The streamed JSON must be exactly the document the coder writes, whatever the shape.
TEST(OutputTest, StreamedReportJSONEqualsTheWholeDocument) {
    ScanReport empty;
    ScanReport full;
    full.scannedAt = 817000000.5;
    full.hasCompletedScan = true;
    full.candidates = {candidate("/h/.cache/a", 4096), candidate("/h/.cache/b\nc\xff", 8192)};
    full.skippedItems = {{FileURL("/h/.cache/x", true), "Empty item"}};
    full.scannedRoots = {FileURL::directory("/h/.cache"),
                         FileURL::directory("/h/.local/share/xorg")};
    for (const ScanReport* report : {&empty, &full}) {
        std::ostringstream streamed;
        cli::printScanReportJSON(streamed, *report);
        EXPECT_EQ(streamed.str(), dumpJSON(nlohmann::json(*report), true) + "\n");
        auto back = decodeScanReport(streamed.str());
        ASSERT_TRUE(back.ok()) << back.error();
        EXPECT_EQ(*back, *report);
    }
}

}  // namespace
}  // namespace velmora
