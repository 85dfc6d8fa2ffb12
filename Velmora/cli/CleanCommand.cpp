#include "Velmora/cli/CleanCommand.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <iostream>
#include <iterator>
#include <set>
#include <vector>

#include "CleanerCore/audit/CleanupAuditEntryBuilder.h"
#include "CleanerCore/audit/CleanupAuditMarkers.h"
#include "CleanerCore/audit/CleanupAuditStore.h"
#include "CleanerCore/audit/UUID.h"
#include "CleanerCore/cleaning/CleaningJson.h"
#include "CleanerCore/cleaning/CleaningService.h"
#include "CleanerCore/cleaning/TrashRestoreService.h"
#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/platform/UniqueFd.h"
#include "CleanerCore/scanning/DistinctBytes.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "CleanerCore/scanning/Text.h"
#include "Velmora/cli/CleanOutput.h"
#include "Velmora/cli/Confirmation.h"
#include "Velmora/cli/Interrupt.h"
#include "Velmora/cli/Output.h"
#include "Velmora/cli/ScanCommand.h"
#include "VelmoraUI/dashboard/Formatting.h"

namespace velmora::cli {

namespace {

constexpr int kUsageError = 2;

Trash trashFor(const UserEnvironment& environment) {
    return Trash({environment.xdgDataHome, ::getuid()});
}

CleanupEligibilityPolicy policyFor(const ScanSetup& setup, Catalogue catalogue) {
    return CleanupEligibilityPolicy::make(
        setup.locations, kDefaultValidationDescendantLimit, std::nullopt,
        SafePathPolicy::make({}, setup.environment.home, catalogue, setup.protectedPlaces));
}

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

// A scan report is a few megabytes even for a very large home; anything above this is not one,
// and reading it whole would only exhaust memory.
constexpr int64_t kMaximumReportBytes = int64_t{64} << 20;
// No real item comes near 1 EiB; a larger size is a damaged or edited report.
constexpr int64_t kMaximumCandidateBytes = int64_t{1} << 60;

// Reads the report through one descriptor. A link the person names is followed (they chose
// it); whatever it leads to must be a regular file of a plausible size. The open does not block,
// so a FIFO without a writer is refused rather than waited on.
Result<std::string> readReportText(const std::string& file) {
    const std::string shown = printable(file);
    UniqueFd fd(::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!fd) {
        return fail("could not read the report " + shown + ": " + std::strerror(errno) + ".");
    }
    struct stat st {};
    if (::fstat(fd.get(), &st) != 0) {
        return fail("could not read the report " + shown + ": " + std::strerror(errno) + ".");
    }
    if (S_ISDIR(st.st_mode)) {
        return fail("the report " + shown +
                    " is a folder; give the file that `velmora scan --json` wrote.");
    }
    if (!S_ISREG(st.st_mode)) {
        return fail("the report " + shown +
                    " is not a regular file (a device, pipe or socket cannot hold a scan "
                    "report).");
    }
    const std::string tooLarge =
        "the report " + shown + " is larger than 64 MiB, which no scan report is.";
    if (st.st_size > kMaximumReportBytes) return fail(tooLarge);
    std::string text;
    text.resize(static_cast<size_t>(st.st_size));
    size_t used = 0;
    for (;;) {
        if (used == text.size()) {
            // The file may have grown since fstat: read on, up to the cap.
            if (static_cast<int64_t>(text.size()) > kMaximumReportBytes) return fail(tooLarge);
            text.resize(text.size() + 65536);
        }
        const ssize_t n = ::read(fd.get(), text.data() + used, text.size() - used);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            return fail("could not read the report " + shown + ": " + std::strerror(errno) + ".");
        }
        if (n == 0) break;
        used += static_cast<size_t>(n);
    }
    if (static_cast<int64_t>(used) > kMaximumReportBytes) return fail(tooLarge);
    text.resize(used);
    return text;
}

// Sizes are byte counts of disk usage: never negative, never near the 64-bit limit, and their
// sum must be countable. A report that breaks this was damaged or edited.
std::optional<std::string> implausibleSize(const ScanReport& report) {
    int64_t total = 0;
    for (const auto& c : report.candidates) {
        const std::string item = printable(c.url.path);
        if (c.sizeBytes < 0) return "the size of " + item + " is negative.";
        if (c.sizeBytes > kMaximumCandidateBytes) {
            return "the size of " + item + " is larger than 1 EiB, which no real item is.";
        }
        if (__builtin_add_overflow(total, c.sizeBytes, &total)) {
            return std::string("the sizes of its candidates add up to more than can be counted.");
        }
    }
    return std::nullopt;
}

Result<ScanReport> readReport(const std::string& file) {
    auto text = readReportText(file);
    if (!text) return fail(text.error());
    auto report = decodeScanReport(*text);
    if (!report)
        return fail("the report " + printable(file) + " is not a scan report: " + report.error());
    if (auto problem = implausibleSize(*report)) {
        return fail("the report " + printable(file) + " cannot be used: " + *problem +
                    " Nothing was cleaned.");
    }
    return report;
}

// The indices of the candidates the options select, in report order; an unknown path or id
// refuses all.
Result<std::vector<size_t>> select(const CleanCommandOptions& options, const ScanReport& report) {
    const auto& candidates = report.candidates;
    std::vector<bool> chosen(candidates.size(), false);
    for (size_t i = 0; i < candidates.size(); ++i) {
        chosen[i] = options.defaults && candidates[i].isSelectedByDefault;
    }
    for (const auto& argument : options.paths) {
        const std::string path = absolutePathFromArgument(argument);
        bool found = false;
        for (size_t i = 0; i < candidates.size(); ++i) {
            if (candidates[i].url.path == path) chosen[i] = found = true;
        }
        if (!found) {
            return fail("not a cleanup candidate of this scan: " + printable(path) +
                        "\nRun `velmora scan` to see the candidates; nothing was cleaned.");
        }
    }
    for (const auto& id : options.ids) {
        // An id copied from JSON output names a non-UTF-8 path with U+FFFD in place of the
        // bytes that are not text; it selects the one candidate whose id renders so, never
        // several.
        std::vector<size_t> exact, rendered;
        for (size_t i = 0; i < candidates.size(); ++i) {
            if (candidates[i].id == id) exact.push_back(i);
            if (validUTF8(candidates[i].id) == id) rendered.push_back(i);
        }
        const auto& matches = exact.empty() ? rendered : exact;
        if (matches.empty()) {
            return fail("no candidate has the id " + printable(id) +
                        "\nRun `velmora scan --json` to see the ids; nothing was cleaned.");
        }
        if (matches.size() > 1) {
            return fail("the id " + printable(id) +
                        " names several candidates whose names are not valid text; select them "
                        "by path instead. Nothing was cleaned.");
        }
        chosen[matches[0]] = true;
    }
    std::vector<size_t> selection;
    for (size_t i = 0; i < candidates.size(); ++i) {
        if (chosen[i]) selection.push_back(i);
    }
    return selection;
}

// Why `restore --last` must not pick the newest cleanup in `entries`: the newest cleanup that
// was run is missing from the history (or its marker cannot be read). nullopt when it may.
std::optional<std::string> lastCleanupRefusal(const CleanupAuditStore& store,
                                              const std::vector<CleanupAuditEntry>& entries) {
    const UnrecordedCleanupMarker marker = readUnrecordedCleanupMarker(store.filePath());
    if (marker.state == UnrecordedCleanupState::none) return std::nullopt;
    if (marker.state == UnrecordedCleanupState::named) {
        for (const auto& e : entries) {
            if (e.id == marker.cleanup->entryID) return std::nullopt;
        }
    }
    std::string when;
    if (marker.cleanup && marker.cleanup->startedAt != 0)
        when = " (started " + formatLocalTime(marker.cleanup->startedAt) + ")";
    return "the newest cleanup" + when +
           " could not be recorded in the history, so --last would put back an earlier one "
           "instead. Choose the cleanup to restore with --entry ID (see `velmora history`); the "
           "items of the unrecorded cleanup can be put back from your desktop's Trash.";
}

// Moves the selected candidates out of the report and releases the rest of it: a scan of a
// million candidates is not kept twice.
std::vector<CleanupCandidate> takeSelection(ScanReport& report,
                                            const std::vector<size_t>& indices) {
    std::vector<CleanupCandidate> selection;
    selection.reserve(indices.size());
    for (size_t i : indices) selection.push_back(std::move(report.candidates[i]));
    report = ScanReport{};
    return selection;
}

// Cleans `selection` in slices of a few thousand candidates, each moved into its results and
// released when done, so that the candidates and their results are never both held whole (for
// a million candidates that would be gigabytes). Same result as one call: input order, and a
// cancelled slice ends the run.
CleanResult cleanInSlices(const CleaningService& service, std::vector<CleanupCandidate> selection,
                          const std::vector<ScanLocation>& locations, CleaningMode mode,
                          const CleanupEligibilityPolicy& policy) {
    constexpr size_t kSlice = 4096;
    std::deque<std::vector<CleanupCandidate>> slices;
    for (size_t at = 0; at < selection.size(); at += kSlice) {
        const auto begin = selection.begin() + static_cast<std::ptrdiff_t>(at);
        const auto end = selection.begin() +
                         static_cast<std::ptrdiff_t>(std::min(at + kSlice, selection.size()));
        slices.emplace_back(std::make_move_iterator(begin), std::make_move_iterator(end));
    }
    CleanResult result;
    result.cleanedItems.reserve(selection.size());  // address space; touched as items succeed
    std::vector<CleanupCandidate>().swap(selection);
    while (!slices.empty()) {
        CleanResult part = service.clean(std::move(slices.front()), locations, mode, policy);
        slices.pop_front();
        std::move(part.cleanedItems.begin(), part.cleanedItems.end(),
                  std::back_inserter(result.cleanedItems));
        std::move(part.failedItems.begin(), part.failedItems.end(),
                  std::back_inserter(result.failedItems));
        if (part.wasCancelled) {
            result.wasCancelled = true;
            break;
        }
    }
    return result;
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
        return kUsageError;
    }
    CancellationToken cancel;
    InterruptScope interrupts(cancel);
    raiseOpenFileLimit();
    auto setup = prepareOrExplain(options.request, cancel);
    if (!setup) return kUsageError;
    if (setup->fellBackToStandard) {
        // Cleaning the standard catalogue's selection instead would act on items the person
        // never asked for.
        std::cerr << "velmora: " << kDirectModeNeedsPermission << "; nothing was cleaned.\n";
        return kUsageError;
    }
    const std::string& home = setup->environment.home;
    const Catalogue catalogue = options.request.catalogue;

    ScanReport report;
    if (options.reportFile) {
        auto read = readReport(*options.reportFile);
        if (!read) {
            std::cerr << "velmora: " << read.error() << "\n";
            return kUsageError;
        }
        report = std::move(*read);
    } else {
        report = scanWithProgress(*setup, catalogue, options.quiet || options.json, cancel);
        if (!report.hasCompletedScan) {
            std::cerr << "velmora: the scan was cancelled; nothing was cleaned.\n";
            return interrupts.exitStatus();
        }
    }
    auto chosen = select(options, report);
    if (!chosen) {
        std::cerr << "velmora: " << chosen.error() << "\n";
        return kUsageError;
    }
    std::vector<CleanupCandidate> selection = takeSelection(report, *chosen);
    std::vector<size_t>().swap(*chosen);
    if (selection.empty()) {
        if (options.json) {
            printCleanResultJSON(std::cout, CleanResult{});
        } else {
            std::cout << "Nothing to clean: no candidate is selected.\n";
        }
        return 0;
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
            return kUsageError;
        }
        const std::string question =
            mode == CleaningMode::moveToTrash
                ? "Move these items to the Trash?"
                : "Delete these items permanently? They cannot be restored.";
        if (!askToConfirm(question, std::cin, info)) {
            info << "Nothing was changed.\n";
            return cancel.isCancellationRequested() ? interrupts.exitStatus() : 0;
        }
    }

    // Until the run is in the history, a marker beside it keeps `restore --last` from taking
    // an older cleanup for this one. Failing to write it does not stop the cleanup (a full disk
    // is a reason to clean); the person is then told what `restore --last` would do.
    CleanupAuditStore store(CleanupAuditStore::defaultFilePath(setup->environment));
    const std::string entryID = makeUUIDString();
    const bool marked = markCleanupUnrecorded(store.filePath(), {entryID, currentDate()});

    CleaningService service(
        {home, catalogue, trashFor(setup->environment), currentDate, setup->protectedPlaces},
        [&cancel] { return cancel.isCancellationRequested(); });
    info.flush();
    const auto requestedCount = static_cast<int64_t>(selection.size());
    std::vector<const CleanupCandidate*> listed;
    for (const auto& c : selection) listed.push_back(&c);
    const int64_t requestedBytes = distinctBytes(listed);
    std::vector<const CleanupCandidate*>().swap(listed);
    const CleanResult result = cleanInSlices(service, std::move(selection), setup->locations, mode,
                                             policyFor(*setup, catalogue));

    CleanupAuditEntry entry =
        makeCleanAuditEntry(requestedCount, requestedBytes, result, mode,
                            CleanupAuditSource::cleanupDashboard, currentDate());
    entry.id = entryID;
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
    if (options.json) {
        printCleanResultJSON(out, result);
    } else {
        printCleanResult(out, result, mode, home, record);
    }
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
    if (result.wasCancelled) return interrupts.exitStatus();
    if (record == CleanHistoryRecord::notWritten) return 1;
    return result.failedItems.empty() ? 0 : 1;
}

int runRestoreCommand(const RestoreCommandOptions& options) {
    if (options.last == options.entryID.has_value()) {
        std::cerr << "velmora: choose what to restore: --last (the newest cleanup) or --entry ID "
                     "(see `velmora history`).\n";
        return kUsageError;
    }
    CancellationToken cancel;
    InterruptScope interrupts(cancel);
    raiseOpenFileLimit();
    auto setup = prepareOrExplain(options.request, cancel);
    if (!setup) return kUsageError;
    const std::string& home = setup->environment.home;
    const Catalogue catalogue = options.request.catalogue;

    CleanupAuditStore store(CleanupAuditStore::defaultFilePath(setup->environment));
    const auto entries = store.recentEntries();
    if (options.last) {
        if (auto refusal = lastCleanupRefusal(store, entries)) {
            std::cerr << "velmora: " << *refusal << "\n";
            return kUsageError;
        }
    }
    const CleanupAuditEntry* entry = nullptr;
    for (const auto& e : entries) {
        if (e.operation != CleanupAuditOperation::clean) continue;
        if (options.last || asciiLowercased(e.id) == asciiLowercased(*options.entryID)) {
            entry = &e;
            break;
        }
    }
    if (!entry) {
        std::cerr << "velmora: "
                  << (options.last ? "the history holds no cleanup to restore."
                                   : "the history holds no cleanup with the id " +
                                         printable(*options.entryID) + ".")
                  << "\n";
        return kUsageError;
    }
    std::vector<CleanedItem> items;
    std::set<std::string> paths, found;
    for (const auto& p : options.paths) paths.insert(absolutePathFromArgument(p));
    for (const auto& item : entry->cleanedItems) {
        const std::string& path = item.candidate.url.path;
        if (paths.empty() || paths.count(path)) {
            items.push_back(item);
            found.insert(path);
        }
    }
    for (const auto& p : paths) {
        if (!found.count(p)) {
            std::cerr << "velmora: " << printable(p)
                      << " was not cleaned by that cleanup; nothing was restored.\n";
            return kUsageError;
        }
    }
    if (items.empty()) {
        std::cout << "Nothing to restore: that cleanup kept no restorable items.\n";
        return 0;
    }

    std::ostream& info = options.json ? std::cerr : std::cout;
    info << "Restore " << items.size() << (items.size() == 1 ? " item" : " items")
         << " from the cleanup of " << formatLocalTime(entry->occurredAt) << ":\n";
    for (const auto& item : items) {
        info << "  " << printable(displayPath(item.candidate.url.path, home)) << "\n";
    }
    info << "\n";
    if (!options.yes) {
        if (!standardInputIsTerminal()) {
            std::cerr << confirmationRefusal("restored") << "\n";
            return kUsageError;
        }
        if (!askToConfirm("Put these items back?", std::cin, info)) {
            info << "Nothing was changed.\n";
            return cancel.isCancellationRequested() ? interrupts.exitStatus() : 0;
        }
    }

    TrashRestoreService service(
        {home, catalogue, trashFor(setup->environment), std::nullopt, setup->protectedPlaces},
        [&cancel] { return cancel.isCancellationRequested(); });
    const RestoreResult result =
        service.restore(items, setup->locations, policyFor(*setup, catalogue));
    const bool recorded =
        store
            .recordAtCurrentTime(makeRestoreAuditEntry(
                items, result, CleanupAuditSource::cleanupDashboard, currentDate()))
            .written;

    if (options.json) {
        std::cout << dumpJSON(nlohmann::json(result), true) << "\n";
    } else {
        printRestoreResult(std::cout, result, home);
    }
    std::cout.flush();
    if (!recorded) {
        std::cerr << "velmora: the cleanup history " << printable(store.filePath())
                  << " could not be written, so this restore is not recorded.\n";
    }
    if (result.wasCancelled) return interrupts.exitStatus();
    if (!recorded) return 1;
    return result.failedItems.empty() ? 0 : 1;
}

}  // namespace velmora::cli
