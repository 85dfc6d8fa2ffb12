#pragma once
// Translation of the texts the program shows. English and Korean are written where a text is
// made; the six other languages are looked up from the English text, first in the language's
// table of fixed texts, then in its table of sentence templates. No lookup fails: an
// untranslated text is shown in English. Pure and thread-safe; the tables are immutable.
//
// The tables are the data files in VelmoraUI/translations/, one per language,
// compiled into the program as resources; each is read once, when its language is first used.
#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora {

/// `english` in `language`. For Korean and English the caller's text is already right and is
/// returned unchanged; callers that show Korean pass its Korean form through `VelmoraCopy`.
std::string localized(std::string_view english, AppLanguage language);

/// A text in one language, written with its English and Korean forms at the point of use.
struct VelmoraCopy {
    AppLanguage language = AppLanguage::english;

    std::string text(std::string_view english, std::string_view korean) const {
        if (language == AppLanguage::korean) return std::string(korean);
        return localized(english, language);
    }
};

/// An English text with its Korean form, for tables of texts written ahead of their use (the
/// reasons the core makes, titles of enumerations). Write each entry as
/// `CopyPair{"English", "Korean"}`: the translation check reads that form.
struct CopyPair {
    std::string_view english;
    std::string_view korean;

    std::string in(AppLanguage language) const {
        return VelmoraCopy{language}.text(english, korean);
    }
};

/// Texts looked up by a key instead of by their English form; every language has each one.
enum class VelmoraI18nKey {
    languageTitle,
    macOnboardingLanguageTitle,
    macOnboardingLanguageBody,
    macOnboardingSafetyTitle,
    macOnboardingSafetyBody,
    settingsLanguageBody,
    homeAccessGrantedStatus,
};

/// Every keyed text with its key, in order. The translation check reads this table.
inline constexpr std::array<std::pair<VelmoraI18nKey, std::string_view>, 7> kI18nKeys = {{
    {VelmoraI18nKey::languageTitle, "language.title"},
    {VelmoraI18nKey::macOnboardingLanguageTitle, "mac.onboarding.language.title"},
    {VelmoraI18nKey::macOnboardingLanguageBody, "mac.onboarding.language.body"},
    {VelmoraI18nKey::macOnboardingSafetyTitle, "mac.onboarding.safety.title"},
    {VelmoraI18nKey::macOnboardingSafetyBody, "mac.onboarding.safety.body"},
    {VelmoraI18nKey::settingsLanguageBody, "settings.language.body"},
    {VelmoraI18nKey::homeAccessGrantedStatus, "home.access.granted.status"},
}};

std::string_view i18nKeyName(VelmoraI18nKey key);

/// The keyed text in `language`; the English text when the language's table lacks it.
std::string text(VelmoraI18nKey key, AppLanguage language);

/// The catalogue for one language, for code that builds many texts.
struct VelmoraLocalizer {
    AppLanguage language = AppLanguage::english;

    std::string localized(std::string_view english) const {
        return velmora::localized(english, language);
    }
    std::string text(VelmoraI18nKey key) const { return velmora::text(key, language); }
};

/// What is wrong with the tables (a missing or malformed data file, a pattern that does not
/// compile, a template whose placeholders do not fit its captures), one sentence each; empty
/// when every table is whole. Faulty entries are left out of the tables. Reads every table and
/// compiles every template, which lookups do only as they need them: for checks.
std::vector<std::string> catalogueProblems();

}  // namespace velmora
