// CSV fields: RFC 4180 quoting, formula neutralising and UTF-8 repair, and whole tables read
// back by a strict reader, so a wrongly quoted field shows up as a wrong column count.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CleanerCore/export/ExportCsv.h"
#include "CleanerCore/export/ScanExport.h"
#include "CleanerCore/review/CleanupProofCard.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "export/CsvReader.h"

namespace velmora {
namespace {

TEST(ExportCsvTest, TextFieldsAreQuotedAndNeutralised) {
    struct Case {
        std::string in, out;
    };
    const std::vector<Case> cases = {
        {"plain", "plain"},
        {"", ""},
        {"a,b", "\"a,b\""},
        {"say \"hi\"", "\"say \"\"hi\"\"\""},
        {"line\nbreak", "\"line\nbreak\""},
        {"cr\rhere", "\"cr\rhere\""},
        {"=SUM(A1:A9)", "'=SUM(A1:A9)"},
        {"+1", "'+1"},
        {"-2", "'-2"},
        {"@cmd", "'@cmd"},
        {"\tTab", "'\tTab"},
        {"\rCR", "\"'\rCR\""},
        {"=HYPERLINK(\"x\",\"y\")", "\"'=HYPERLINK(\"\"x\"\",\"\"y\"\")\""},
        {"a=b", "a=b"},  // only the first character can start a formula
        {" =x", " =x"},
        {"ok\xff\xfe", "ok\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"\xC3\xA9t\xC3\xA9", "\xC3\xA9t\xC3\xA9"},  // valid UTF-8 stays
    };
    for (const auto& c : cases) EXPECT_EQ(csvTextField(c.in), c.out) << c.in;
}

TEST(ExportCsvTest, TablesEndRowsWithCRLFAndFormatValues) {
    CsvTable table({"name", "size", "when", "flag"});
    table.text("x").number(-5).date(0.0).boolean(true);
    table.endRow();
    table.text("").optionalNumber(std::nullopt).date(std::nullopt).boolean(false);
    table.endRow();
    // Numbers the export formats itself are not neutralised: -5 stays a number.
    EXPECT_EQ(table.str(), "name,size,when,flag\r\nx,-5,2001-01-01T00:00:00Z,true\r\n,,,false\r\n");
    EXPECT_EQ(iso8601(1.0e9), "2032-09-09T01:46:40Z");
}

TEST(ExportCsvTest, HostileCandidateNamesKeepTheirColumns) {
    const std::vector<std::string> names = {
        "a,b",   "q\"uote", "multi\nline", "cr\rname", "=cmd|'/c calc'!A0",
        "+plus", "-minus",  "@at",         "\ttab",    "bad\377byte"};
    ScanReport report;
    for (const auto& name : names) {
        CleanupCandidate c;
        c.url = FileURL("/h/.cache/" + name);
        c.displayName = name;
        c.category = CleanupCategory::userCaches;
        c.sizeBytes = 10;
        report.candidates.push_back(c);
    }
    ExportSettings settings;
    settings.format = ExportFormat::csv;
    const std::string text = exportScanReport(report, Catalogue::linux, settings);

    const auto rows = test::readCsv(text);
    ASSERT_TRUE(rows) << text;
    ASSERT_EQ(rows->size(), names.size() + 1);
    const std::vector<std::string> header(kScanExportColumns.begin(), kScanExportColumns.end());
    EXPECT_EQ(rows->front(), header);
    for (size_t i = 0; i < names.size(); ++i) {
        const auto& row = (*rows)[i + 1];
        ASSERT_EQ(row.size(), header.size()) << names[i];
        // The name reads back as written (invalid bytes repaired), behind an apostrophe when it
        // could start a formula.
        const bool formula = std::string_view("=+-@\t\r").find(names[i][0]) != std::string::npos;
        const std::string expected = (formula ? "'" : "") + validUTF8(names[i]);
        EXPECT_EQ(row[2], expected);
        EXPECT_EQ(row[3], "userCaches");
        EXPECT_EQ(row[5], "10");
    }
}

}  // namespace
}  // namespace velmora
