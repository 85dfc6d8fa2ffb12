#include "Velmora/cli/CleanCommand.h"

#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <memory>
#include <unordered_set>
#include <vector>

#include "CleanerCore/base/PrintableText.h"
#include "CleanerCore/base/Text.h"
#include "CleanerCore/cleaning/CleaningJson.h"
#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "CleanerCore/workflows/CleanupRun.h"
#include "CleanerCore/workflows/CleanupSelection.h"
#include "CleanerCore/workflows/InsightCleanupRun.h"
#include "CleanerCore/workflows/RestoreRun.h"
#include "CleanerCore/workflows/ScanReportFile.h"
#include "Velmora/cli/CleanOutput.h"
#include "Velmora/cli/Confirmation.h"
#include "Velmora/cli/ExitStatus.h"
#include "Velmora/cli/IgnoreCommand.h"
#include "Velmora/cli/Interrupt.h"
#include "Velmora/cli/Output.h"
#include "Velmora/cli/ScanCommand.h"
#include "VelmoraUI/dashboard/CoreTexts.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/state/IgnoredCandidates.h"

namespace velmora::cli {

namespace {

// The selection the options ask for; a refusal is explained on standard error. `leftOut` is
// set to the number of candidates the defaults would have chosen but the ignore list kept out.
std::optional<std::vector<size_t>> selectOrExplain(const CleanCommandOptions& options,
                                                   const ScanReport& report, size_t& leftOut) {
    leftOut = 0;
    CandidateSelectionRequest request{options.defaults, {}, options.ids, {}};
    if (options.defaults && options.respectsIgnoreList) {
        auto ignored = std::make_shared<const std::unordered_set<std::string>>(
            loadActiveIgnoreList(options.request.homeOverride, options.language).ids);
        request.withheldFromDefaults = [ignored](const CleanupCandidate& c) {
            return isIgnoredCandidate(c, *ignored);
        };
    }
    for (const auto& argument : options.paths)
        request.paths.push_back(absolutePathFromArgument(argument));
    auto selected = selectCandidates(report, request);
    if (auto* indices = std::get_if<std::vector<size_t>>(&selected)) {
        if (request.withheldFromDefaults) {
            // Named ones were cleaned anyway: only those that stayed out are counted.
            std::vector<bool> chosen(report.candidates.size(), false);
            for (size_t i : *indices) chosen[i] = true;
            for (size_t i = 0; i < report.candidates.size(); ++i) {
                const CleanupCandidate& c = report.candidates[i];
                leftOut += !chosen[i] && c.isSelectedByDefault && request.withheldFromDefaults(c);
            }
        }
        return std::move(*indices);
    }
    const auto& refusal = std::get<CandidateSelectionRefusal>(selected);
    const VelmoraCopy copy{options.language};
    const std::string text = printable(refusal.text);
    using Kind = CandidateSelectionRefusal::Kind;
    std::cerr << "velmora: ";
    switch (refusal.kind) {
        case Kind::unknownPath:
            // i18n-example: "not a cleanup candidate of this scan: /home/ana/Documents"
            std::cerr << copy.text("not a cleanup candidate of this scan: " + text,
                                   "이번 검사의 정리 후보가 아닙니다: " + text)
                      << "\n"
                      << copy.text("Run `velmora scan` to see the candidates; nothing was cleaned.",
                                   "`velmora scan`으로 후보를 확인하세요. 아무것도 정리하지 "
                                   "않았습니다.")
                      << "\n";
            break;
        case Kind::unknownID:
            // i18n-example: "no candidate has the id userCaches:/home/ana/.cache/x"
            std::cerr << copy.text("no candidate has the id " + text,
                                   "ID가 " + text + "인 후보가 없습니다")
                      << "\n"
                      << copy.text("Run `velmora scan --json` to see the ids; nothing was cleaned.",
                                   "`velmora scan --json`으로 ID를 확인하세요. 아무것도 정리하지 "
                                   "않았습니다.")
                      << "\n";
            break;
        case Kind::ambiguousID:
            // clang-format off
            // i18n-example: "the id userCaches:/home/ana/.cache/x names several candidates whose names are not valid text; select them by path instead. Nothing was cleaned."
            // clang-format on
            std::cerr << copy.text("the id " + text +
                                       " names several candidates whose names are not valid "
                                       "text; select them by path instead. Nothing was cleaned.",
                                   "ID " + text +
                                       "은(는) 이름이 올바른 텍스트가 아닌 여러 후보를 "
                                       "가리킵니다. 대신 경로로 선택하세요. 아무것도 정리하지 "
                                       "않았습니다.")
                      << "\n";
            break;
    }
    return std::nullopt;
}

std::string restoreRefusalText(const RestoreRefusal& refusal, AppLanguage language) {
    const VelmoraCopy copy{language};
    const std::string text = printable(refusal.text);
    using Kind = RestoreRefusal::Kind;
    switch (refusal.kind) {
        case Kind::noCleanupToRestore:
            return copy.text("the history holds no cleanup to restore.",
                             "기록에 복원할 정리가 없습니다.");
        case Kind::noCleanupWithID:
            // clang-format off
            // i18n-example: "the history holds no cleanup with the id 6F1C2A4E-93B1-4D0C-8E55-1A2B3C4D5E6F."
            // clang-format on
            return copy.text("the history holds no cleanup with the id " + text + ".",
                             "기록에 ID가 " + text + "인 정리가 없습니다.");
        case Kind::pathNotInCleanup:
            // clang-format off
            // i18n-example: "/home/ana/.cache/x was not cleaned by that cleanup; nothing was restored."
            // clang-format on
            return copy.text(text + " was not cleaned by that cleanup; nothing was restored.",
                             text +
                                 "은(는) 그 정리에서 정리된 항목이 아닙니다. 아무것도 복원하지 "
                                 "않았습니다.");
        case Kind::newestCleanupDatedInFuture: {
            const std::string when = formatLocalTime(refusal.startedAt);
            // clang-format off
            // i18n-example: "the newest cleanup in the history is dated 2031-01-02 10:00, later than now (the clock was once set ahead), so --last cannot tell which cleanup was run last. Choose the cleanup to restore with --entry ID (see `velmora history`)."
            // clang-format on
            return copy.text(
                "the newest cleanup in the history is dated " + when +
                    ", later than now (the clock was once set ahead), so --last cannot tell "
                    "which cleanup was run last. Choose the cleanup to restore with --entry ID "
                    "(see `velmora history`).",
                "기록의 가장 최근 정리 날짜가 " + when +
                    "(으)로 현재보다 늦습니다(시계가 한때 앞당겨져 있었습니다). 그래서 --last로는 "
                    "어느 정리가 마지막인지 알 수 없습니다. --entry ID로 복원할 정리를 "
                    "고르세요(`velmora history` 참고).");
        }
        case Kind::newestCleanupUnrecorded:
            break;
    }
    if (refusal.startedAt != 0) {
        const std::string when = formatLocalTime(refusal.startedAt);
        // clang-format off
        // i18n-example: "the newest cleanup (started 2026-11-22 14:05) could not be recorded in the history, so --last would put back an earlier one instead. Choose the cleanup to restore with --entry ID (see `velmora history`); the items of the unrecorded cleanup can be put back from your desktop's Trash."
        // clang-format on
        return copy.text(
            "the newest cleanup (started " + when +
                ") could not be recorded in the history, so --last would put back an earlier one "
                "instead. Choose the cleanup to restore with --entry ID (see `velmora history`); "
                "the items of the unrecorded cleanup can be put back from your desktop's Trash.",
            "가장 최근 정리(" + when +
                " 시작)를 기록에 남기지 못해, --last로는 그보다 이전 정리를 되돌리게 됩니다. "
                "--entry ID로 복원할 정리를 고르세요(`velmora history` 참고). 기록되지 않은 "
                "정리의 항목은 데스크톱의 휴지통에서 되돌릴 수 있습니다.");
    }
    return copy.text(
        "the newest cleanup could not be recorded in the history, so --last would put back an "
        "earlier one instead. Choose the cleanup to restore with --entry ID (see `velmora "
        "history`); the items of the unrecorded cleanup can be put back from your desktop's "
        "Trash.",
        "가장 최근 정리를 기록에 남기지 못해, --last로는 그보다 이전 정리를 되돌리게 됩니다. "
        "--entry ID로 복원할 정리를 고르세요(`velmora history` 참고). 기록되지 않은 정리의 "
        "항목은 데스크톱의 휴지통에서 되돌릴 수 있습니다.");
}

// Why the report file cannot be used, in `language`. A file that does not decode as a report is
// said with its own frame around the decoder's detail (a technical JSON error kept in English);
// the other reasons are the core's and are presented like every other.
std::string reportRefusalText(const std::string& reason, const std::string& file,
                              AppLanguage language) {
    const std::string shown = printable(file);
    const std::string frame = "the report " + shown + " is not a scan report: ";
    if (!reason.starts_with(frame)) return presentedReason(reason, language);
    std::string_view detail = std::string_view(reason).substr(frame.size());
    // The decoder names the report again; once is enough.
    constexpr std::string_view kDecoderFrame = "The scan report could not be read: ";
    if (detail.starts_with(kDecoderFrame)) detail.remove_prefix(kDecoderFrame.size());
    const std::string d(detail);
    // clang-format off
    // i18n-example: "the report /tmp/report.json is not a scan report: [json.exception.parse_error.101] parse error at line 1, column 1: syntax error while parsing value - invalid literal; last read: 'x'"
    // clang-format on
    return VelmoraCopy{language}.text("the report " + shown + " is not a scan report: " + d,
                                      "보고서 " + shown + "은(는) 검사 보고서가 아닙니다: " + d);
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
    const AppLanguage language = options.language;
    const VelmoraCopy copy{language};
    if (options.paths.empty() && options.ids.empty() && !options.defaults) {
        std::cerr << "velmora: "
                  << copy.text(
                         "choose what to clean: one or more paths, --id ID, or --defaults "
                         "(the items a scan selects by default).",
                         "정리할 것을 고르세요: 경로 하나 이상, --id ID, 또는 "
                         "--defaults(검사가 기본으로 선택하는 항목).")
                  << "\n";
        return kExitRefused;
    }
    CancellationToken cancel;
    InterruptScope interrupts(cancel);
    raiseOpenFileLimit();
    auto setup = prepareOrExplain(options.request, cancel, language);
    if (!setup) return kExitRefused;
    if (setup->fellBackToStandard) {
        // Cleaning the standard catalogue's selection instead would act on items the person
        // never asked for.
        std::cerr << "velmora: "
                  << copy.text(
                         "direct mode scans developer and package caches and needs "
                         "--allow-direct; nothing was cleaned.",
                         "direct 모드는 개발 도구와 패키지 캐시를 검사하므로 "
                         "--allow-direct가 필요합니다. 아무것도 정리하지 않았습니다.")
                  << "\n";
        return kExitRefused;
    }
    const std::string& home = setup->environment.home;

    ScanReport report;
    if (options.reportFile) {
        auto read = readScanReportFile(*options.reportFile);
        if (!read) {
            std::cerr << "velmora: "
                      << reportRefusalText(read.error(), *options.reportFile, language) << "\n";
            return kExitRefused;
        }
        report = std::move(*read);
    } else {
        report = scanWithProgress(*setup, options.quiet || options.json, cancel, language);
        if (!report.hasCompletedScan) {
            std::cerr << "velmora: "
                      << copy.text("the scan was cancelled; nothing was cleaned.",
                                   "검사가 취소되었습니다. 아무것도 정리하지 않았습니다.")
                      << "\n";
            return interrupts.exitStatus();
        }
    }
    size_t ignoredLeftOut = 0;
    auto chosen = selectOrExplain(options, report, ignoredLeftOut);
    if (!chosen) return kExitRefused;
    if (!options.json) {
        if (auto sentence = ignoredLeftOutSentence(ignoredLeftOut, language)) {
            std::cout << *sentence << "\n";
        }
    }
    std::vector<CleanupCandidate> selection = takeSelection(report, *chosen);
    std::vector<size_t>().swap(*chosen);
    if (selection.empty()) {
        if (options.json) {
            printCleanResultJSON(std::cout, CleanResult{});
        } else {
            std::cout << copy.text("Nothing to clean: no candidate is selected.",
                                   "정리할 것이 없습니다. 선택된 후보가 없습니다.")
                      << "\n";
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
    if (!options.quiet || !options.yes) printSelectionPreview(info, selection, home, language);
    if (!options.yes) {
        if (!standardInputIsTerminal()) {
            info.flush();
            err << confirmationRefusal(mode == CleaningMode::moveToTrash
                                           ? ConfirmedChange::move
                                           : ConfirmedChange::deletion,
                                       language)
                << "\n";
            return kExitRefused;
        }
        const std::string question =
            mode == CleaningMode::moveToTrash
                ? copy.text("Move these items to the Trash?", "이 항목들을 휴지통으로 옮길까요?")
                : copy.text("Delete these items permanently? They cannot be restored.",
                            "이 항목들을 영구히 삭제할까요? 복원할 수 없습니다.");
        if (!askToConfirm(question, std::cin, info, language)) {
            info << copy.text("Nothing was changed.", "아무것도 바꾸지 않았습니다.") << "\n";
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
        textWriter.emplace(mode, home, language);
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
        const std::string where = printable(outcome.historyPath);
        // clang-format off
        // i18n-example: "the cleanup history /home/ana/.local/share/velmora/history.json could not be written, so this cleanup is not recorded."
        // clang-format on
        std::cerr << "velmora: "
                  << copy.text("the cleanup history " + where +
                                   " could not be written, so this cleanup is not recorded.",
                               "정리 기록 " + where +
                                   "을(를) 쓸 수 없어 이번 정리는 기록되지 않았습니다.");
        if (!outcome.marked) {
            std::cerr << " "
                      << copy.text(
                             "`velmora restore --last` would now put back an earlier "
                             "cleanup, not this one.",
                             "이제 `velmora restore --last`는 이번 정리가 아니라 그 이전 "
                             "정리를 되돌립니다.");
        }
        std::cerr << "\n";
    }
    if (outcome.wasCancelled) return interrupts.exitStatus();
    if (outcome.record == CleanupHistoryRecord::notWritten) return kExitFailures;
    return outcome.anyFailed ? kExitFailures : kExitDone;
}

int runRestoreCommand(const RestoreCommandOptions& options) {
    const AppLanguage language = options.language;
    const VelmoraCopy copy{language};
    if (options.last == options.entryID.has_value()) {
        std::cerr << "velmora: "
                  << copy.text(
                         "choose what to restore: --last (the newest cleanup) or --entry ID "
                         "(see `velmora history`).",
                         "복원할 것을 고르세요: --last(가장 최근 정리) 또는 --entry "
                         "ID(`velmora history` 참고).")
                  << "\n";
        return kExitRefused;
    }
    CancellationToken cancel;
    InterruptScope interrupts(cancel);
    raiseOpenFileLimit();
    auto setup = prepareOrExplain(options.request, cancel, language);
    if (!setup) return kExitRefused;
    const std::string& home = setup->environment.home;
    RestoreRequest request{options.last, options.entryID, {}};
    for (const auto& p : options.paths) request.paths.push_back(absolutePathFromArgument(p));
    auto planned = planRestore(*setup, request);
    if (auto* refusal = std::get_if<RestoreRefusal>(&planned)) {
        std::cerr << "velmora: " << restoreRefusalText(*refusal, language) << "\n";
        return kExitRefused;
    }
    const RestorePlan& plan = std::get<RestorePlan>(planned);
    const auto& items = plan.items;
    if (items.empty()) {
        std::cout << copy.text("Nothing to restore: that cleanup kept no restorable items.",
                               "복원할 것이 없습니다. 그 정리에는 복원할 수 있는 항목이 "
                               "없습니다.")
                  << "\n";
        return kExitDone;
    }

    std::ostream& info = options.json ? std::cerr : std::cout;
    const std::string when = formatLocalTime(plan.entry.occurredAt);
    // i18n-example: "Restore 1 item from the cleanup of 2026-11-22 14:05:"
    // i18n-example: "Restore 3 items from the cleanup of 2026-11-22 14:05:"
    info << copy.text("Restore " + std::to_string(items.size()) +
                          (items.size() == 1 ? " item" : " items") + " from the cleanup of " +
                          when + ":",
                      when + " 정리의 항목 " + std::to_string(items.size()) + "개를 복원합니다:")
         << "\n";
    for (const auto& item : items) {
        info << "  " << printable(displayPath(item.candidate.url.path, home)) << "\n";
    }
    info << "\n";
    if (!options.yes) {
        if (!standardInputIsTerminal()) {
            std::cerr << confirmationRefusal(ConfirmedChange::restore, language) << "\n";
            return kExitRefused;
        }
        if (!askToConfirm(copy.text("Put these items back?", "이 항목들을 되돌릴까요?"), std::cin,
                          info, language)) {
            info << copy.text("Nothing was changed.", "아무것도 바꾸지 않았습니다.") << "\n";
            return cancel.isCancellationRequested() ? interrupts.exitStatus() : kExitDone;
        }
    }

    // A cleanup of insight findings is fenced by the insight scan's folders instead.
    const RestoreFence fence = restoreFenceFor(plan.entry, *setup, options.request.catalogue,
                                               CleanupAuditSource::cleanupDashboard);
    const RestoreRunOutcome outcome = runRestore(
        fence.setup, plan, fence.source, [&cancel] { return cancel.isCancellationRequested(); });
    const RestoreResult& result = outcome.result;
    const bool recorded = outcome.recorded;

    if (options.json) {
        std::cout << dumpJSON(nlohmann::json(result), true) << "\n";
    } else {
        printRestoreResult(std::cout, result, home, language);
    }
    std::cout.flush();
    if (!recorded) {
        const std::string where = printable(plan.historyPath);
        // clang-format off
        // i18n-example: "the cleanup history /home/ana/.local/share/velmora/history.json could not be written, so this restore is not recorded."
        // clang-format on
        std::cerr << "velmora: "
                  << copy.text("the cleanup history " + where +
                                   " could not be written, so this restore is not recorded.",
                               "정리 기록 " + where +
                                   "을(를) 쓸 수 없어 이번 복원은 기록되지 않았습니다.")
                  << "\n";
    }
    if (result.wasCancelled) return interrupts.exitStatus();
    if (!recorded) return kExitFailures;
    return result.failedItems.empty() ? kExitDone : kExitFailures;
}

}  // namespace velmora::cli
