#include "VelmoraUI/localization/Localizer.h"

#include <QFile>
#include <QString>

#include "VelmoraUI/localization/TranslationTable.h"

// Resource initialisers are global symbols. Calling this one also makes the linker keep the
// compiled-in data files when the library is linked statically.
static void initLocalizationResources() {
    Q_INIT_RESOURCE(velmora_localization);
}

namespace velmora {
namespace {

struct Catalogue {
    std::array<TranslationTable, kAppLanguages.size()> tables;
    std::vector<std::string> problems;
};

const TranslationTable& tableFor(const Catalogue& catalogue, AppLanguage language) {
    return catalogue.tables[static_cast<size_t>(language)];
}

Catalogue load() {
    initLocalizationResources();
    Catalogue catalogue;
    for (AppLanguage language : kAppLanguages) {
        const std::string name =
            ":/velmora/localization/" + std::string(languageCode(language)) + ".json";
        QFile file(QString::fromStdString(name));
        if (!file.open(QIODevice::ReadOnly)) {
            catalogue.problems.push_back(name + ": the data file is missing.");
            continue;
        }
        catalogue.tables[static_cast<size_t>(language)] =
            TranslationTable::fromJson(file.readAll(), name, catalogue.problems);
    }
    return catalogue;
}

/// Read once, on first use; a function-local static is initialised exactly once even when
/// several threads ask at the same time.
const Catalogue& catalogue() {
    static const Catalogue instance = load();
    return instance;
}

}  // namespace

std::string localized(std::string_view english, AppLanguage language) {
    if (language == AppLanguage::korean || language == AppLanguage::english) {
        return std::string(english);
    }
    if (auto hit = tableFor(catalogue(), language).translated(english)) return *std::move(hit);
    return std::string(english);
}

std::string_view i18nKeyName(VelmoraI18nKey key) {
    for (const auto& [k, name] : kI18nKeys) {
        if (k == key) return name;
    }
    return {};
}

std::string text(VelmoraI18nKey key, AppLanguage language) {
    const std::string_view name = i18nKeyName(key);
    for (AppLanguage l : {language, AppLanguage::english}) {
        if (auto hit = tableFor(catalogue(), l).keyed(name)) return *std::move(hit);
    }
    return std::string(name);
}

const std::vector<std::string>& catalogueProblems() {
    return catalogue().problems;
}

}  // namespace velmora
