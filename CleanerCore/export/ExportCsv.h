#pragma once
// CSV as RFC 4180 writes it, made safe to open in a spreadsheet: one header row, CRLF after
// every row, a field quoted when it holds a comma, a quote, a carriage return or a line feed
// (quotes doubled inside). A text field that begins with "=", "+", "-", "@", a tab or a carriage
// return gets an apostrophe in front, so no spreadsheet reads it as a formula; invalid UTF-8 is
// replaced by U+FFFD. Numbers the export itself formats are written as they are (a negative
// number stays a number). Pure, thread-safe.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/base/Date.h"

namespace velmora {

/// One field of text, neutralised and quoted as above.
std::string csvTextField(std::string_view text);

/// Builds one table row by row.
class CsvTable {
  public:
    explicit CsvTable(const std::vector<std::string_view>& header);

    CsvTable& text(std::string_view value);
    CsvTable& number(int64_t value);
    CsvTable& optionalNumber(std::optional<int64_t> value);
    CsvTable& boolean(bool value);
    /// ISO 8601 in UTC to the second ("2026-11-25T12:00:00Z"); empty when absent.
    CsvTable& date(std::optional<Date> value);
    /// Ends the row (the caller gives one field per header column).
    void endRow();

    /// The whole table; `endRow` must have ended the last row.
    const std::string& str() const { return out_; }

  private:
    void separate();
    std::string out_;
    bool rowStarted_ = false;
};

/// A date as ISO 8601 in UTC to the second, e.g. "2026-11-25T12:00:00Z".
std::string iso8601(Date date);

}  // namespace velmora
