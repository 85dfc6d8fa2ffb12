#pragma once
// A strict RFC 4180 reader for the tests: rows end in CRLF, quoted fields double their quotes,
// and a quote inside an unquoted field or anything after a closing quote but a separator is an
// error (nullopt).
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::test {

inline std::optional<std::vector<std::vector<std::string>>> readCsv(std::string_view text) {
    std::vector<std::vector<std::string>> rows;
    std::vector<std::string> row;
    std::string field;
    size_t i = 0;
    while (i < text.size()) {
        if (text[i] == '"') {
            ++i;
            while (true) {
                if (i >= text.size()) return std::nullopt;
                if (text[i] == '"') {
                    if (i + 1 < text.size() && text[i + 1] == '"') {
                        field += '"';
                        i += 2;
                        continue;
                    }
                    ++i;
                    break;
                }
                field += text[i++];
            }
        } else {
            while (i < text.size() && text[i] != ',' && text[i] != '\r' && text[i] != '\n') {
                if (text[i] == '"') return std::nullopt;
                field += text[i++];
            }
        }
        if (i < text.size() && text[i] == ',') {
            row.push_back(std::move(field));
            field.clear();
            ++i;
        } else if (text.substr(i, 2) == "\r\n") {
            row.push_back(std::move(field));
            field.clear();
            rows.push_back(std::move(row));
            row.clear();
            i += 2;
        } else {
            return std::nullopt;  // a bare CR or LF outside quotes, or text after a quote
        }
    }
    if (!row.empty() || !field.empty()) return std::nullopt;  // no CRLF after the last row
    return rows;
}

}  // namespace velmora::test
