#include "Velmora/cli/Output.h"

#include <fmt/format.h>

#include <ostream>

#include "CleanerCore/review/DistinctBytes.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "VelmoraUI/dashboard/Formatting.h"

namespace velmora::cli {

namespace {
std::string padRight(const std::string& text, size_t width) {
    size_t w = displayWidth(text);
    return w >= width ? text : text + std::string(width - w, ' ');
}
std::string padLeft(const std::string& text, size_t width) {
    size_t w = displayWidth(text);
    return w >= width ? text : std::string(width - w, ' ') + text;
}
std::string plural(int64_t n, const char* one, const char* many) {
    return fmt::format("{} {}", n, n == 1 ? one : many);
}
}  // namespace

void printScanReport(std::ostream& out, const ScanReport& report, const std::string& home) {
    int64_t selectedCount = 0;
    // Every byte once: nested candidates and further hard links add nothing to a total.
    std::vector<const CleanupCandidate*> all, selected;
    for (const auto& c : report.candidates) {
        all.push_back(&c);
        if (c.isSelectedByDefault) selected.push_back(&c);
    }
    const int64_t total = distinctBytes(all), selectedBytes = distinctBytes(selected);
    if (report.candidates.empty()) {
        out << "Nothing to clean: no candidates were found.\n";
    } else {
        out << padRight("Safety", 14) << padLeft("Size", 10) << "  " << padRight("Category", 23)
            << "Path\n";
        for (const auto& c : report.candidates) {
            out << padRight(std::string(displayName(c.safety)), 14)
                << padLeft(formatBytes(c.sizeBytes), 10) << "  "
                << padRight(std::string(displayName(c.category)), 23)
                << printable(displayPath(c.url.path, home)) << (c.isSelectedByDefault ? "  *" : "")
                << '\n';
            if (c.isSelectedByDefault) ++selectedCount;
        }
        out << '\n'
            << plural(static_cast<int64_t>(report.candidates.size()), "candidate", "candidates")
            << ", " << formatBytes(total) << " in total; " << selectedCount
            << " selected by default (*), " << formatBytes(selectedBytes) << ".\n";
    }
    if (!report.skippedItems.empty()) {
        out << '\n'
            << plural(static_cast<int64_t>(report.skippedItems.size()), "item", "items")
            << " skipped:\n";
        for (const auto& s : report.skippedItems) {
            out << "  " << printable(displayPath(s.url.path, home)) << " — " << printable(s.reason)
                << '\n';
        }
    }
    out << '\n'
        << plural(static_cast<int64_t>(report.scannedRoots.size()), "folder", "folders")
        << " scanned. Nothing was changed; use `velmora clean` to move items to the Trash.\n";
}

void printScanReportJSON(std::ostream& out, const ScanReport& report) {
    // Streamed one record at a time, so memory stays flat however many candidates there are;
    // the text equals dumpJSON(json(report), true) (keys in the coder's sorted order).
    std::string indented;
    auto element = [&out, &indented](const nlohmann::json& value) {
        const std::string text = dumpJSON(value, true);
        indented.clear();
        for (char c : text) {
            indented += c;
            if (c == '\n') indented += "    ";  // JSON strings never hold a raw newline
        }
        out.write(indented.data(), static_cast<std::streamsize>(indented.size()));
    };
    auto array = [&](const char* key, const auto& items, bool last) {
        out << "  \"" << key << "\": ";
        if (items.empty()) {
            out << "[]";
        } else {
            out << "[\n";
            for (size_t i = 0; i < items.size(); ++i) {
                out << "    ";
                element(nlohmann::json(items[i]));
                out << (i + 1 < items.size() ? ",\n" : "\n");
            }
            out << "  ]";
        }
        out << (last ? "\n" : ",\n");
    };
    out << "{\n";
    array("candidates", report.candidates, false);
    out << "  \"hasCompletedScan\": " << (report.hasCompletedScan ? "true" : "false") << ",\n";
    out << "  \"scannedAt\": " << nlohmann::json(report.scannedAt).dump() << ",\n";
    array("scannedRoots", report.scannedRoots, false);
    array("skippedItems", report.skippedItems, true);
    out << "}\n";
}

}  // namespace velmora::cli
