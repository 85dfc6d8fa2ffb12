#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora {

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

std::optional<AppLanguage> normalizedLanguage(std::string_view identifier) {
    // Placeholder until the catalogue lands: exact codes only.
    for (AppLanguage l : kAppLanguages) {
        if (languageCode(l) == identifier) return l;
    }
    return std::nullopt;
}

AppLanguage resolvedLanguage(const std::optional<std::string>& stored,
                             const std::vector<std::string>& preferred) {
    if (stored) {
        if (auto l = normalizedLanguage(*stored)) return *l;
    }
    for (const auto& p : preferred) {
        if (auto l = normalizedLanguage(p)) return *l;
    }
    return AppLanguage::english;
}

std::vector<std::string> systemPreferredLanguages() {
    return {};
}

}  // namespace velmora
