#include "Velmora/cli/CleanCommand.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <iostream>
#include <iterator>
#include <set>
#include <vector>

#include "CleanerCore/audit/CleanupAuditEntryBuilder.h"
#include "CleanerCore/audit/CleanupAuditMarkers.h"
#include "CleanerCore/audit/CleanupAuditStore.h"
#include "CleanerCore/base/Text.h"
#include "CleanerCore/cleaning/CleaningJson.h"
#include "CleanerCore/cleaning/CleaningService.h"
#include "CleanerCore/cleaning/TrashRestoreService.h"
#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/platform/UUID.h"
#include "CleanerCore/platform/UniqueFd.h"
#include "CleanerCore/scanning/DistinctBytes.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "CleanerCore/workflows/CleanupFence.h"
#include "CleanerCore/workflows/CleanupSelection.h"
#include "CleanerCore/workflows/RestoreRun.h"
#include "CleanerCore/workflows/ScanReportFile.h"
#include "Velmora/cli/CleanOutput.h"
#include "Velmora/cli/Confirmation.h"
#include "Velmora/cli/ExitStatus.h"
#include "Velmora/cli/Interrupt.h"
#include "Velmora/cli/Output.h"
#include "Velmora/cli/ScanCommand.h"
#include "VelmoraUI/dashboard/Formatting.h"

namespace velmora::cli {

namespace {

// The scan locations of the request; a refused request is explained on standard error.
std::optional<ScanSetup> prepareOrExplain(const ScanRequest& request,
                                          const CancellationToken& cancel) {
    auto setup = prepareScan(request, cancel);
    if (!setup) {
        std::cerr << "velmora: " << setup.error() << "\n";
        return std::nullopt;
    }
    return std::move(*setup);
}

// The selection the options ask for; a refusal is explained on standard error.
std::optional<std::vector<size_t>> selectOrExplain(const CleanCommandOptions& options,
                                                   const ScanReport& report) {
    CandidateSelectionRequest request{options.defaults, {}, options.ids};
    for (const auto& argument : options.paths)
        request.paths.push_back(absolutePathFromArgument(argument));
    auto selected = selectCandidates(report, request);
    if (auto* indices = std::get_if<std::vector<size_t>>(&selected)) return std::move(*indices);
    const auto& refusal = std::get<CandidateSelectionRefusal>(selected);
    using Kind = CandidateSelectionRefusal::Kind;
    std::cerr << "velmora: ";
    switch (refusal.kind) {
        case Kind::unknownPath:
            std::cerr << "not a cleanup candidate of this scan: " << printable(refusal.text)
                      << "\nRun `velmora scan` to see the candidates; nothing was cleaned.\n";
            break;
        case Kind::unknownID:
            std::cerr << "no candidate has the id " << printable(refusal.text)
                      << "\nRun `velmora scan --json` to see the ids; nothing was cleaned.\n";
            break;
        case Kind::ambiguousID:
            std::cerr << "the id " << printable(refusal.text)
                      << " names several candidates whose names are not valid text; select them "
                         "by path instead. Nothing was cleaned.\n";
            break;
    }
    return std::nullopt;
}

// Cleans `selection` in slices of a few thousand candidates, each moved out of the selection
// and handed with its results to `deliver` before the next, so that the results of a large run
// are never held whole (for a million candidates that would be gigabytes). The parts together
// are the result of one call: input order, and a cancelled slice ends the run. Returns whether
// the run was cancelled.
bool cleanInSlices(const CleaningService& service, std::vector<CleanupCandidate> selection,
                   const std::vector<ScanLocation>& locations, CleaningMode mode,
                   const CleanupEligibilityPolicy& policy,
                   const std::function<void(CleanResult&&)>& deliver) {
    constexpr size_t kSlice = 4096;
    for (size_t at = 0; at < selection.size(); at += kSlice) {
        const auto begin = selection.begin() + static_cast<std::ptrdiff_t>(at);
        const auto end = selection.begin() +
                         static_cast<std::ptrdiff_t>(std::min(at + kSlice, selection.size()));
        std::vector<CleanupCandidate> slice(std::make_move_iterator(begin),
                                            std::make_move_iterator(end));
        CleanResult part = service.clean(std::move(slice), locations, mode, policy);
        const bool cancelled = part.wasCancelled;
        deliver(std::move(part));
        if (cancelled) return true;
    }
    return false;
}

std::string restoreRefusalText(const RestoreRefusal& refusal) {
    using Kind = RestoreRefusal::Kind;
    switch (refusal.kind) {
        case Kind::noCleanupToRestore:
            return "the history holds no cleanup to restore.";
        case Kind::noCleanupWithID:
            return "the history holds no cleanup with the id " + printable(refusal.text) + ".";
        case Kind::pathNotInCleanup:
            return printable(refusal.text) +
                   " was not cleaned by that cleanup; nothing was restored.";
        case Kind::newestCleanupDatedInFuture:
            return "the newest cleanup in the history is dated " +
                   formatLocalTime(refusal.startedAt) +
                   ", later than now (the clock was once set ahead), so --last cannot tell which "
                   "cleanup was run last. Choose the cleanup to restore with --entry ID (see "
                   "`velmora history`).";
        case Kind::newestCleanupUnrecorded:
            break;
    }
    std::string when;
    if (refusal.startedAt != 0) when = " (started " + formatLocalTime(refusal.startedAt) + ")";
    return "the newest cleanup" + when +
           " could not be recorded in the history, so --last would put back an earlier one "
           "instead. Choose the cleanup to restore with --entry ID (see `velmora history`); the "
           "items of the unrecorded cleanup can be put back from your desktop's Trash.";
}

}  // namespace

std::string absolutePathFromArgument(const std::string& argument) {
    if (!argument.empty() && argument[0] == '/') return standardizePath(argument);
    std::string cwd(4096, '\0');
    while (::getcwd(cwd.data(), cwd.size()) == nullptr && errno == ERANGE)
        cwd.resize(cwd.size() * 2);
    cwd.resize(std::char_traits<char>::length(cwd.c_str()));
    return standardizePath(cwd + "/" + argument);
}

int runCleanCommand(const CleanCommandOptions& options) {
    if (options.paths.empty() && options.ids.empty() && !options.defaults) {
        std::cerr << "velmora: choose what to clean: one or more paths, --id ID, or --defaults "
                     "(the items a scan selects by default).\n";
        return kExitRefused;
    }
    CancellationToken cancel;
    InterruptScope interrupts(cancel);
    raiseOpenFileLimit();
    auto setup = prepareOrExplain(options.request, cancel);
    if (!setup) return kExitRefused;
    if (setup->fellBackToStandard) {
        // Cleaning the standard catalogue's selection instead would act on items the person
        // never asked for.
        std::cerr << "velmora: " << kDirectModeNeedsPermission << "; nothing was cleaned.\n";
        return kExitRefused;
    }
    const std::string& home = setup->environment.home;
    const Catalogue catalogue = options.request.catalogue;

    ScanReport report;
    if (options.reportFile) {
        auto read = readScanReportFile(*options.reportFile);
        if (!read) {
            std::cerr << "velmora: " << read.error() << "\n";
            return kExitRefused;
        }
        report = std::move(*read);
    } else {
        report = scanWithProgress(*setup, options.quiet || options.json, cancel);
        if (!report.hasCompletedScan) {
            std::cerr << "velmora: the scan was cancelled; nothing was cleaned.\n";
            return interrupts.exitStatus();
        }
    }
    auto chosen = selectOrExplain(options, report);
    if (!chosen) return kExitRefused;
    std::vector<CleanupCandidate> selection = takeSelection(report, *chosen);
    std::vector<size_t>().swap(*chosen);
    if (selection.empty()) {
        if (options.json) {
            printCleanResultJSON(std::cout, CleanResult{});
        } else {
            std::cout << "Nothing to clean: no candidate is selected.\n";
        }
        return kExitDone;
    }

    const CleaningMode mode =
        options.deletePermanently ? CleaningMode::deletePermanently : CleaningMode::moveToTrash;
    // Per-item lines go through buffers, written when full, at the end, or per line on a
    // terminal; one stream is flushed before the other is written, so that their order holds
    // when both go to one place.
    std::cout.flush();
    BufferedFdStream out(STDOUT_FILENO);
    BufferedFdStream err(STDERR_FILENO);
    std::ostream& info = options.json ? static_cast<std::ostream&>(err) : out;
    printSelectionPreview(info, selection, home);
    if (!options.yes) {
        if (!standardInputIsTerminal()) {
            info.flush();
            err << confirmationRefusal(mode == CleaningMode::moveToTrash ? "moved" : "deleted")
                << "\n";
            return kExitRefused;
        }
        const std::string question =
            mode == CleaningMode::moveToTrash
                ? "Move these items to the Trash?"
                : "Delete these items permanently? They cannot be restored.";
        if (!askToConfirm(question, std::cin, info)) {
            info << "Nothing was changed.\n";
            return cancel.isCancellationRequested() ? interrupts.exitStatus() : kExitDone;
        }
    }

    // Until the run is in the history, a marker beside it keeps `restore --last` from taking
    // an older cleanup for this one. Failing to write it does not stop the cleanup (a full disk
    // is a reason to clean); the person is then told what `restore --last` would do.
    CleanupAuditStore store(CleanupAuditStore::defaultFilePath(setup->environment));
    const std::string entryID = makeUUIDString();
    const bool marked = markCleanupUnrecorded(store.filePath(), {entryID, currentDate()});

    CleaningService service(
        {home, catalogue, homeTrash(setup->environment), currentDate, setup->protectedPlaces},
        [&cancel] { return cancel.isCancellationRequested(); });
    info.flush();
    const auto requestedCount = static_cast<int64_t>(selection.size());
    std::vector<const CleanupCandidate*> listed;
    for (const auto& c : selection) listed.push_back(&c);
    const int64_t requestedBytes = distinctBytes(listed);
    std::vector<const CleanupCandidate*>().swap(listed);
    // Each part of the result goes to the output and the history entry, then is dropped.
    CleanAuditEntryBuilder history(requestedCount, requestedBytes, mode,
                                   CleanupAuditSource::cleanupDashboard);
    history.reserve(static_cast<size_t>(requestedCount));
    std::optional<CleanResultJSONWriter> jsonWriter;
    std::optional<CleanResultTextWriter> textWriter;
    if (options.json) {
        jsonWriter.emplace(out);
    } else {
        textWriter.emplace(mode, home);
        textWriter->reserve(static_cast<size_t>(requestedCount));
    }
    bool anyFailed = false;
    auto deliver = [&](CleanResult&& part) {
        for (auto& item : part.cleanedItems) {
            if (jsonWriter) jsonWriter->add(item);
            if (textWriter) textWriter->add(item);
            history.add(std::move(item));
        }
        for (auto& item : part.failedItems) {
            anyFailed = true;
            history.add(item);
            if (jsonWriter) {
                jsonWriter->add(std::move(item));
            } else {
                textWriter->add(std::move(item));
            }
        }
    };
    const bool wasCancelled = cleanInSlices(service, std::move(selection), setup->locations, mode,
                                            cleanupPolicy(*setup), deliver);

    CleanupAuditEntry entry = history.finish(wasCancelled, currentDate());
    entry.id = entryID;
    const int64_t cleanedBytes = entry.affectedBytes;
    const CleanupAuditAppendResult recorded = store.recordAtCurrentTime(std::move(entry));
    CleanHistoryRecord record = CleanHistoryRecord::notWritten;
    if (recorded.written) {
        (void)clearUnrecordedCleanupMarker(store.filePath(), entryID);
        // A cleanup too large for the history's size cap is kept without its item list.
        record = CleanHistoryRecord::withoutItems;
        for (const auto& kept : recorded.entries) {
            if (kept.id == entryID && !kept.cleanedItems.empty())
                record = CleanHistoryRecord::withItems;
        }
    }

    err.flush();
    if (jsonWriter) jsonWriter->finish(wasCancelled);
    if (textWriter) textWriter->finish(out, wasCancelled, cleanedBytes, record);
    out.flush();
    if (record == CleanHistoryRecord::notWritten) {
        std::cerr << "velmora: the cleanup history " << printable(store.filePath())
                  << " could not be written, so this cleanup is not recorded.";
        if (!marked) {
            std::cerr << " `velmora restore --last` would now put back an earlier cleanup, not "
                         "this one.";
        }
        std::cerr << "\n";
    }
    if (wasCancelled) return interrupts.exitStatus();
    if (record == CleanHistoryRecord::notWritten) return kExitFailures;
    return anyFailed ? kExitFailures : kExitDone;
}

int runRestoreCommand(const RestoreCommandOptions& options) {
    if (options.last == options.entryID.has_value()) {
        std::cerr << "velmora: choose what to restore: --last (the newest cleanup) or --entry ID "
                     "(see `velmora history`).\n";
        return kExitRefused;
    }
    CancellationToken cancel;
    InterruptScope interrupts(cancel);
    raiseOpenFileLimit();
    auto setup = prepareOrExplain(options.request, cancel);
    if (!setup) return kExitRefused;
    const std::string& home = setup->environment.home;
    RestoreRequest request{options.last, options.entryID, {}};
    for (const auto& p : options.paths) request.paths.push_back(absolutePathFromArgument(p));
    auto planned = planRestore(*setup, request);
    if (auto* refusal = std::get_if<RestoreRefusal>(&planned)) {
        std::cerr << "velmora: " << restoreRefusalText(*refusal) << "\n";
        return kExitRefused;
    }
    const RestorePlan& plan = std::get<RestorePlan>(planned);
    const auto& items = plan.items;
    if (items.empty()) {
        std::cout << "Nothing to restore: that cleanup kept no restorable items.\n";
        return kExitDone;
    }

    std::ostream& info = options.json ? std::cerr : std::cout;
    info << "Restore " << items.size() << (items.size() == 1 ? " item" : " items")
         << " from the cleanup of " << formatLocalTime(plan.entry.occurredAt) << ":\n";
    for (const auto& item : items) {
        info << "  " << printable(displayPath(item.candidate.url.path, home)) << "\n";
    }
    info << "\n";
    if (!options.yes) {
        if (!standardInputIsTerminal()) {
            std::cerr << confirmationRefusal("restored") << "\n";
            return kExitRefused;
        }
        if (!askToConfirm("Put these items back?", std::cin, info)) {
            info << "Nothing was changed.\n";
            return cancel.isCancellationRequested() ? interrupts.exitStatus() : kExitDone;
        }
    }

    const RestoreRunOutcome outcome =
        runRestore(*setup, plan, CleanupAuditSource::cleanupDashboard,
                   [&cancel] { return cancel.isCancellationRequested(); });
    const RestoreResult& result = outcome.result;
    const bool recorded = outcome.recorded;

    if (options.json) {
        std::cout << dumpJSON(nlohmann::json(result), true) << "\n";
    } else {
        printRestoreResult(std::cout, result, home);
    }
    std::cout.flush();
    if (!recorded) {
        std::cerr << "velmora: the cleanup history " << printable(plan.historyPath)
                  << " could not be written, so this restore is not recorded.\n";
    }
    if (result.wasCancelled) return interrupts.exitStatus();
    if (!recorded) return kExitFailures;
    return result.failedItems.empty() ? kExitDone : kExitFailures;
}

}  // namespace velmora::cli
