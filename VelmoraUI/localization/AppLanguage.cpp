#include "VelmoraUI/localization/AppLanguage.h"

#include <QLocale>
#include <QString>
#include <QStringList>
#include <algorithm>
#include <cstdlib>

namespace velmora {
namespace {

char lowerAscii(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return lowerAscii(x) == lowerAscii(y);
           });
}

std::vector<std::string_view> components(std::string_view text) {
    std::vector<std::string_view> parts;
    size_t start = 0;
    while (true) {
        size_t dash = text.find('-', start);
        parts.push_back(
            text.substr(start, dash == std::string_view::npos ? text.npos : dash - start));
        if (dash == std::string_view::npos) break;
        start = dash + 1;
    }
    return parts;
}

std::optional<AppLanguage> chinese(const std::vector<std::string_view>& parts) {
    // The script decides when it is given; only without one does the region speak.
    for (auto p : parts) {
        if (equalsIgnoringCase(p, "hant")) return AppLanguage::traditionalChinese;
        if (equalsIgnoringCase(p, "hans")) return AppLanguage::simplifiedChinese;
    }
    for (size_t i = 1; i < parts.size(); ++i) {
        for (std::string_view region : {"tw", "hk", "mo"}) {
            if (equalsIgnoringCase(parts[i], region)) return AppLanguage::traditionalChinese;
        }
    }
    return AppLanguage::simplifiedChinese;
}

/// "ja_JP.UTF-8@euro" -> "ja_JP": the encoding and the modifier say nothing about the language.
std::string_view withoutEncodingAndModifier(std::string_view identifier) {
    return identifier.substr(0, identifier.find_first_of(".@"));
}

bool saysNothing(std::string_view identifier) {
    return identifier.empty() || identifier == "C" || identifier == "POSIX";
}

void addIdentifier(std::vector<std::string>& out, std::string_view raw) {
    std::string_view cut = withoutEncodingAndModifier(raw);
    if (saysNothing(cut)) return;
    if (std::find(out.begin(), out.end(), cut) != out.end()) return;
    out.emplace_back(cut);
}

const char* nonEmptyEnvironment(const char* name) {
    const char* value = std::getenv(name);
    return (value && *value) ? value : nullptr;
}

}  // namespace

std::string_view languageCode(AppLanguage language) {
    switch (language) {
        case AppLanguage::korean:
            return "ko";
        case AppLanguage::english:
            return "en";
        case AppLanguage::japanese:
            return "ja";
        case AppLanguage::simplifiedChinese:
            return "zh-Hans";
        case AppLanguage::traditionalChinese:
            return "zh-Hant";
        case AppLanguage::spanish:
            return "es";
        case AppLanguage::french:
            return "fr";
        case AppLanguage::german:
            return "de";
    }
    return "en";
}

std::string_view languageName(AppLanguage language) {
    switch (language) {
        case AppLanguage::korean:
            return "한국어";
        case AppLanguage::english:
            return "English";
        case AppLanguage::japanese:
            return "日本語";
        case AppLanguage::simplifiedChinese:
            return "简体中文";
        case AppLanguage::traditionalChinese:
            return "繁體中文";
        case AppLanguage::spanish:
            return "Español";
        case AppLanguage::french:
            return "Français";
        case AppLanguage::german:
            return "Deutsch";
    }
    return "English";
}

std::optional<AppLanguage> normalizedLanguage(std::string_view identifier) {
    std::string dashed(identifier);
    std::replace(dashed.begin(), dashed.end(), '_', '-');
    for (AppLanguage l : kAppLanguages) {
        if (equalsIgnoringCase(languageCode(l), dashed)) return l;
    }
    const auto parts = components(dashed);
    const std::string_view first = parts.front();
    if (equalsIgnoringCase(first, "zh")) return chinese(parts);
    for (AppLanguage l : {AppLanguage::korean, AppLanguage::english, AppLanguage::japanese,
                          AppLanguage::spanish, AppLanguage::french, AppLanguage::german}) {
        if (equalsIgnoringCase(first, languageCode(l))) return l;
    }
    return std::nullopt;
}

LanguageResolution resolveLanguage(const std::optional<std::string>& stored,
                                   const std::vector<std::string>& preferred) {
    if (stored) {
        if (auto l = normalizedLanguage(*stored)) return {*l, LanguageSource::stored};
    }
    for (const auto& p : preferred) {
        if (auto l = normalizedLanguage(p)) return {*l, LanguageSource::system};
    }
    return {};
}

AppLanguage resolvedLanguage(const std::optional<std::string>& stored,
                             const std::vector<std::string>& preferred) {
    return resolveLanguage(stored, preferred).language;
}

std::vector<std::string> systemPreferredLanguages() {
    std::vector<std::string> out;
    if (const char* list = nonEmptyEnvironment("LANGUAGE")) {
        std::string_view rest(list);
        while (!rest.empty()) {
            size_t colon = rest.find(':');
            addIdentifier(out, rest.substr(0, colon));
            if (colon == std::string_view::npos) break;
            rest.remove_prefix(colon + 1);
        }
    }
    // The first one set wins, as for the C library: LC_ALL=C means untranslated messages even
    // when LANG names a language.
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (const char* value = nonEmptyEnvironment(name)) {
            addIdentifier(out, value);
            break;
        }
    }
    for (const QString& ui : QLocale::system().uiLanguages()) {
        addIdentifier(out, ui.toStdString());
    }
    return out;
}

}  // namespace velmora
