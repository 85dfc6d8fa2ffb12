#include "Velmora/cli/CommandLineTexts.h"

#include <optional>
#include <string>

#include "VelmoraUI/localization/Localizer.h"

namespace velmora::cli {

namespace {

// The labels CLI11's formatter looks up by their English key; the type names of options
// (DIR, ID, ...) are looked up the same way and are deliberately not in this table.
struct HelpLabel {
    const char* key;
    CopyPair text;
};
constexpr HelpLabel kHelpLabels[] = {
    {"Usage", CopyPair{"Usage", "사용법"}},
    {"OPTIONS", CopyPair{"OPTIONS", "옵션"}},
    {"SUBCOMMAND", CopyPair{"COMMAND", "명령"}},
    {"SUBCOMMANDS", CopyPair{"COMMANDS", "명령"}},
    {"Positionals", CopyPair{"Arguments", "인수"}},
    {"REQUIRED", CopyPair{"REQUIRED", "필수"}},
    {"Excludes", CopyPair{"Excludes", "함께 쓸 수 없음"}},
    {"Needs", CopyPair{"Needs", "필요"}},
    {"Env", CopyPair{"Environment", "환경 변수"}},
};

// A value list as CLI11 prints it ("{a,b,c}" without braces), for a sentence: "a, b, c".
std::string listed(const std::string& commaSeparated) {
    std::string out;
    for (char c : commaSeparated) {
        out += c;
        if (c == ',') out += ' ';
    }
    return out;
}

}  // namespace

void localizeHelp(CLI::App& app, AppLanguage language) {
    const VelmoraCopy copy{language};
    for (const HelpLabel& label : kHelpLabels) {
        app.get_formatter()->label(label.key, label.text.in(language));
    }
    app.option_defaults()->group(copy.text("Options", "옵션"));
    app.set_help_flag("-h,--help", copy.text("Print this help message and exit",
                                             "이 도움말을 보여 주고 끝냅니다"));
}

void localizeSubcommands(CLI::App& app, AppLanguage language) {
    const std::string group = VelmoraCopy{language}.text("Commands", "명령");
    for (CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        command->group(group);
        // A subcommand makes its help flag before it takes over the parent's option group.
        command->get_help_ptr()->group(app.get_help_ptr()->get_group());
    }
}

std::string parseProblemSentence(std::string_view message, std::string_view commands,
                                 AppLanguage language) {
    const VelmoraCopy copy{language};
    const std::string text(message);
    // Most of the parser's messages are "NAME: DETAIL", NAME being the option or argument.
    const size_t colon = text.find(": ");
    const std::string name = colon == std::string::npos ? std::string() : text.substr(0, colon);
    const std::string detail = colon == std::string::npos ? text : text.substr(colon + 2);
    // The text of `detail` between `before` (searched from the start) and `after` (from the
    // end), when `detail` holds both in that order.
    const auto between = [](const std::string& of, std::string_view before,
                            std::string_view after) -> std::optional<std::string> {
        const size_t start = of.find(before);
        const size_t end = after.empty() ? of.size() : of.rfind(after);
        if (start == std::string::npos || end == std::string::npos || end < start + before.size())
            return std::nullopt;
        return of.substr(start + before.size(), end - start - before.size());
    };

    if (auto rest = between(text, "The following argument was not expected: ", "");
        rest && text.starts_with("The following")) {
        // i18n-example: "this argument was not expected here: --bogus."
        return copy.text("this argument was not expected here: " + *rest + ".",
                         "여기에 올 수 없는 인수입니다: " + *rest + ".");
    }
    if (auto rest = between(text, "The following arguments were not expected: ", "");
        rest && text.starts_with("The following")) {
        // i18n-example: "these arguments were not expected here: extra --bogus."
        return copy.text("these arguments were not expected here: " + *rest + ".",
                         "여기에 올 수 없는 인수입니다: " + *rest + ".");
    }
    if (const auto type = between(detail, " required ", " missing");
        type && !name.empty() && detail.ends_with(" missing")) {
        // A type shown with its choices ("MODE:{a,b}") is named by its metavariable alone.
        const std::string metavariable = type->substr(0, type->find(':'));
        // i18n-example: "the option --home needs a value (DIR)."
        return copy.text("the option " + name + " needs a value (" + metavariable + ").",
                         "옵션 " + name + "에 값(" + metavariable + ")이 필요합니다.");
    }
    if (detail.starts_with("At Most ")) {
        const auto most = between(detail, "At Most ", " required but received ");
        const auto given = between(detail, " required but received ", "");
        if (most && given && *most == "1") {
            // i18n-example: "--language takes one value, but 2 were given."
            return copy.text(
                name + " takes one value, but " + *given + " were given.",
                name + "에는 값을 하나만 줄 수 있는데 " + *given + "개가 주어졌습니다.");
        }
        if (most && given) {
            // i18n-example: "action takes at most 2 values, but 3 were given."
            return copy.text(
                name + " takes at most " + *most + " values, but " + *given + " were given.",
                name + "에는 값을 " + *most + "개까지 줄 수 있는데 " + *given +
                    "개가 주어졌습니다.");
        }
    }
    if (auto value = between(detail, "Value ", " not in range ");
        value && detail.starts_with("Value ")) {
        // i18n-example: "--visit-limit takes a whole number greater than zero, not 'abc'."
        return copy.text(
            name + " takes a whole number greater than zero, not '" + *value + "'.",
            name + "에는 0보다 큰 정수를 주어야 합니다. '" + *value + "'은(는) 쓸 수 없습니다.");
    }
    if (const size_t in = detail.rfind(" not in {");
        in != std::string::npos && !name.empty() && detail.ends_with("}")) {
        const std::string value = detail.substr(0, in);
        const std::string allowed = listed(detail.substr(in + 9, detail.size() - in - 9 - 1));
        // i18n-example: "--mode takes one of standard, aggressive, direct, not 'fast'."
        return copy.text(name + " takes one of " + allowed + ", not '" + value + "'.",
                         name + "에는 " + allowed + " 중 하나를 주어야 합니다. '" + value +
                             "'은(는) 쓸 수 없습니다.");
    }
    if (const size_t unit = detail.find(" unit not recognized.");
        unit != std::string::npos && !name.empty()) {
        const std::string typed = detail.substr(0, unit);
        // clang-format off
        // i18n-example: "--large-file-size takes a size such as 500MiB or 2GB; the unit 'xx' is not known."
        // clang-format on
        return copy.text(
            name + " takes a size such as 500MiB or 2GB; the unit '" + typed + "' is not known.",
            name + "에는 500MiB나 2GB 같은 크기를 주어야 합니다. 단위 '" + typed +
                "'은(는) 알 수 없습니다.");
    }
    if (const size_t excludes = text.find(" excludes ");
        excludes != std::string::npos && colon == std::string::npos) {
        const std::string first = text.substr(0, excludes), second = text.substr(excludes + 10);
        // i18n-example: "--mode and --profile cannot be used together."
        return copy.text(first + " and " + second + " cannot be used together.",
                         first + "와(과) " + second + "는(은) 함께 쓸 수 없습니다.");
    }
    if (name == "Could not convert") {
        const size_t equals = detail.find(" = ");
        if (equals != std::string::npos) {
            const std::string option = detail.substr(0, equals), value = detail.substr(equals + 3);
            // i18n-example: "--json cannot take the value 'abc'."
            return copy.text(option + " cannot take the value '" + value + "'.",
                             option + "에는 값 '" + value + "'을(를) 줄 수 없습니다.");
        }
    }
    if (text == "A subcommand is required") {
        const std::string names(commands);
        // clang-format off
        // i18n-example: "name a command: scan, clean, restore, ignore, unignore, history, insights, language, folders, review."
        // clang-format on
        return copy.text("name a command: " + names + ".", "명령을 지정하세요: " + names + ".");
    }
    // i18n-example: "the command line could not be read: --x requires --y"
    return copy.text("the command line could not be read: " + text,
                     "명령줄을 읽을 수 없습니다: " + text);
}

}  // namespace velmora::cli
