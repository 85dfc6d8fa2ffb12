#include "VelmoraUI/dashboard/Formatting.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

TEST(FormattingTest, BytesInHumanUnits) {
    const std::pair<int64_t, const char*> cases[] = {
        {0, "0 bytes"},
        {1, "1 byte"},
        {999, "999 bytes"},
        {1000, "1.0 kB"},
        {4096, "4.1 kB"},
        {999'949, "999.9 kB"},
        {999'950, "1.0 MB"},
        {12'345'678, "12.3 MB"},
        {1'210'000'000, "1.21 GB"},
        {4'000'000'000'000, "4.00 TB"},
        {-2048, "-2.0 kB"},
    };
    for (const auto& [bytes, text] : cases) EXPECT_EQ(formatBytes(bytes), text) << bytes;
}

TEST(FormattingTest, PathsBelowTheHomeFolderUseTilde) {
    EXPECT_EQ(displayPath("/home/a", "/home/a"), "~");
    EXPECT_EQ(displayPath("/home/a/.cache/x", "/home/a"), "~/.cache/x");
    EXPECT_EQ(displayPath("/home/ab/x", "/home/a"), "/home/ab/x");
    EXPECT_EQ(displayPath("/srv/x", "/"), "/srv/x");
}

TEST(FormattingTest, HostileNamesCannotSteerTheTerminal) {
    EXPECT_EQ(printable("a\nb\tc\rd"), "a\\nb\\tc\\rd");
    EXPECT_EQ(printable("\x1b[31mred"), "\\x1b[31mred");
    EXPECT_EQ(printable("\xc2\x9b"
                        "2J"),
              "\\u009b2J");  // C1 control sequence introducer
    EXPECT_EQ(printable("bad\xff"), "bad\xEF\xBF\xBD");
    EXPECT_EQ(printable("caf\xC3\xA9 \xE6\x97\xA5"), "caf\xC3\xA9 \xE6\x97\xA5");
    EXPECT_EQ(displayWidth("caf\xC3\xA9"), 4u);
    EXPECT_EQ(displayWidth("\xE6\x97\xA5\xE6\x9C\xAC"), 4u);
}

}  // namespace
}  // namespace velmora
