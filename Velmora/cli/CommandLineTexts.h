#pragma once
// The command line's own texts in the run's language: the labels of the help, and the
// problems the parser finds in what a person typed.
#include <CLI/CLI.hpp>
#include <string>
#include <string_view>

#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::cli {

/// Gives `app` help labels ("Usage", "Options", ...), a help flag and an option group in
/// `language`. Call it before adding options or subcommands: they inherit these settings.
void localizeHelp(CLI::App& app, AppLanguage language);

/// Lists `app`'s subcommands under a group named in `language`, and puts their help flags in
/// the option group `localizeHelp` named. Call it once every subcommand has been added.
void localizeSubcommands(CLI::App& app, AppLanguage language);

/// The parser's message `message` (CLI11's English) as a sentence in `language`; the option
/// names and the text a person typed are kept as they were. `commands` lists the command
/// words ("scan, clean, ..."), for a line that names none. A message of a shape not known here
/// is kept whole inside a translated frame.
std::string parseProblemSentence(std::string_view message, std::string_view commands,
                                 AppLanguage language);

}  // namespace velmora::cli
