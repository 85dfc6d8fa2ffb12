#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <sstream>

#include "CleanerCore/cleaning/CleaningJson.h"
#include "CleanerCore/platform/UniqueFd.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "Velmora/cli/CleanOutput.h"
#include "Velmora/cli/Output.h"

namespace velmora {
namespace {

CleanupCandidate candidate(const std::string& path, int64_t size) {
    CleanupCandidate c;
    c.url = FileURL(path, true);
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

TEST(OutputTest, StreamedCleanResultJSONEqualsTheWholeDocument) {
    CleanResult full;
    CleanedItem moved{candidate("/h/.cache/a", 4096), FileURL("/d/Trash/files/a", true),
                      FileURL::directory("/d/Trash/files"), FileResourceIdentity{}};
    full.cleanedItems = {moved, moved};
    full.failedItems = {{candidate("/h/.cache/b\nc\xff", 1), "Refusing: /h/.cache/b\nc\xff"}};
    full.wasCancelled = true;
    CleanResult onlyFailed, empty;
    onlyFailed.failedItems = full.failedItems;
    for (const CleanResult* r : {&full, &onlyFailed, &empty}) {
        std::ostringstream streamed;
        cli::printCleanResultJSON(streamed, *r);
        EXPECT_EQ(streamed.str(), dumpJSON(nlohmann::json(*r), true) + "\n");
    }
}

// Lines are gathered and written together: nothing reaches a pipe before a flush (or the end),
// and what arrives is exactly what was written, however long.
TEST(OutputTest, BufferedStreamWritesOnFlushAndKeepsEveryByte) {
    int fds[2];
    ASSERT_EQ(::pipe2(fds, O_NONBLOCK | O_CLOEXEC), 0);
    UniqueFd readEnd(fds[0]);
    UniqueFd writeEnd(fds[1]);
    ::fcntl(fds[1], F_SETPIPE_SZ, 1 << 20);
    auto drain = [&] {
        std::string got;
        char chunk[65536];
        ssize_t n = 0;
        while ((n = ::read(readEnd.get(), chunk, sizeof chunk)) > 0) got.append(chunk, n);
        return got;
    };
    std::string expected;
    {
        cli::BufferedFdStream out(writeEnd.get());
        out << "first line\n";
        EXPECT_EQ(drain(), "");
        out.flush();
        EXPECT_EQ(drain(), "first line\n");
        for (int i = 0; i < 20000; ++i) {
            const std::string line = "item " + std::to_string(i) + "\n";
            out << line;
            expected += line;
        }
    }
    EXPECT_EQ(drain(), expected);
}

}  // namespace
}  // namespace velmora
