#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/dashboard/InsightTexts.h"

#include <gtest/gtest.h>

#include <set>
#include <utility>
#include <vector>

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

// Ages round down to their largest whole unit, so a file is never called older than it is.
TEST(FormattingTest, AgesInTheirLargestWholeUnit) {
    constexpr double kDay = 86'400;
    const std::pair<double, const char*> cases[] = {
        {-5, "less than a day"},   {kDay - 1, "less than a day"}, {kDay, "1 day"},
        {13 * kDay, "13 days"},    {14 * kDay, "2 weeks"},        {60 * kDay, "8 weeks"},
        {61 * kDay, "2 months"},   {729 * kDay, "23 months"},     {730 * kDay, "2 years"},
        {3650 * kDay, "10 years"},
    };
    for (const auto& [seconds, text] : cases) EXPECT_EQ(durationText(seconds), text) << seconds;
}

TEST(FormattingTest, PathsBelowTheHomeFolderUseTilde) {
    EXPECT_EQ(displayPath("/home/a", "/home/a"), "~");
    EXPECT_EQ(displayPath("/home/a/.cache/x", "/home/a"), "~/.cache/x");
    EXPECT_EQ(displayPath("/home/ab/x", "/home/a"), "/home/ab/x");
    EXPECT_EQ(displayPath("/srv/x", "/"), "/srv/x");
}

// Hostile names cannot steer the terminal, and what is printed names one path only: every
// escape is distinct from the text it could be confused with, and characters that hide or
// reorder text are shown as escapes.
TEST(FormattingTest, PrintedNamesAreHarmlessAndUnambiguous) {
    EXPECT_EQ(displayWidth("caf\xC3\xA9"), 4u);
    EXPECT_EQ(displayWidth("\xE6\x97\xA5\xE6\x9C\xAC"), 4u);
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"a\nb\tc\rd", "a\\nb\\tc\\rd"},
        {"\x1b[31mred", "\\x1b[31mred"},
        {"\xc2\x9b"
         "2J",
         "\\u009b2J"},  // C1 control sequence introducer
        {"caf\xC3\xA9 \xE6\x97\xA5", "caf\xC3\xA9 \xE6\x97\xA5"},
        {"\x1b", "\\x1b"},
        {"\\x1b", "\\\\x1b"},  // the text "\x1b" itself
        {"a\\b", "a\\\\b"},
        {"\\n", "\\\\n"},
        {"bad\xff", "bad\\xff"},  // a byte that is not UTF-8
        {"bad\\xff", "bad\\\\xff"},
        {"\xEF\xBF\xBD", "\xEF\xBF\xBD"},                   // U+FFFD itself stays
        {"\xC0\xAF", "\\xc0\\xaf"},                         // an overlong "/"
        {"\xED\xA0\x80", "\\xed\\xa0\\x80"},                // a surrogate
        {"\xE6\x97", "\\xe6\\x97"},                         // a cut-off sequence
        {"evil\xE2\x80\xAEtxt.exe", "evil\\u202etxt.exe"},  // right-to-left override
        {"a\xE2\x80\x8B"
         "b",
         "a\\u200bb"},  // zero-width space
        {"a\xE2\x80\x8D"
         "b",
         "a\\u200db"},                        // zero-width joiner
        {"\xEF\xBB\xBFname", "\\ufeffname"},  // byte-order mark
        {"a\xE2\x81\xA6"
         "b",
         "a\\u2066b"},  // left-to-right isolate
    };
    std::set<std::string> shown;
    for (const auto& [name, expected] : cases) {
        EXPECT_EQ(printable(name), expected) << expected;
        EXPECT_TRUE(shown.insert(printable(name)).second) << expected;
    }
}

}  // namespace
}  // namespace velmora
