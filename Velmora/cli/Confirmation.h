#pragma once
// Asking a person before anything is moved. Without a terminal there is nobody to ask, so the
// commands refuse unless the caller passed --yes.
#include <iosfwd>
#include <string>

#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::cli {

/// True when standard input is a terminal.
bool standardInputIsTerminal();

/// Prints `question` followed by the answers (" [y/N] "; in Spanish " [s/N] ", in French
/// " [o/N] ", in German " [j/N] ") on `out` and reads one line from `in`. True only for "y" or
/// "yes" (any case), or for the language's own yes ("はい", "예", "是", "sí", "oui", "ja", ...).
/// End of input counts as no.
bool askToConfirm(const std::string& question, std::istream& in, std::ostream& out,
                  AppLanguage language);

/// What a confirmation was needed for.
enum class ConfirmedChange { move, deletion, restore, quitRequest };

/// The message printed when confirmation is needed but there is no terminal, with the
/// "velmora: " it starts with.
std::string confirmationRefusal(ConfirmedChange change, AppLanguage language);

}  // namespace velmora::cli
