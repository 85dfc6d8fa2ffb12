#include "CleanerCore/export/ExportSettings.h"

namespace velmora {

std::string_view rawValue(ExportFormat format) {
    return format == ExportFormat::csv ? "csv" : "json";
}

std::optional<ExportFormat> exportFormatFromRaw(std::string_view text) {
    if (text == "json") return ExportFormat::json;
    if (text == "csv") return ExportFormat::csv;
    return std::nullopt;
}

}  // namespace velmora
