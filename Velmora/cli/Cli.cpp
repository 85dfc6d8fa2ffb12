#include "Velmora/cli/Cli.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "CleanerCore/platform/FileSystem.h"
#include "Velmora/cli/ScanCommand.h"

namespace velmora::cli {

int run(int argc, char** argv) {
    CLI::App app{
        "Velmora finds regenerable files in your storage (caches, logs, build and package "
        "caches), shows each with its size and a safety level, and moves only what you confirm "
        "to the Trash."};
    app.name("velmora");
    app.set_version_flag("--version", "velmora 0.1.0");
    app.require_subcommand(1);
    app.fallthrough();

    std::optional<std::string> home;
    std::string catalogue(rawValue(hostCatalogue()));
    app.add_option("--home", home, "Home folder to work on (default: $HOME)")->type_name("DIR");
    app.add_option("--catalogue", catalogue,
                   "Folder layout: linux or macos (default: this machine's)")
        ->check(CLI::IsMember({"linux", "macos"}))
        ->type_name("NAME");

    ScanCommandOptions scan;
    std::string mode = "standard";
    CLI::App* scanCommand =
        app.add_subcommand("scan", "Find cleanup candidates (read-only: nothing is changed)");
    scanCommand
        ->add_option("--mode", mode,
                     "standard (caches and logs untouched for a day), aggressive (also hidden "
                     "files and app caches), or direct (also developer and package caches)")
        ->check(CLI::IsMember({"standard", "aggressive", "direct"}))
        ->type_name("MODE");
    scanCommand->add_flag("--allow-direct", scan.request.allowDirect,
                          "Permit direct mode (developer and package-manager caches)");
    scanCommand
        ->add_option("--folder", scan.request.customFolders, "Also scan this folder (repeatable)")
        ->allow_extra_args(false)
        ->type_name("DIR");
    scanCommand->add_flag("--json", scan.json, "Print the report as JSON");
    scanCommand->add_flag("--quiet", scan.quiet, "No progress display");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == 0) return app.exit(e);
        std::cerr << "velmora: " << e.what() << "\nRun `velmora --help` for usage.\n";
        return 2;
    }

    if (home) {
        auto st = statPath(*home);
        if (!st || !S_ISDIR(st->st_mode)) {
            std::cerr << "velmora: the home folder does not exist or is not a folder: " << *home
                      << "\n";
            return 2;
        }
    }
    if (scanCommand->parsed()) {
        scan.request.homeOverride = home;
        scan.request.catalogue = *catalogueFromRaw(catalogue);
        scan.request.mode = *scanModeFromRaw(mode);
        return runScanCommand(scan);
    }
    return 2;
}

}  // namespace velmora::cli
