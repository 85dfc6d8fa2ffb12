#pragma once
// What every export is asked for: the format, and whether it is redacted (then the redactor that
// makes its tokens). Plain values.
#include <optional>
#include <string_view>

#include "CleanerCore/base/Date.h"
#include "CleanerCore/export/ExportRedactor.h"

namespace velmora {

enum class ExportFormat { json, csv };
std::string_view rawValue(ExportFormat format);
std::optional<ExportFormat> exportFormatFromRaw(std::string_view text);

/// The version of the export documents' layout; a reader refuses a newer one.
inline constexpr int kExportFormatVersion = 1;

struct ExportSettings {
    ExportFormat format = ExportFormat::json;
    /// Set for a redacted export: every path, file name, path-based identifier and free text
    /// goes through it. Absent: the full export.
    std::optional<ExportRedactor> redactor;
    Date exportedAt = 0;
};

}  // namespace velmora
