#pragma once
// `velmora export scan|insights|history`: a cleanup scan, a storage insight scan or the cleanup
// history as JSON or CSV, in full or redacted (paths, file names and free text replaced by
// tokens made with this installation's key). Written to standard output, or with `-o FILE`
// atomically to a file (never through a link, never onto anything but a regular file).
//
// Exit status: 0 written; 1 the key or the file could not be read or written; 2 refused (a
// destination that is a link or not a regular file, a refused scan request; nothing scanned or
// written); 128 + N interrupted (nothing written: a partial scan is not exported).
#include <optional>
#include <string>

#include "CleanerCore/export/ExportSettings.h"
#include "CleanerCore/workflows/InsightRun.h"
#include "CleanerCore/workflows/ScanSetup.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::cli {

enum class ExportSubject { scan, insights, history };

struct ExportCommandOptions {
    ExportSubject subject = ExportSubject::scan;
    std::string format = "json";
    bool redacted = false;
    std::optional<std::string> output;  ///< -o FILE, as typed
    bool quiet = false;                 ///< no progress display while scanning
    ScanRequest scanRequest;            ///< `export scan`: the scan, as `velmora scan` takes it
    bool hidesIgnored = true;           ///< `export scan`: leave out the ignored candidates
    InsightRunRequest insightRequest;   ///< `export insights`: the home and catalogue
    std::optional<std::string> homeOverride;
    std::optional<AppLanguage> runLanguage;  ///< the global --language
    /// `export scan`: the language resolved with the scan request (kept folders and language
    /// come from the same preferences).
    std::optional<AppLanguage> language;
};

int runExportCommand(const ExportCommandOptions& options);

}  // namespace velmora::cli
