#include "Velmora/cli/Confirmation.h"

#include <unistd.h>

#include <algorithm>
#include <istream>
#include <ostream>
#include <string_view>
#include <vector>

#include "CleanerCore/base/Text.h"
#include "VelmoraUI/localization/Localizer.h"

namespace velmora::cli {

namespace {

struct Answers {
    std::string_view hint;
    std::vector<std::string_view> yes;  ///< in lower case; "y" and "yes" are always accepted
};

Answers answersIn(AppLanguage language) {
    switch (language) {
        case AppLanguage::korean:
            return {"[y/N]", {"예", "네", "ㅇ"}};
        case AppLanguage::japanese:
            return {"[y/N]", {"はい"}};
        case AppLanguage::simplifiedChinese:
        case AppLanguage::traditionalChinese:
            return {"[y/N]", {"是", "好"}};
        case AppLanguage::spanish:
            return {"[s/N]", {"s", "si", "sí"}};
        case AppLanguage::french:
            return {"[o/N]", {"o", "oui"}};
        case AppLanguage::german:
            return {"[j/N]", {"j", "ja"}};
        case AppLanguage::english:
            break;
    }
    return {"[y/N]", {}};
}

}  // namespace

bool standardInputIsTerminal() {
    return ::isatty(STDIN_FILENO) == 1;
}

bool askToConfirm(const std::string& question, std::istream& in, std::ostream& out,
                  AppLanguage language) {
    const Answers answers = answersIn(language);
    out << question << " " << answers.hint << " " << std::flush;
    std::string answer;
    if (!std::getline(in, answer)) {
        out << '\n';
        return false;
    }
    answer = asciiLowercased(trimmedWhitespace(answer));
    return answer == "y" || answer == "yes" ||
           std::find(answers.yes.begin(), answers.yes.end(), answer) != answers.yes.end();
}

std::string confirmationRefusal(ConfirmedChange change, AppLanguage language) {
    const VelmoraCopy copy{language};
    std::string text;
    switch (change) {
        case ConfirmedChange::move:
            text = copy.text(
                "nothing was moved: there is no terminal to ask for confirmation. Review the "
                "list above and run the command again with --yes to confirm.",
                "아무것도 옮기지 않았습니다. 확인을 물을 터미널이 없습니다. 위 목록을 검토한 "
                "뒤 --yes를 붙여 명령을 다시 실행하세요.");
            break;
        case ConfirmedChange::deletion:
            text = copy.text(
                "nothing was deleted: there is no terminal to ask for confirmation. Review the "
                "list above and run the command again with --yes to confirm.",
                "아무것도 삭제하지 않았습니다. 확인을 물을 터미널이 없습니다. 위 목록을 검토한 "
                "뒤 --yes를 붙여 명령을 다시 실행하세요.");
            break;
        case ConfirmedChange::restore:
            text = copy.text(
                "nothing was restored: there is no terminal to ask for confirmation. Review the "
                "list above and run the command again with --yes to confirm.",
                "아무것도 복원하지 않았습니다. 확인을 물을 터미널이 없습니다. 위 목록을 검토한 "
                "뒤 --yes를 붙여 명령을 다시 실행하세요.");
            break;
        case ConfirmedChange::quitRequest:
            text = copy.text(
                "no quit request was sent: there is no terminal to ask for confirmation. Review "
                "the list above and run the command again with --yes to confirm.",
                "종료 요청을 보내지 않았습니다. 확인을 물을 터미널이 없습니다. 위 목록을 검토한 "
                "뒤 --yes를 붙여 명령을 다시 실행하세요.");
            break;
    }
    return "velmora: " + text;
}

}  // namespace velmora::cli
