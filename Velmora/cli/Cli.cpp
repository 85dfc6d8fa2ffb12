#include "Velmora/cli/Cli.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "CleanerCore/base/PrintableText.h"
#include "CleanerCore/platform/FileSystem.h"
#include "Velmora/cli/CleanCommand.h"
#include "Velmora/cli/CommandPreferences.h"
#include "Velmora/cli/ExitStatus.h"
#include "Velmora/cli/FoldersCommand.h"
#include "Velmora/cli/HistoryCommand.h"
#include "Velmora/cli/IgnoreCommand.h"
#include "Velmora/cli/InsightsCommand.h"
#include "Velmora/cli/LanguageCommand.h"
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
    for (const auto* c : commands) known = known || c->get_name() == word;
    if (!word.empty() && !known) {
        std::string names;
        for (const auto* c : commands) {
            names += (names.empty() ? "" : ", ") + c->get_name();
        }
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
            if (earlier.get_exit_code() != 0) return earlier.what();
        }
    }
    return error.what();
}

}  // namespace

int run(int argc, char** argv) {
    CLI::App app{
        "Velmora finds regenerable files in your storage (caches, logs, build and package "
        "caches), shows each with its size and a safety level, and moves only what you confirm "
        "to the Trash."};
    app.name("velmora");
    app.set_version_flag("--version", std::string("velmora ") + VELMORA_VERSION);
    app.require_subcommand(1);
    app.fallthrough();

    std::optional<std::string> home;
    std::string catalogue(rawValue(hostCatalogue()));
    app.add_option("--home", home, "Home folder to work on (default: $HOME)")->type_name("DIR");
    app.add_option("--catalogue", catalogue,
                   "Folder layout: linux or macos (default: this machine's)")
        ->check(CLI::IsMember({"linux", "macos"}))
        ->type_name("NAME");
    std::optional<std::string> runLanguage;
    app.add_option("--language", runLanguage,
                   "Language of the output for this run: ko, en, ja, zh-Hans, zh-Hant, es, fr or "
                   "de (default: `velmora language`, else the system's)")
        ->type_name("CODE");

    // The scan options: `clean` and `restore` take them too, because they fence every item
    // with the locations of the same scan.
    struct ScanFlags {
        std::string mode = "standard";
        std::optional<std::string> profile;
        CLI::Option* modeOption = nullptr;
    };
    auto addScanOptions = [](CLI::App* command, ScanRequest& request, ScanFlags& flags) {
        flags.modeOption =
            command
                ->add_option(
                    "--mode", flags.mode,
                    "standard (caches and logs untouched for a day), aggressive (also hidden "
                    "files and app caches), or direct (also developer and package caches)")
                ->check(CLI::IsMember({"standard", "aggressive", "direct"}))
                ->type_name("MODE");
        command->add_flag("--allow-direct", request.allowDirect,
                          "Permit direct mode (developer and package-manager caches)");
        command->add_option("--folder", request.customFolders, "Also scan this folder (repeatable)")
            ->allow_extra_args(false)
            ->type_name("DIR");
    };

    // A saved review profile narrows the scan: its mode and categories, and no custom folders
    // unless it includes them.
    auto addProfileOption = [](CLI::App* command, ScanFlags& flags) {
        command
            ->add_option("--profile", flags.profile,
                         "Scan as this review profile does: balanced, downloads or "
                         "developerCaches (see `velmora review`)")
            ->check(CLI::IsMember({"balanced", "downloads", "developerCaches"}))
            ->excludes(flags.modeOption)
            ->type_name("ID");
    };

    ScanCommandOptions scan;
    ScanFlags scanFlags;
    CLI::App* scanCommand =
        app.add_subcommand("scan", "Find cleanup candidates (read-only: nothing is changed)");
    addScanOptions(scanCommand, scan.request, scanFlags);
    addProfileOption(scanCommand, scanFlags);
    scanCommand->add_flag("--json", scan.json, "Print the report as JSON");
    scanCommand->add_flag("--quiet", scan.quiet, "No progress display");

    CleanCommandOptions clean;
    ScanFlags cleanFlags;
    CLI::App* cleanCommand = app.add_subcommand(
        "clean",
        "Move confirmed candidates to the Trash: shows the selection, asks, re-checks each item, "
        "moves it and records the run in the history");
    addScanOptions(cleanCommand, clean.request, cleanFlags);
    addProfileOption(cleanCommand, cleanFlags);
    cleanCommand->add_option("paths", clean.paths, "Candidates to clean, by path")
        ->type_name("PATH");
    cleanCommand->add_option("--id", clean.ids, "Candidate to clean, by id (repeatable)")
        ->allow_extra_args(false)
        ->type_name("ID");
    cleanCommand->add_flag("--defaults", clean.defaults,
                           "Clean the candidates a scan selects by default");
    cleanCommand
        ->add_option("--report", clean.reportFile,
                     "Select from this saved `velmora scan --json` report instead of scanning "
                     "again (items that changed since are refused)")
        ->type_name("FILE");
    cleanCommand->add_flag("--delete-permanently", clean.deletePermanently,
                           "Delete instead of moving to the Trash (cannot be restored)");
    cleanCommand->add_flag("--yes", clean.yes, "Do not ask for confirmation");
    cleanCommand->add_flag("--json", clean.json, "Print the result as JSON");
    cleanCommand->add_flag("--quiet", clean.quiet,
                           "Print only the results: no progress, and no list of the selection when "
                           "--yes answers for you");

    RestoreCommandOptions restore;
    ScanFlags restoreFlags;
    CLI::App* restoreCommand =
        app.add_subcommand("restore", "Put the items of a recorded cleanup back from the Trash");
    addScanOptions(restoreCommand, restore.request, restoreFlags);
    restoreCommand->add_flag("--last", restore.last, "Restore the newest cleanup");
    restoreCommand
        ->add_option("--entry", restore.entryID, "Restore the cleanup with this history id")
        ->type_name("UUID");
    restoreCommand->add_option("paths", restore.paths, "Restore only these items")
        ->type_name("PATH");
    restoreCommand->add_flag("--yes", restore.yes, "Do not ask for confirmation");
    restoreCommand->add_flag("--json", restore.json, "Print the result as JSON");

    IgnoreCommandOptions ignore;
    ScanFlags ignoreFlags;
    CLI::App* ignoreCommand = app.add_subcommand(
        "ignore",
        "Leave candidates out of later scans and default selections for a day, a week or until "
        "you show them again (`--list` shows the ignored items)");
    addScanOptions(ignoreCommand, ignore.request, ignoreFlags);
    addProfileOption(ignoreCommand, ignoreFlags);
    ignoreCommand->add_option("items", ignore.items, "Candidates to ignore, by id or path")
        ->type_name("ID|PATH");
    ignoreCommand
        ->add_option("--for", ignore.duration,
                     "How long: day, week, or ever (until you show it again; the default)")
        ->check(CLI::IsMember({"day", "week", "ever"}))
        ->type_name("DURATION");
    ignoreCommand->add_flag("--list", ignore.list, "List the ignored items");
    ignoreCommand->add_flag("--json", ignore.json, "Print the result as JSON");
    ignoreCommand->add_flag("--quiet", ignore.quiet, "No progress display");

    UnignoreCommandOptions unignore;
    CLI::App* unignoreCommand = app.add_subcommand("unignore", "Show ignored items in scans again");
    unignoreCommand->add_option("items", unignore.items, "Ignored items, by id or path")
        ->type_name("ID|PATH");
    unignoreCommand->add_flag("--all", unignore.all, "Show every ignored item again");
    unignoreCommand->add_flag("--json", unignore.json, "Print the result as JSON");

    HistoryCommandOptions history;
    CLI::App* historyCommand =
        app.add_subcommand("history", "List every recorded cleanup and restore, newest first");
    historyCommand->add_flag("--json", history.json, "Print the entries as JSON");
    historyCommand->add_flag("--verify", history.verify,
                             "Check that no entry was changed or removed (exit 1 if one was)");

    InsightsCommandOptions insights;
    CLI::App* insightsCommand = app.add_subcommand(
        "insights",
        "Storage insights (read-only): folder sizes, large files, older downloads, duplicates "
        "with a suggested copy to keep, security review items and the system state");
    insightsCommand->add_flag("--json", insights.json, "Print the report as JSON");
    insightsCommand->add_flag("--keepers", insights.keepers,
                              "Print the suggested copy to keep of every duplicate group");
    insightsCommand->add_flag("--quiet", insights.quiet, "No progress display");
    // The scan's limits, for a home larger than the defaults expect.
    auto count = [&](const char* name, std::optional<int64_t>& to, const char* help) {
        insightsCommand->add_option(name, to, help)->type_name("N")->check(CLI::PositiveNumber);
    };
    auto size = [&](const char* name, std::optional<int64_t>& to, const char* help) {
        insightsCommand->add_option(name, to, help)
            ->type_name("SIZE")
            ->transform(CLI::AsSizeValue(false));
    };
    count("--visit-limit", insights.request.overrides.visitLimit,
          "Most items walked under one folder of the storage map (linux default 10000000, "
          "macos 8000)");
    count("--result-limit", insights.request.overrides.resultLimit,
          "Most entries in each list (default 250)");
    size("--large-file-size", insights.request.overrides.largeFileBytes,
         "Smallest file listed as large, e.g. 500MiB (default 100MiB)");
    size("--duplicate-size", insights.request.overrides.duplicateFileBytes,
         "Smallest file compared for duplicates (default 20MiB)");
    size("--duplicate-budget", insights.request.overrides.duplicateBudget,
         "Most bytes read in all to confirm duplicates (default 1GiB)");
    size("--duplicate-file-budget", insights.request.overrides.duplicateFileBudget,
         "Largest file read to confirm a duplicate (default 512MiB)");
    count("--duplicate-files", insights.request.overrides.duplicateFiles,
          "Most files read to confirm duplicates (default 500)");
    size("--fingerprint-budget", insights.request.overrides.fingerprintBudget,
         "Most bytes sampled to fingerprint duplicate candidates (default 256MiB)");
    count("--fingerprint-files", insights.request.overrides.fingerprintFiles,
          "Most files sampled to fingerprint duplicate candidates (default 2000)");

    LanguageCommandOptions language;
    CLI::App* languageCommand = app.add_subcommand(
        "language", "Show the language of the output, or keep another one for every later run");
    languageCommand->add_option("code", language.code, "The language to keep, e.g. ja or de")
        ->type_name("CODE");
    languageCommand->add_flag("--json", language.json, "Print the result as JSON");

    FoldersCommandOptions kept;
    CLI::App* foldersCommand = app.add_subcommand(
        "folders", "The folders kept in every scan: list (default), add DIR, or remove ID");
    foldersCommand->add_option("action", kept.words, "What to do, and its argument")
        ->type_name("ACTION [ARG]")
        ->expected(0, 2);
    foldersCommand->add_flag("--json", kept.json, "Print the kept folders as JSON");

    ReviewCommandOptions review;
    CLI::App* reviewCommand = app.add_subcommand(
        "review",
        "The review reminder: status (default), cadence off|weekly|monthly, profile ID, or done "
        "to record a review completed now");
    reviewCommand->add_option("action", review.words, "What to do, and its value")
        ->type_name("ACTION [VALUE]")
        ->expected(0, 2);
    reviewCommand->add_flag("--json", review.json, "Print the result as JSON");

    RemindCommandOptions remind;
    CLI::App* remindCommand = app.add_subcommand(
        "remind",
        "Show the review reminder as a desktop notification when a review is due (once per due "
        "review); the systemd user timer velmora-remind.timer runs it");
    remindCommand
        ->add_option("--wait", remind.waitSeconds,
                     "Listen this long for the reminder's Open review button (default: 0)")
        ->check(CLI::Range(0u, 3600u))
        ->type_name("SECONDS");
    remindCommand->add_flag("--json", remind.json, "Print the result as JSON");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == 0) return app.exit(e);
        const AppLanguage lineLanguage = languageOfCommandLine(argc, argv);
        std::cerr << "velmora: " << firstParseProblem(app, argc, argv, e, lineLanguage) << "\n"
                  << VelmoraCopy{lineLanguage}.text("Run `velmora --help` for usage.",
                                                    "사용법은 `velmora --help`로 확인하세요.")
                  << "\n";
        return kExitRefused;
    }

    // Paths a person typed are relative to where they stand.
    // (`clean` and `restore` resolve their PATH arguments the same way.)
    if (home) home = absolutePathFromArgument(*home);
    for (auto* folders : {&scan.request.customFolders, &clean.request.customFolders,
                          &restore.request.customFolders, &ignore.request.customFolders}) {
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
            std::cerr << "velmora: " << unknownLanguageMessage(*runLanguage) << "\n";
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
