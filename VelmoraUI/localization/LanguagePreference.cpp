#include "VelmoraUI/localization/LanguagePreference.h"

#include <QSettings>
#include <QString>
#include <QUrl>
#include <QUrlQuery>

namespace velmora {
namespace {

QString preferenceKey() {
    return QString::fromUtf8(kLanguagePreferenceKey.data(),
                             static_cast<qsizetype>(kLanguagePreferenceKey.size()));
}

std::optional<AppLanguage> languageFromLaunchURL(const std::string& launchURL) {
    const QUrl url(QString::fromStdString(launchURL));
    if (!url.isValid() || !url.hasQuery()) return std::nullopt;
    const QUrlQuery query(url);
    for (const auto& [name, value] : query.queryItems(QUrl::FullyDecoded)) {
        const bool named = name.compare(u"velmoraLanguage", Qt::CaseInsensitive) == 0 ||
                           name.compare(u"lang", Qt::CaseInsensitive) == 0 ||
                           name.compare(u"language", Qt::CaseInsensitive) == 0;
        if (!named) continue;
        if (auto language = normalizedLanguage(value.toStdString())) return language;
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> storedLanguage(const QSettings& settings) {
    const QVariant value = settings.value(preferenceKey());
    if (!value.isValid()) return std::nullopt;
    return value.toString().toStdString();
}

AppLanguage resolvedLanguage(const QSettings& settings, const std::vector<std::string>& preferred) {
    return resolvedLanguage(storedLanguage(settings), preferred);
}

AppLanguage resolvedLanguage(const QSettings& settings) {
    // The stored choice usually decides, so the environment is read only when it does not.
    const auto stored = storedLanguage(settings);
    if (stored && normalizedLanguage(*stored)) return *normalizedLanguage(*stored);
    return resolvedLanguage(std::nullopt, systemPreferredLanguages());
}

std::optional<AppLanguage> seedLaunchLanguage(QSettings& settings,
                                              std::optional<std::string> defaultLanguageFromBuild,
                                              std::optional<std::string> launchURL) {
    const auto stored = storedLanguage(settings);
    if (stored && normalizedLanguage(*stored)) return std::nullopt;
    std::optional<AppLanguage> language;
    if (launchURL) language = languageFromLaunchURL(*launchURL);
    if (!language && defaultLanguageFromBuild) {
        language = normalizedLanguage(*defaultLanguageFromBuild);
    }
    if (!language) return std::nullopt;
    const std::string_view code = languageCode(*language);
    settings.setValue(preferenceKey(),
                      QString::fromUtf8(code.data(), static_cast<qsizetype>(code.size())));
    settings.sync();
    return language;
}

std::optional<std::string> defaultLanguageFromBuild() {
#ifdef VELMORA_DEFAULT_LANGUAGE
    return std::string(VELMORA_DEFAULT_LANGUAGE);
#else
    return std::nullopt;
#endif
}

}  // namespace velmora
