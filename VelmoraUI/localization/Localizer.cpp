#include "VelmoraUI/localization/Localizer.h"

#include <QFile>
#include <QString>
#include <array>
#include <mutex>

#include "VelmoraUI/localization/TranslationTable.h"

// Resource initialisers are global symbols. Calling this one also makes the linker keep the
// compiled-in data files when the library is linked statically.
static void initLocalizationResources() {
    Q_INIT_RESOURCE(velmora_localization);
}

namespace velmora {
namespace {

// One language's table, read on its first use: a run reads only the tables of the languages it
// speaks.
struct LoadedTable {
    std::once_flag read;
    TranslationTable table;
    std::vector<std::string> problems;
};

std::array<LoadedTable, kAppLanguages.size()>& loadedTables() {
    static std::array<LoadedTable, kAppLanguages.size()> tables;
    return tables;
}

LoadedTable& loaded(AppLanguage language) {
    LoadedTable& slot = loadedTables()[static_cast<size_t>(language)];
    // call_once: several threads may ask for the same table at the same time.
    std::call_once(slot.read, [&] {
        initLocalizationResources();
        const std::string name =
            ":/velmora/localization/" + std::string(languageCode(language)) + ".json";
        QFile file(QString::fromStdString(name));
        if (!file.open(QIODevice::ReadOnly)) {
            slot.problems.push_back(name + ": the data file is missing.");
            return;
        }
        slot.table = TranslationTable::fromJson(file.readAll(), name, slot.problems);
    });
    return slot;
}

const TranslationTable& tableFor(AppLanguage language) {
    return loaded(language).table;
}

}  // namespace

std::string localized(std::string_view english, AppLanguage language) {
    if (language == AppLanguage::korean || language == AppLanguage::english) {
        return std::string(english);
    }
    if (auto hit = tableFor(language).translated(english)) return *std::move(hit);
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
        if (auto hit = tableFor(l).keyed(name)) return *std::move(hit);
    }
    return std::string(name);
}

std::vector<std::string> catalogueProblems() {
    std::vector<std::string> problems;
    for (AppLanguage language : kAppLanguages) {
        const LoadedTable& slot = loaded(language);
        problems.insert(problems.end(), slot.problems.begin(), slot.problems.end());
        for (std::string& p : slot.table.templateProblems()) problems.push_back(std::move(p));
    }
    return problems;
}

}  // namespace velmora
