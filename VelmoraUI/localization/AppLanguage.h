#pragma once
// The eight interface languages, how any language identifier maps onto them, and which one a
// run uses. Pure and thread-safe, except `systemPreferredLanguages`, which reads the
// environment and the system locale.
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

/// Persisted by its code ("ko", "en", "ja", "zh-Hans", "zh-Hant", "es", "fr", "de").
enum class AppLanguage {
    korean,
    english,
    japanese,
    simplifiedChinese,
    traditionalChinese,
    spanish,
    french,
    german,
};

/// Every language, in the order the interface offers them.
inline constexpr std::array<AppLanguage, 8> kAppLanguages = {
    AppLanguage::korean,
    AppLanguage::english,
    AppLanguage::japanese,
    AppLanguage::simplifiedChinese,
    AppLanguage::traditionalChinese,
    AppLanguage::spanish,
    AppLanguage::french,
    AppLanguage::german,
};

/// The preference key that holds the chosen language's code.
inline constexpr std::string_view kLanguagePreferenceKey = "velmora.language";

std::string_view languageCode(AppLanguage language);

/// The language's name in itself ("日本語", "Deutsch"), as a chooser lists it.
std::string_view languageName(AppLanguage language);

/// Maps any identifier ("ja_JP.UTF-8" after its encoding is cut, "zh-Hant-TW", "EN") to a
/// language, or nothing ("pt-BR").
std::optional<AppLanguage> normalizedLanguage(std::string_view identifier);

/// Which rule chose a resolved language.
enum class LanguageSource { stored, system, fallback };

struct LanguageResolution {
    AppLanguage language = AppLanguage::english;
    LanguageSource source = LanguageSource::fallback;
};

/// The language to use now, and the rule that chose it: the stored value when it is exactly a
/// code or normalizes, else the first of `preferred` that normalizes, else English.
LanguageResolution resolveLanguage(const std::optional<std::string>& stored,
                                   const std::vector<std::string>& preferred);

/// `resolveLanguage(stored, preferred).language`.
AppLanguage resolvedLanguage(const std::optional<std::string>& stored,
                             const std::vector<std::string>& preferred);

/// The system's preferred languages in order: the entries of `LANGUAGE` (colon-separated), then
/// `LC_ALL`, `LC_MESSAGES` and `LANG` (the first set one; "C" and "POSIX" say nothing), then
/// the system locale's interface languages. Encodings and modifiers ("ja_JP.UTF-8@x") are cut.
std::vector<std::string> systemPreferredLanguages();

}  // namespace velmora
