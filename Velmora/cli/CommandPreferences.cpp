#include "Velmora/cli/CommandPreferences.h"

#include <QSettings>
#include <QString>
#include <iostream>

#include "CleanerCore/platform/Environment.h"
#include "VelmoraUI/localization/LanguagePreference.h"

namespace velmora::cli {

CommandPreferences openCommandPreferences(const std::optional<std::string>& homeOverride,
                                          std::optional<AppLanguage> runLanguage) {
    CommandPreferences p;
    p.file = openPreferenceFile(currentUserEnvironment(homeOverride).xdgConfigHome);
    p.language = runLanguage ? *runLanguage : resolvedLanguage(*p.file.settings);
    if (auto notice = damagedPreferencesMessage(p.file, p.language)) {
        std::cerr << "velmora: " << *notice << "\n";
    }
    return p;
}

AppLanguage commandLanguage(const std::optional<std::string>& homeOverride,
                            std::optional<AppLanguage> runLanguage) {
    if (runLanguage) return *runLanguage;
    const QSettings settings(QString::fromStdString(preferenceFilePath(
                                 currentUserEnvironment(homeOverride).xdgConfigHome)),
                             QSettings::IniFormat);
    return resolvedLanguage(settings);
}

}  // namespace velmora::cli
