#include "Velmora/cli/LanguageCommand.h"

#include <QSettings>
#include <iostream>
#include <nlohmann/json.hpp>

#include "CleanerCore/base/PrintableText.h"
#include "Velmora/cli/CommandPreferences.h"
#include "Velmora/cli/ExitStatus.h"
#include "VelmoraUI/localization/LanguagePreference.h"
#include "VelmoraUI/localization/Localizer.h"

namespace velmora::cli {

namespace {

enum class Source { runOption, stored, system, fallback };

std::string_view rawValue(Source source) {
    switch (source) {
        case Source::runOption:
            return "option";
        case Source::stored:
            return "preferences";
        case Source::system:
            return "system";
        case Source::fallback:
            break;
    }
    return "default";
}

// The language of this run and which rule chose it, in the order the rules apply.
std::pair<AppLanguage, Source> currentLanguage(const LanguageCommandOptions& options,
                                               const QSettings& settings) {
    if (options.runLanguage) return {*options.runLanguage, Source::runOption};
    const LanguageResolution r =
        resolveLanguage(storedLanguage(settings), systemPreferredLanguages());
    switch (r.source) {
        case LanguageSource::stored:
            return {r.language, Source::stored};
        case LanguageSource::system:
            return {r.language, Source::system};
        case LanguageSource::fallback:
            break;
    }
    return {r.language, Source::fallback};
}

std::string named(AppLanguage language) {
    return std::string(languageName(language)) + " (" + std::string(languageCode(language)) + ")";
}

std::string sourceSentence(AppLanguage language, Source source) {
    const VelmoraCopy copy{language};
    const std::string name = named(language);
    switch (source) {
        case Source::runOption:
            // i18n-example: "Language for this run: Deutsch (de), chosen with --language."
            return copy.text("Language for this run: " + name + ", chosen with --language.",
                             "이번 실행의 언어: " + name + " (--language로 선택함)");
        case Source::stored:
            // i18n-example: "Language: 日本語 (ja), kept in your preferences."
            return copy.text("Language: " + name + ", kept in your preferences.",
                             "언어: " + name + " (환경설정에 저장됨)");
        case Source::system:
            // i18n-example: "Language: Français (fr), from your system settings."
            return copy.text("Language: " + name + ", from your system settings.",
                             "언어: " + name + " (시스템 설정에 따름)");
        case Source::fallback:
            break;
    }
    return copy.text(
        "Language: English (en), because neither your preferences nor your system "
        "settings name one of Velmora's languages.",
        "언어: English (en) — 환경설정과 시스템 설정 모두 Velmora가 지원하는 언어를 "
        "지정하지 않았습니다.");
}

void printLanguages(std::ostream& out, AppLanguage language) {
    const VelmoraCopy copy{language};
    out << copy.text("Languages:", "언어 목록:") << "\n";
    for (AppLanguage l : kAppLanguages) {
        out << "  " << languageCode(l) << std::string(9 - languageCode(l).size(), ' ')
            << languageName(l) << "\n";
    }
    out << copy.text("Change it with `velmora language CODE`.",
                     "`velmora language 코드`로 바꿀 수 있습니다.")
        << "\n";
}

}  // namespace

std::string unknownLanguageMessage(const std::string& identifier, AppLanguage language) {
    std::string codes;
    for (AppLanguage l : kAppLanguages) {
        codes += (codes.empty() ? "" : ", ") + std::string(languageCode(l));
    }
    const std::string shown = printable(identifier);
    // clang-format off
    // i18n-example: "unknown language 'pt-BR'. The languages are: ko, en, ja, zh-Hans, zh-Hant, es, fr, de."
    // clang-format on
    return VelmoraCopy{language}.text(
        "unknown language '" + shown + "'. The languages are: " + codes + ".",
        "알 수 없는 언어 '" + shown + "'입니다. 사용할 수 있는 언어는 " + codes + "입니다.");
}

int runLanguageCommand(const LanguageCommandOptions& options) {
    CommandPreferences preferences =
        openCommandPreferences(options.homeOverride, options.runLanguage);
    QSettings& settings = *preferences.file.settings;

    if (!options.code) {
        const auto [language, source] = currentLanguage(options, settings);
        if (options.json) {
            nlohmann::json languages = nlohmann::json::array();
            for (AppLanguage l : kAppLanguages) {
                languages.push_back({{"code", languageCode(l)}, {"name", languageName(l)}});
            }
            std::cout << nlohmann::json{{"language", languageCode(language)},
                                        {"source", rawValue(source)},
                                        {"languages", languages}}
                             .dump(2)
                      << "\n";
        } else {
            std::cout << sourceSentence(language, source) << "\n";
            printLanguages(std::cout, language);
        }
        return kExitDone;
    }

    const auto chosen = normalizedLanguage(*options.code);
    if (!chosen) {
        std::cerr << "velmora: " << unknownLanguageMessage(*options.code, preferences.language)
                  << "\n";
        return kExitRefused;
    }
    const std::string code(languageCode(*chosen));
    const bool saved =
        storePreference(settings, kLanguagePreferenceKey, QString::fromStdString(code));
    const VelmoraCopy copy{*chosen};
    if (options.json) {
        std::cout << nlohmann::json{{"language", code}, {"saved", saved}}.dump(2) << "\n";
    } else if (saved) {
        // i18n-example: "Velmora now speaks 日本語 (ja)."
        std::cout << copy.text("Velmora now speaks " + named(*chosen) + ".",
                               "Velmora의 언어를 " + named(*chosen) + "(으)로 설정했습니다.")
                  << "\n";
    }
    if (!saved) {
        std::cerr << "velmora: "
                  << copy.text(
                         "The language could not be kept: the preferences file could not "
                         "be written.",
                         "언어를 저장하지 못했습니다. 환경설정 파일에 쓸 수 없습니다.")
                  << "\n";
        return kExitFailures;
    }
    return kExitDone;
}

}  // namespace velmora::cli
