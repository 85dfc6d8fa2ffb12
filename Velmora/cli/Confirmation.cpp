#include "Velmora/cli/Confirmation.h"

#include <unistd.h>

#include <istream>
#include <ostream>

#include "CleanerCore/base/Text.h"

namespace velmora::cli {

bool standardInputIsTerminal() {
    return ::isatty(STDIN_FILENO) == 1;
}

bool askToConfirm(const std::string& question, std::istream& in, std::ostream& out) {
    out << question << " [y/N] " << std::flush;
    std::string answer;
    if (!std::getline(in, answer)) {
        out << '\n';
        return false;
    }
    answer = asciiLowercased(trimmedWhitespace(answer));
    return answer == "y" || answer == "yes";
}

std::string confirmationRefusal(const std::string& action) {
    return "velmora: nothing was " + action +
           ": there is no terminal to ask for confirmation. Review the list above and run the "
           "command again with --yes to confirm.";
}

}  // namespace velmora::cli
