#pragma once
// Asking a person before anything is moved. Without a terminal there is nobody to ask, so the
// commands refuse unless the caller passed --yes.
#include <iosfwd>
#include <string>

namespace velmora::cli {

/// True when standard input is a terminal.
bool standardInputIsTerminal();

/// Prints `question` followed by " [y/N] " on `out` and reads one line from `in`; true only for
/// "y" or "yes" (any case). End of input counts as no.
bool askToConfirm(const std::string& question, std::istream& in, std::ostream& out);

/// The message printed when confirmation is needed but there is no terminal.
std::string confirmationRefusal(const std::string& action);

}  // namespace velmora::cli
