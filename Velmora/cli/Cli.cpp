#include "Velmora/cli/Cli.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "CleanerCore/base/PrintableText.h"
#include "CleanerCore/platform/FileSystem.h"
#include "Velmora/cli/CleanCommand.h"
#include "Velmora/cli/CommandLineTexts.h"
#include "Velmora/cli/CommandPreferences.h"
#include "Velmora/cli/ExitStatus.h"
#include "Velmora/cli/ExportCommand.h"
#include "Velmora/cli/FoldersCommand.h"
#include "Velmora/cli/GrowthCommand.h"
#include "Velmora/cli/HistoryCommand.h"
#include "Velmora/cli/IgnoreCommand.h"
#include "Velmora/cli/InsightsCommand.h"
#include "Velmora/cli/LanguageCommand.h"
#include "Velmora/cli/ReliefCommand.h"
#include "Velmora/cli/RemindCommand.h"
#include "Velmora/cli/ReviewCommand.h"
#include "Velmora/cli/ScanCommand.h"
#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/state/ReviewProfileScan.h"

namespace velmora::cli {

namespace {

// The command word: the first argument that is neither an option nor the value of a global
// option that takes one. Empty when there is none.
std::string commandWord(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view a = argv[i];
        if (a == "--home" || a == "--catalogue" || a == "--language") {
            ++i;
            continue;
        }
        if (!a.starts_with("-")) return std::string(a);
    }
    return {};
}

// The language of a message about the command line itself, said before the line is parsed:
// the --language given (as `--language CODE` or `--language=CODE`), else the kept language read
// without changing anything, else the system's.
AppLanguage languageOfCommandLine(int argc, char** argv) {
    std::optional<std::string> home, code;
    for (int i = 1; i < argc; ++i) {
        const std::string_view a = argv[i];
        for (auto [name, to] : {std::pair{std::string_view("--home"), &home},
                                std::pair{std::string_view("--language"), &code}}) {
            if (a == name && i + 1 < argc) *to = argv[i + 1];
            if (a.starts_with(name) && a.size() > name.size() && a[name.size()] == '=')
                *to = std::string(a.substr(name.size() + 1));
        }
    }
    return commandLanguage(home ? std::optional(absolutePathFromArgument(*home)) : home,
                           code ? normalizedLanguage(*code) : std::nullopt);
}

// The problem a person meets first when reading the command line from the left. The parser
// checks values only after it has read every argument, and unexpected arguments last, so the
// error it throws need not be the first: parse ever longer beginnings of the line and report
// the first error that is not merely the line ending early.
std::string firstParseProblem(CLI::App& app, int argc, char** argv, const CLI::ParseError& error,
                              AppLanguage language) {
    const std::string word = commandWord(argc, argv);
    const CLI::App& top = app;
    const auto commands = top.get_subcommands([](const CLI::App*) { return true; });
    bool known = false;
    std::string names;
    for (const auto* c : commands) {
        known = known || c->get_name() == word;
        names += (names.empty() ? "" : ", ") + c->get_name();
    }
    if (!word.empty() && !known) {
        const std::string shown = printable(word);
        // clang-format off
        // i18n-example: "unknown command 'sacn'. The commands are: scan, clean, restore, history, insights, language, folders, review."
        // clang-format on
        return VelmoraCopy{language}.text(
            "unknown command '" + shown + "'. The commands are: " + names + ".",
            "알 수 없는 명령 '" + shown + "'입니다. 명령은 " + names + "입니다.");
    }
    for (int end = 2; end < argc; ++end) {
        app.clear();
        try {
            app.parse(end, argv);
        } catch (const CLI::ArgumentMismatch&) {  // an option still waiting for its value
        } catch (const CLI::RequiredError&) {     // a command or argument still to come
        } catch (const CLI::ParseError& earlier) {
            if (earlier.get_exit_code() != 0)
                return parseProblemSentence(earlier.what(), names, language);
        }
    }
    return parseProblemSentence(error.what(), names, language);
}

}  // namespace

int run(int argc, char** argv) {
    // What the options write into: a line declared again in another language writes into the
    // same variables. The scan options' own values:
    struct ScanFlags {
        std::string mode = "standard";
        std::optional<std::string> profile;
        CLI::Option* modeOption = nullptr;
    };
    std::optional<std::string> home;
    std::string catalogue(rawValue(hostCatalogue()));
    std::optional<std::string> runLanguage;
    ScanCommandOptions scan;
    CleanCommandOptions clean;
    RestoreCommandOptions restore;
    IgnoreCommandOptions ignore;
    UnignoreCommandOptions unignore;
    HistoryCommandOptions history;
    InsightsCommandOptions insights;
    LanguageCommandOptions language;
    FoldersCommandOptions kept;
    ReviewCommandOptions review;
    ScanFlags scanFlags;
    ScanFlags cleanFlags;
    ScanFlags restoreFlags;
    ScanFlags ignoreFlags;
    CLI::App* scanCommand = nullptr;
    CLI::App* cleanCommand = nullptr;
    CLI::App* restoreCommand = nullptr;
    CLI::App* ignoreCommand = nullptr;
    CLI::App* unignoreCommand = nullptr;
    CLI::App* historyCommand = nullptr;
    CLI::App* insightsCommand = nullptr;
    CLI::App* languageCommand = nullptr;
    CLI::App* foldersCommand = nullptr;
    CLI::App* reviewCommand = nullptr;
    RemindCommandOptions remind;
    CLI::App* remindCommand = nullptr;
    ReliefCommandOptions relief;
    CLI::App* reliefCommand = nullptr;
    CLI::App* reliefQuitCommand = nullptr;
    GrowthCommandOptions growth;
    SnapshotsCommandOptions snapshots;
    CLI::App* growthCommand = nullptr;
    CLI::App* snapshotsCommand = nullptr;
    ExportCommandOptions exported;
    ScanFlags exportFlags;
    CLI::App* exportCommand = nullptr;
    CLI::App* exportScanCommand = nullptr;
    CLI::App* exportInsightsCommand = nullptr;

    // Declares the command line on `app` with its descriptions and the help's labels in
    // `lineLanguage`.
    auto declare = [&](CLI::App& app, AppLanguage lineLanguage) {
        const VelmoraCopy copy{lineLanguage};
        app.description(copy.text(
            "Velmora finds regenerable files in your storage (caches, logs, build and package "
            "caches), shows each with its size and a safety level, and moves only what you "
            "confirm to the Trash.",
            "Velmora는 저장 공간에서 다시 만들 수 있는 파일(캐시, 로그, 빌드 및 패키지 캐시)을 "
            "찾아 각각의 크기와 안전 수준을 보여 주고, 확인한 항목만 휴지통으로 옮깁니다."));
        app.name("velmora");
        localizeHelp(app, lineLanguage);
        app.set_version_flag("--version", std::string("velmora ") + VELMORA_VERSION,
                             copy.text("Display program version information and exit",
                                       "프로그램 버전을 보여 주고 끝냅니다"));
        app.require_subcommand(1);
        app.fallthrough();

        app.add_option("--home", home,
                       copy.text("Home folder to work on (default: $HOME)",
                                 "작업할 홈 폴더 (기본값: $HOME)"))
            ->type_name("DIR");
        app.add_option("--catalogue", catalogue,
                       copy.text("Folder layout: linux or macos (default: this machine's)",
                                 "폴더 구성: linux 또는 macos (기본값: 이 컴퓨터의 구성)"))
            ->check(CLI::IsMember({"linux", "macos"}))
            ->type_name("NAME");
        app.add_option(
               "--language", runLanguage,
               copy.text("Language of the output for this run: ko, en, ja, zh-Hans, zh-Hant, "
                         "es, fr or de (default: `velmora language`, else the system's)",
                         "이번 실행의 출력 언어: ko, en, ja, zh-Hans, zh-Hant, es, fr 또는 de "
                         "(기본값: `velmora language`, 없으면 시스템 언어)"))
            ->type_name("CODE");

        // The scan options: `clean` and `restore` take them too, because they fence every item
        // with the locations of the same scan.
        auto addScanOptions = [&copy](CLI::App* command, ScanRequest& request, ScanFlags& flags) {
            flags.modeOption =
                command
                    ->add_option(
                        "--mode", flags.mode,
                        copy.text(
                            "standard (caches and logs untouched for a day), aggressive (also "
                            "hidden "
                            "files and app caches), or direct (also developer and package caches)",
                            "standard (하루 동안 건드리지 않은 캐시와 로그), aggressive (숨김 "
                            "파일과 "
                            "앱 캐시도 포함), direct (개발 도구와 패키지 캐시도 포함)"))
                    ->check(CLI::IsMember({"standard", "aggressive", "direct"}))
                    ->type_name("MODE");
            command->add_flag("--allow-direct", request.allowDirect,
                              copy.text("Permit direct mode (developer and package-manager caches)",
                                        "direct 모드 허용 (개발 도구와 패키지 관리자 캐시)"));
            command
                ->add_option("--folder", request.customFolders,
                             copy.text("Also scan this folder (repeatable)",
                                       "이 폴더도 검사 (여러 번 쓸 수 있음)"))
                ->allow_extra_args(false)
                ->type_name("DIR");
        };

        // A saved review profile narrows the scan: its mode and categories, and no custom folders
        // unless it includes them.
        auto addProfileOption = [&copy](CLI::App* command, ScanFlags& flags) {
            command
                ->add_option("--profile", flags.profile,
                             copy.text("Scan as this review profile does: balanced, downloads or "
                                       "developerCaches (see `velmora review`)",
                                       "이 검토 프로필처럼 검사: balanced, downloads 또는 "
                                       "developerCaches (`velmora review` 참고)"))
                ->check(CLI::IsMember({"balanced", "downloads", "developerCaches"}))
                ->excludes(flags.modeOption)
                ->type_name("ID");
        };

        scanCommand = app.add_subcommand(
            "scan", copy.text("Find cleanup candidates (read-only: nothing is changed)",
                              "정리 후보 찾기 (읽기 전용: 아무것도 바꾸지 않음)"));
        addScanOptions(scanCommand, scan.request, scanFlags);
        addProfileOption(scanCommand, scanFlags);
        scanCommand->add_flag("--json", scan.json,
                              copy.text("Print the report as JSON", "보고서를 JSON으로 출력"));
        scanCommand->add_flag("--quiet", scan.quiet,
                              copy.text("No progress display", "진행 상황을 표시하지 않음"));

        cleanCommand = app.add_subcommand(
            "clean",
            copy.text("Move confirmed candidates to the Trash: shows the selection, asks, "
                      "re-checks each item, moves it and records the run in the history",
                      "확인한 후보를 휴지통으로 옮기기: 선택을 보여 주고 묻고, 항목마다 다시 "
                      "확인해 옮긴 뒤 기록에 남김"));
        addScanOptions(cleanCommand, clean.request, cleanFlags);
        addProfileOption(cleanCommand, cleanFlags);
        cleanCommand
            ->add_option("paths", clean.paths,
                         copy.text("Candidates to clean, by path", "정리할 후보 (경로로 지정)"))
            ->type_name("PATH");
        cleanCommand
            ->add_option("--id", clean.ids,
                         copy.text("Candidate to clean, by id (repeatable)",
                                   "정리할 후보 (ID로 지정, 여러 번 쓸 수 있음)"))
            ->allow_extra_args(false)
            ->type_name("ID");
        cleanCommand->add_flag("--defaults", clean.defaults,
                               copy.text("Clean the candidates a scan selects by default",
                                         "검사가 기본으로 선택하는 후보 정리"));
        cleanCommand
            ->add_option(
                "--report", clean.reportFile,
                copy.text("Select from this saved `velmora scan --json` report instead of "
                          "scanning again (items that changed since are refused)",
                          "다시 검사하지 않고 저장해 둔 `velmora scan --json` 보고서에서 선택 "
                          "(그 뒤로 바뀐 항목은 거부됨)"))
            ->type_name("FILE");
        cleanCommand->add_flag(
            "--delete-permanently", clean.deletePermanently,
            copy.text("Delete instead of moving to the Trash (cannot be restored)",
                      "휴지통으로 옮기지 않고 삭제 (복원할 수 없음)"));
        cleanCommand->add_flag("--yes", clean.yes,
                               copy.text("Do not ask for confirmation", "확인을 묻지 않음"));
        cleanCommand->add_flag("--json", clean.json,
                               copy.text("Print the result as JSON", "결과를 JSON으로 출력"));
        cleanCommand->add_flag("--quiet", clean.quiet,
                               copy.text("Print only the results: no progress, and no list of the "
                                         "selection when --yes answers "
                                         "for you",
                                         "결과만 출력: 진행 상황을 표시하지 않고, --yes로 답할 "
                                         "때는 선택 목록도 표시하지 않음"));

        restoreCommand = app.add_subcommand(
            "restore", copy.text("Put the items of a recorded cleanup back from the Trash",
                                 "기록된 정리의 항목을 휴지통에서 되돌리기"));
        addScanOptions(restoreCommand, restore.request, restoreFlags);
        restoreCommand->add_flag("--last", restore.last,
                                 copy.text("Restore the newest cleanup", "가장 최근 정리를 복원"));
        restoreCommand
            ->add_option(
                "--entry", restore.entryID,
                copy.text("Restore the cleanup with this history id", "이 기록 ID의 정리를 복원"))
            ->type_name("UUID");
        restoreCommand
            ->add_option("paths", restore.paths,
                         copy.text("Restore only these items", "이 항목만 복원"))
            ->type_name("PATH");
        restoreCommand->add_flag("--yes", restore.yes,
                                 copy.text("Do not ask for confirmation", "확인을 묻지 않음"));
        restoreCommand->add_flag("--json", restore.json,
                                 copy.text("Print the result as JSON", "결과를 JSON으로 출력"));

        ignoreCommand = app.add_subcommand(
            "ignore",
            copy.text(
                "Leave candidates out of later scans and default selections for a day, a week or "
                "until you show them again (`--list` shows the ignored items)",
                "하루, 일주일 또는 다시 표시할 때까지 후보를 이후 검사와 기본 선택에서 제외 "
                "(`--list`로 무시한 항목을 봄)"));
        addScanOptions(ignoreCommand, ignore.request, ignoreFlags);
        addProfileOption(ignoreCommand, ignoreFlags);
        ignoreCommand
            ->add_option(
                "items", ignore.items,
                copy.text("Candidates to ignore, by id or path", "무시할 후보 (ID나 경로로 지정)"))
            ->type_name("ID|PATH");
        ignoreCommand
            ->add_option(
                "--for", ignore.duration,
                copy.text("How long: day, week, or ever (until you show it again; the default)",
                          "기간: day, week 또는 ever (다시 표시할 때까지, 기본값)"))
            ->check(CLI::IsMember({"day", "week", "ever"}))
            ->type_name("DURATION");
        ignoreCommand->add_flag("--list", ignore.list,
                                copy.text("List the ignored items", "무시한 항목 나열"));
        ignoreCommand->add_flag("--json", ignore.json,
                                copy.text("Print the result as JSON", "결과를 JSON으로 출력"));
        ignoreCommand->add_flag("--quiet", ignore.quiet,
                                copy.text("No progress display", "진행 상황을 표시하지 않음"));

        unignoreCommand = app.add_subcommand(
            "unignore",
            copy.text("Show ignored items in scans again", "무시한 항목을 검사에 다시 표시"));
        unignoreCommand
            ->add_option(
                "items", unignore.items,
                copy.text("Ignored items, by id or path", "무시한 항목 (ID나 경로로 지정)"))
            ->type_name("ID|PATH");
        unignoreCommand->add_flag(
            "--all", unignore.all,
            copy.text("Show every ignored item again", "무시한 모든 항목을 다시 표시"));
        unignoreCommand->add_flag("--json", unignore.json,
                                  copy.text("Print the result as JSON", "결과를 JSON으로 출력"));

        historyCommand = app.add_subcommand(
            "history", copy.text("List every recorded cleanup and restore, newest first",
                                 "기록된 모든 정리와 복원을 최근 것부터 나열"));
        historyCommand->add_flag("--json", history.json,
                                 copy.text("Print the entries as JSON", "항목을 JSON으로 출력"));
        historyCommand->add_flag(
            "--verify", history.verify,
            copy.text("Check that no entry was changed or removed (exit 1 if one was)",
                      "변경되거나 삭제된 항목이 없는지 확인 (있으면 종료 코드 1)"));

        insightsCommand = app.add_subcommand(
            "insights",
            copy.text("Storage insights (read-only): folder sizes, large files, older downloads, "
                      "duplicates "
                      "with a suggested copy to keep, security review items and the system state",
                      "저장 공간 분석 (읽기 전용): 폴더 크기, 큰 파일, 오래된 다운로드, 남길 "
                      "사본을 제안하는 "
                      "중복 파일, 보안 검토 항목과 시스템 상태"));
        insightsCommand->add_flag("--json", insights.json,
                                  copy.text("Print the report as JSON", "보고서를 JSON으로 출력"));
        insightsCommand->add_flag(
            "--keepers", insights.keepers,
            copy.text("Print the suggested copy to keep of every duplicate group",
                      "중복 묶음마다 남길 것으로 제안하는 사본을 출력"));
        insightsCommand->add_flag("--quiet", insights.quiet,
                                  copy.text("No progress display", "진행 상황을 표시하지 않음"));
        // The insight scan's limits, for a home larger than the defaults expect: `insights` and
        // `export insights` take the same ones.
        auto addInsightLimitOptions = [&copy](CLI::App* command,
                                              InsightConfigurationOverrides& overrides) {
            auto count = [command](const char* name, std::optional<int64_t>& to,
                                   const std::string& help) {
                command->add_option(name, to, help)->type_name("N")->check(CLI::PositiveNumber);
            };
            auto size = [command](const char* name, std::optional<int64_t>& to,
                                  const std::string& help) {
                command->add_option(name, to, help)
                    ->type_name("SIZE")
                    ->transform(CLI::AsSizeValue(false));
            };
            count("--visit-limit", overrides.visitLimit,
                  copy.text("Most items walked under one folder of the storage map (linux default "
                            "10000000, macos 8000)",
                            "저장 공간 지도에서 폴더 하나 아래로 살펴볼 최대 항목 수 (linux 기본값 "
                            "10000000, macos 8000)"));
            count("--result-limit", overrides.resultLimit,
                  copy.text("Most entries in each list (default 250)",
                            "목록마다 최대 항목 수 (기본값 250)"));
            size("--large-file-size", overrides.largeFileBytes,
                 copy.text("Smallest file listed as large, e.g. 500MiB (default 100MiB)",
                           "큰 파일로 나열할 최소 크기, 예: 500MiB (기본값 100MiB)"));
            size("--duplicate-size", overrides.duplicateFileBytes,
                 copy.text("Smallest file compared for duplicates (default 20MiB)",
                           "중복을 비교할 최소 파일 크기 (기본값 20MiB)"));
            size("--duplicate-budget", overrides.duplicateBudget,
                 copy.text("Most bytes read in all to confirm duplicates (default 1GiB)",
                           "중복을 확인하려고 읽을 전체 최대 바이트 수 (기본값 1GiB)"));
            size("--duplicate-file-budget", overrides.duplicateFileBudget,
                 copy.text("Largest file read to confirm a duplicate (default 512MiB)",
                           "중복을 확인하려고 읽을 최대 파일 크기 (기본값 512MiB)"));
            count("--duplicate-files", overrides.duplicateFiles,
                  copy.text("Most files read to confirm duplicates (default 500)",
                            "중복을 확인하려고 읽을 최대 파일 수 (기본값 500)"));
            size("--fingerprint-budget", overrides.fingerprintBudget,
                 copy.text(
                     "Most bytes sampled to fingerprint duplicate candidates (default 256MiB)",
                     "중복 후보의 지문을 만들려고 표본으로 읽을 최대 바이트 수 (기본값 256MiB)"));
            count(
                "--fingerprint-files", overrides.fingerprintFiles,
                copy.text("Most files sampled to fingerprint duplicate candidates (default 2000)",
                          "중복 후보의 지문을 만들려고 표본으로 읽을 최대 파일 수 (기본값 2000)"));
        };
        addInsightLimitOptions(insightsCommand, insights.request.overrides);

        languageCommand = app.add_subcommand(
            "language",
            copy.text("Show the language of the output, or keep another one for every later run",
                      "출력 언어를 보여 주거나, 이후 모든 실행에 쓸 다른 언어를 저장"));
        languageCommand
            ->add_option(
                "code", language.code,
                copy.text("The language to keep, e.g. ja or de", "저장할 언어, 예: ja 또는 de"))
            ->type_name("CODE");
        languageCommand->add_flag("--json", language.json,
                                  copy.text("Print the result as JSON", "결과를 JSON으로 출력"));

        foldersCommand = app.add_subcommand(
            "folders",
            copy.text("The folders kept in every scan: list (default), add DIR, or remove ID",
                      "모든 검사에 포함할 폴더: list (기본값), add DIR 또는 remove ID"));
        foldersCommand
            ->add_option("action", kept.words,
                         copy.text("What to do, and its argument", "할 일과 그 인수"))
            ->type_name("ACTION [ARG]")
            ->expected(0, 2);
        foldersCommand->add_flag(
            "--json", kept.json,
            copy.text("Print the kept folders as JSON", "포함할 폴더를 JSON으로 출력"));

        reviewCommand = app.add_subcommand(
            "review",
            copy.text("The review reminder: status (default), cadence off|weekly|monthly, "
                      "profile ID, or done to record a review completed now",
                      "검토 알림: status (기본값), cadence off|weekly|monthly, profile ID, "
                      "또는 지금 마친 검토를 기록하는 done"));
        reviewCommand
            ->add_option("action", review.words,
                         copy.text("What to do, and its value", "할 일과 그 값"))
            ->type_name("ACTION [VALUE]")
            ->expected(0, 2);
        reviewCommand->add_flag("--json", review.json,
                                copy.text("Print the result as JSON", "결과를 JSON으로 출력"));

        remindCommand = app.add_subcommand(
            "remind",
            copy.text("Show the review reminder as a desktop notification when a review is due "
                      "(once per due review); the systemd user timer velmora-remind.timer runs it",
                      "검토할 때가 되면 검토 알림을 데스크톱 알림으로 보여 줍니다(검토 기간마다 "
                      "한 번). systemd 사용자 타이머 velmora-remind.timer가 실행합니다"));
        remindCommand
            ->add_option("--wait", remind.waitSeconds,
                         copy.text("Listen this long for the reminder's Open review button "
                                   "(default: 0)",
                                   "알림의 검토 열기 단추를 이만큼 기다립니다 (기본값: 0)"))
            ->check(CLI::Range(0u, 3600u))
            ->type_name("SECONDS");
        remindCommand->add_flag("--json", remind.json,
                                copy.text("Print the result as JSON", "결과를 JSON으로 출력"));

        growthCommand = app.add_subcommand(
            "growth", copy.text("What grew between two scans, by category and folder, from the "
                                "kept scan snapshots (read-only)",
                                "보관된 검사 스냅샷으로 두 검사 사이에 범주와 폴더별로 무엇이 "
                                "늘었는지 표시 (읽기 전용)"));
        growthCommand
            ->add_option("--since", growth.sinceDays,
                         copy.text("Compare with the scan from this many days ago (default: the "
                                   "scan before the newest)",
                                   "이만큼 며칠 전의 검사와 비교 (기본값: 마지막 검사 바로 앞의 "
                                   "검사)"))
            ->check(CLI::Range(0, 36500))
            ->type_name("DAYS");
        growthCommand->add_flag("--json", growth.json,
                                copy.text("Print the comparison as JSON", "비교를 JSON으로 출력"));
        snapshotsCommand = app.add_subcommand(
            "snapshots", copy.text("List the kept scan snapshots, oldest first (read-only)",
                                   "보관된 검사 스냅샷을 오래된 것부터 나열 (읽기 전용)"));
        snapshotsCommand->add_flag(
            "--json", snapshots.json,
            copy.text("Print the snapshots as JSON", "스냅샷을 JSON으로 출력"));

        reliefCommand = app.add_subcommand(
            "relief",
            copy.text("Running apps ranked by CPU and memory, with their ids and whether they "
                      "can be asked to quit (read-only)",
                      "CPU와 메모리 사용량 순으로 실행 중인 앱과 ID, 종료 요청 가능 여부를 나열 "
                      "(읽기 전용)"));
        reliefCommand->add_flag(
            "--json", relief.json,
            copy.text("Print both rankings as JSON", "두 순위를 JSON으로 출력"));
        reliefQuitCommand = reliefCommand->add_subcommand(
            "quit", copy.text("Ask the apps with these ids to quit normally (never a forced quit)",
                              "이 ID의 앱에 일반 종료를 요청 (강제 종료하지 않음)"));
        reliefQuitCommand
            ->add_option("ids", relief.ids,
                         copy.text("Apps to ask, by the id `velmora relief` shows",
                                   "요청할 앱 (`velmora relief`가 보여 주는 ID로 지정)"))
            ->required()
            ->type_name("ID");
        reliefQuitCommand->add_flag(
            "--yes", relief.yes,
            copy.text("Send without asking for confirmation", "확인을 묻지 않고 보내기"));

        exportCommand = app.add_subcommand(
            "export",
            copy.text("Export a cleanup scan, an insight scan or the cleanup history as JSON or "
                      "CSV, in full or redacted",
                      "정리 검사, 인사이트 검사 또는 정리 기록을 JSON이나 CSV로, 전체 또는 가린 "
                      "형태로 내보내기"));
        exportCommand->require_subcommand(1);
        auto addExportOptions = [&](CLI::App* command) {
            command
                ->add_option("--format", exported.format,
                             copy.text("json (default) or csv", "json (기본값) 또는 csv"))
                ->check(CLI::IsMember({"json", "csv"}))
                ->type_name("FORMAT");
            command->add_flag(
                "--redacted", exported.redacted,
                copy.text("Replace paths, file names and free text with tokens made with this "
                          "installation's key",
                          "경로, 파일 이름, 자유 텍스트를 이 설치의 키로 만든 토큰으로 바꾸기"));
            command
                ->add_option("-o,--output", exported.output,
                             copy.text("Write to this file (replaced atomically) instead of "
                                       "standard output",
                                       "표준 출력 대신 이 파일에 쓰기 (원자적으로 교체)"))
                ->type_name("FILE");
            command->add_flag("--quiet", exported.quiet,
                              copy.text("No progress display", "진행 상황을 표시하지 않음"));
        };
        exportScanCommand = exportCommand->add_subcommand(
            "scan", copy.text("Export a cleanup scan (read-only: nothing is changed)",
                              "정리 검사 내보내기 (읽기 전용: 아무것도 바꾸지 않음)"));
        addScanOptions(exportScanCommand, exported.scanRequest, exportFlags);
        addProfileOption(exportScanCommand, exportFlags);
        addExportOptions(exportScanCommand);
        exportInsightsCommand = exportCommand->add_subcommand(
            "insights", copy.text("Export a storage insight scan (read-only)",
                                  "저장 공간 인사이트 검사 내보내기 (읽기 전용)"));
        addInsightLimitOptions(exportInsightsCommand, exported.insightRequest.overrides);
        addExportOptions(exportInsightsCommand);
        addExportOptions(exportCommand->add_subcommand(
            "history", copy.text("Export the cleanup history", "정리 기록 내보내기")));

        localizeSubcommands(app, lineLanguage);
        localizeSubcommands(*reliefCommand, lineLanguage);
        localizeSubcommands(*exportCommand, lineLanguage);
    };

    // The line is read with English texts, so that a line that parses reads the preferences
    // only where its command opens them. Help and refusals are said in the language the line
    // asks for: the line is declared again in that language and read again, to the same end.
    CLI::App app;
    declare(app, AppLanguage::english);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& first) {
        const AppLanguage lineLanguage = languageOfCommandLine(argc, argv);
        CLI::App said;
        declare(said, lineLanguage);
        try {
            said.parse(argc, argv);
        } catch (const CLI::ParseError& e) {
            if (e.get_exit_code() == 0) return said.exit(e);
            std::cerr << "velmora: " << firstParseProblem(said, argc, argv, e, lineLanguage) << "\n"
                      << VelmoraCopy{lineLanguage}.text("Run `velmora --help` for usage.",
                                                        "사용법은 `velmora --help`로 확인하세요.")
                      << "\n";
            return kExitRefused;
        }
        return app.exit(first);  // not reached: the same line fails the same way
    }

    // Paths a person typed are relative to where they stand.
    // (`clean` and `restore` resolve their PATH arguments the same way.)
    if (home) home = absolutePathFromArgument(*home);
    for (auto* folders :
         {&scan.request.customFolders, &clean.request.customFolders, &restore.request.customFolders,
          &ignore.request.customFolders, &exported.scanRequest.customFolders}) {
        for (auto& folder : *folders) folder = absolutePathFromArgument(folder);
    }
    if (home) {
        auto st = statPath(*home);
        if (!st || !S_ISDIR(st->st_mode)) {
            std::cerr << "velmora: "
                      << VelmoraCopy{languageOfCommandLine(argc, argv)}.text(
                             "the home folder does not exist or is not a folder: ",
                             "홈 폴더가 없거나 폴더가 아닙니다: ")
                      << *home << "\n";
            return kExitRefused;
        }
    }
    std::optional<AppLanguage> chosenLanguage;
    if (runLanguage) {
        chosenLanguage = normalizedLanguage(*runLanguage);
        if (!chosenLanguage) {
            std::cerr << "velmora: "
                      << unknownLanguageMessage(*runLanguage, languageOfCommandLine(argc, argv))
                      << "\n";
            return kExitRefused;
        }
    }
    const Catalogue chosen = *catalogueFromRaw(catalogue);
    // Completes the request and returns the language of the run (the kept folders and the
    // language come from the same preferences); nothing (said on standard error) when a
    // profile that leaves custom folders out and a typed folder were both given.
    auto finish = [&](ScanRequest& request, const ScanFlags& flags) -> std::optional<AppLanguage> {
        request.homeOverride = home;
        request.catalogue = chosen;
        request.mode = *scanModeFromRaw(flags.mode);
        const CleanupReviewProfile* profile =
            flags.profile ? &cleanupReviewProfile(*reviewProfileIDFromRaw(*flags.profile))
                          : nullptr;
        if (profile && !profile->includesCustomFolders && !request.customFolders.empty()) {
            const VelmoraCopy copy{commandLanguage(home, chosenLanguage)};
            // clang-format off
            // i18n-example: "the profile downloads does not scan custom folders; leave out --folder."
            // clang-format on
            std::cerr << "velmora: "
                      << copy.text("the profile " + *flags.profile +
                                       " does not scan custom folders; leave out --folder.",
                                   "프로필 " + *flags.profile +
                                       "은 사용자 지정 폴더를 검사하지 않습니다. --folder를 "
                                       "빼세요.")
                      << "\n";
            return std::nullopt;
        }
        const AppLanguage runLanguageOfRequest = addKeptFolders(request, chosenLanguage);
        if (profile) request = scanRequestForProfile(*profile, std::move(request));
        return runLanguageOfRequest;
    };
    auto keepsIgnoreRules = [](const ScanFlags& flags) {
        return !flags.profile || cleanupReviewProfile(*reviewProfileIDFromRaw(*flags.profile))
                                     .respectsIgnoreAndSnoozeRules;
    };
    if (scanCommand->parsed()) {
        const auto resolved = finish(scan.request, scanFlags);
        if (!resolved) return kExitRefused;
        scan.language = *resolved;
        scan.hidesIgnored = keepsIgnoreRules(scanFlags);
        return runScanCommand(scan);
    }
    if (cleanCommand->parsed()) {
        const auto resolved = finish(clean.request, cleanFlags);
        if (!resolved) return kExitRefused;
        clean.language = *resolved;
        clean.respectsIgnoreList = keepsIgnoreRules(cleanFlags);
        return runCleanCommand(clean);
    }
    if (ignoreCommand->parsed()) {
        ignore.request.homeOverride = home;
        ignore.runLanguage = chosenLanguage;
        if (!ignore.list) {
            const auto resolved = finish(ignore.request, ignoreFlags);
            if (!resolved) return kExitRefused;
            ignore.language = *resolved;
        }
        return runIgnoreCommand(ignore);
    }
    if (unignoreCommand->parsed()) {
        unignore.homeOverride = home;
        unignore.runLanguage = chosenLanguage;
        return runUnignoreCommand(unignore);
    }
    if (restoreCommand->parsed()) {
        restore.language = *finish(restore.request, restoreFlags);  // no profile to refuse
        return runRestoreCommand(restore);
    }
    if (insightsCommand->parsed()) {
        insights.request.homeOverride = home;
        insights.request.catalogue = chosen;
        insights.runLanguage = chosenLanguage;
        return runInsightsCommand(insights);
    }
    if (reliefCommand->parsed()) {
        relief.homeOverride = home;
        relief.runLanguage = chosenLanguage;
        relief.quit = reliefQuitCommand->parsed();
        return runReliefCommand(relief);
    }
    if (exportCommand->parsed()) {
        exported.homeOverride = home;
        exported.runLanguage = chosenLanguage;
        if (exportScanCommand->parsed()) {
            const auto resolved = finish(exported.scanRequest, exportFlags);
            if (!resolved) return kExitRefused;
            exported.subject = ExportSubject::scan;
            exported.language = *resolved;
            exported.hidesIgnored = keepsIgnoreRules(exportFlags);
        } else if (exportInsightsCommand->parsed()) {
            exported.subject = ExportSubject::insights;
            exported.insightRequest.homeOverride = home;
            exported.insightRequest.catalogue = chosen;
        } else {
            exported.subject = ExportSubject::history;
        }
        return runExportCommand(exported);
    }
    if (growthCommand->parsed()) {
        growth.homeOverride = home;
        growth.runLanguage = chosenLanguage;
        growth.catalogue = chosen;
        return runGrowthCommand(growth);
    }
    if (snapshotsCommand->parsed()) {
        snapshots.homeOverride = home;
        snapshots.runLanguage = chosenLanguage;
        return runSnapshotsCommand(snapshots);
    }
    if (historyCommand->parsed()) {
        history.homeOverride = home;
        history.runLanguage = chosenLanguage;
        return runHistoryCommand(history);
    }
    if (foldersCommand->parsed()) {
        kept.homeOverride = home;
        kept.runLanguage = chosenLanguage;
        kept.catalogue = chosen;
        return runFoldersCommand(kept);
    }
    if (reviewCommand->parsed()) {
        review.homeOverride = home;
        review.runLanguage = chosenLanguage;
        return runReviewCommand(review);
    }
    if (remindCommand->parsed()) {
        remind.homeOverride = home;
        remind.runLanguage = chosenLanguage;
        return runRemindCommand(remind);
    }
    if (languageCommand->parsed()) {
        language.homeOverride = home;
        language.runLanguage = chosenLanguage;
        return runLanguageCommand(language);
    }
    return kExitRefused;
}

}  // namespace velmora::cli
