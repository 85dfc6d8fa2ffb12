#include "Velmora/cli/CleanCommand.h"

#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <vector>

#include "CleanerCore/base/Text.h"
#include "CleanerCore/cleaning/CleaningJson.h"
#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "CleanerCore/workflows/CleanupRun.h"
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
    // A question is never asked about a list the person has not seen, so --quiet leaves the
    // list out only when nothing is asked.
    if (!options.quiet || !options.yes) printSelectionPreview(info, selection, home);
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
    info.flush();

    // Each result goes to the output as it arrives; the text keeps only what it prints.
    std::optional<CleanResultJSONWriter> jsonWriter;
    std::optional<CleanResultTextWriter> textWriter;
    if (options.json) {
        jsonWriter.emplace(out);
    } else {
        textWriter.emplace(mode, home);
        textWriter->reserve(selection.size());
    }
    CleanupRunObserver observer{[&](const CleanedItem& item) {
                                    if (jsonWriter) jsonWriter->add(item);
                                    if (textWriter) textWriter->add(item);
                                },
                                [&](const FailedCleanItem& item) {
                                    if (jsonWriter) jsonWriter->add(item);
                                    if (textWriter) textWriter->add(item);
                                }};
    const CleanupRunOutcome outcome = runCleanup(
        *setup, std::move(selection), mode, CleanupAuditSource::cleanupDashboard,
        [&cancel] { return cancel.isCancellationRequested(); }, observer);

    err.flush();
    if (jsonWriter) jsonWriter->finish(outcome.wasCancelled);
    if (textWriter)
        textWriter->finish(out, outcome.wasCancelled, outcome.cleanedBytes, outcome.record);
    out.flush();
    if (outcome.record == CleanupHistoryRecord::notWritten) {
        std::cerr << "velmora: the cleanup history " << printable(outcome.historyPath)
                  << " could not be written, so this cleanup is not recorded.";
        if (!outcome.marked) {
            std::cerr << " `velmora restore --last` would now put back an earlier cleanup, not "
                         "this one.";
        }
        std::cerr << "\n";
    }
    if (outcome.wasCancelled) return interrupts.exitStatus();
    if (outcome.record == CleanupHistoryRecord::notWritten) return kExitFailures;
    return outcome.anyFailed ? kExitFailures : kExitDone;
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
