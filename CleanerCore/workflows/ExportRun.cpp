#include "CleanerCore/workflows/ExportRun.h"

#include <sys/stat.h>

#include "CleanerCore/audit/CleanupAuditStore.h"
#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/platform/InstallationKey.h"

namespace velmora {

Result<ExportSettings, ExportFailure> makeExportSettings(const UserEnvironment& environment,
                                                         ExportFormat format, bool redacted) {
    ExportSettings settings;
    settings.format = format;
    settings.exportedAt = currentDate();
    if (redacted) {
        const std::string keyPath = installationKeyPath(environment.xdgDataHome);
        auto key = loadOrCreateInstallationKey(keyPath);
        if (!key) return Failure{ExportFailure{ExportProblem::keyUnavailable, keyPath, 0}};
        settings.redactor = ExportRedactor::forNewExport(key->key);
    }
    return settings;
}

std::string exportInsightRun(const InsightRun& run, const ExportSettings& settings) {
    return exportInsightReport(run.report, run.keepers, settings);
}

std::string exportStoredCleanupHistory(const UserEnvironment& environment,
                                       const ExportSettings& settings) {
    const CleanupAuditStore store(CleanupAuditStore::defaultFilePath(environment));
    return exportCleanupHistory(store.recentEntries(), settings);
}

std::optional<ExportFailure> exportDestinationProblem(const std::string& path) {
    if (auto st = lstatPath(path)) {
        if (S_ISLNK(st->st_mode)) return ExportFailure{ExportProblem::destinationIsLink, path, 0};
        if (!S_ISREG(st->st_mode))
            return ExportFailure{ExportProblem::destinationNotRegularFile, path, 0};
    }
    return std::nullopt;
}

std::optional<ExportFailure> writeExportFile(const std::string& path, std::string_view text) {
    if (auto problem = exportDestinationProblem(path)) return problem;
    // The temporary file is renamed over the name itself, so a link put there meanwhile is
    // replaced, never written through.
    if (auto failure = writeFileAtomically(path, text))
        return ExportFailure{ExportProblem::writeFailed, path, failure->errorNumber};
    return std::nullopt;
}

}  // namespace velmora
