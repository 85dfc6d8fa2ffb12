#pragma once
// The exports as every front end makes them: the settings (with the installation key when the
// export is redacted), the text of a scan, an insight scan or the stored history, and the file
// it is saved to. The front ends run the scans themselves (with their own progress display) and
// hand the result here. Errors are values; thread-safe.
#include <optional>
#include <string>
#include <string_view>

#include "CleanerCore/base/Result.h"
#include "CleanerCore/export/ExportSettings.h"
#include "CleanerCore/export/HistoryExport.h"
#include "CleanerCore/export/InsightExport.h"
#include "CleanerCore/export/ScanExport.h"
#include "CleanerCore/platform/AtomicFileWrite.h"
#include "CleanerCore/platform/Environment.h"
#include "CleanerCore/workflows/InsightRun.h"

namespace velmora {

enum class ExportProblem {
    /// A redacted export needs the installation key, and it could not be read or created.
    keyUnavailable,
    /// The destination is a symbolic link: the export would land wherever it points.
    destinationIsLink,
    /// The destination exists and is not a regular file (a folder, a FIFO, a device, ...).
    destinationNotRegularFile,
    /// The file could not be written (`errorNumber` says why); nothing was replaced.
    writeFailed,
};

struct ExportFailure {
    ExportProblem problem = ExportProblem::writeFailed;
    std::string path;  ///< the key file or the destination
    int errorNumber = 0;
};

/// The settings of an export made now in `format`; a redacted one loads (or creates) the
/// installation key under `environment`'s data folder.
Result<ExportSettings, ExportFailure> makeExportSettings(const UserEnvironment& environment,
                                                         ExportFormat format, bool redacted);

/// The export of an insight run (its report and keeper recommendations).
std::string exportInsightRun(const InsightRun& run, const ExportSettings& settings);

/// The export of the cleanup history stored for `environment`.
std::string exportStoredCleanupHistory(const UserEnvironment& environment,
                                       const ExportSettings& settings);

/// Why `path` cannot take an export: it is a link, or something other than a regular file.
/// nullopt when it is a regular file or does not exist.
std::optional<ExportFailure> exportDestinationProblem(const std::string& path);

/// Saves `text` at `path` atomically. Refuses a link (it is never followed) and anything that is
/// not a regular file; a missing file is created (mode 0600), an existing one replaced.
std::optional<ExportFailure> writeExportFile(const std::string& path, std::string_view text);

}  // namespace velmora
