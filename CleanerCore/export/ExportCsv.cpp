#include "CleanerCore/export/ExportCsv.h"

#include <cmath>
#include <ctime>

#include "CleanerCore/scanning/ModelJson.h"

namespace velmora {

std::string csvTextField(std::string_view text) {
    std::string value = validUTF8(text);
    if (!value.empty()) {
        switch (value.front()) {
            case '=':
            case '+':
            case '-':
            case '@':
            case '\t':
            case '\r':
                value.insert(value.begin(), '\'');
                break;
            default:
                break;
        }
    }
    if (value.find_first_of(",\"\r\n") == std::string::npos) return value;
    std::string quoted = "\"";
    for (char c : value) {
        if (c == '"') quoted += '"';
        quoted += c;
    }
    quoted += '"';
    return quoted;
}

std::string iso8601(Date date) {
    if (!std::isfinite(date)) return {};
    const auto seconds = static_cast<time_t>(std::floor(date + kReferenceDateUnixOffset));
    std::tm utc{};
    if (!gmtime_r(&seconds, &utc)) return {};
    char text[32];
    if (std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc) == 0) return {};
    return text;
}

CsvTable::CsvTable(const std::vector<std::string_view>& header) {
    for (auto name : header) text(name);
    endRow();
}

void CsvTable::separate() {
    if (rowStarted_) out_ += ',';
    rowStarted_ = true;
}

CsvTable& CsvTable::text(std::string_view value) {
    separate();
    out_ += csvTextField(value);
    return *this;
}

CsvTable& CsvTable::number(int64_t value) {
    separate();
    out_ += std::to_string(value);
    return *this;
}

CsvTable& CsvTable::optionalNumber(std::optional<int64_t> value) {
    separate();
    if (value) out_ += std::to_string(*value);
    return *this;
}

CsvTable& CsvTable::boolean(bool value) {
    separate();
    out_ += value ? "true" : "false";
    return *this;
}

CsvTable& CsvTable::date(std::optional<Date> value) {
    separate();
    if (value) out_ += iso8601(*value);
    return *this;
}

void CsvTable::endRow() {
    out_ += "\r\n";
    rowStarted_ = false;
}

}  // namespace velmora
