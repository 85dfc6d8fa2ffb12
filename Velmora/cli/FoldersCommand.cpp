#include "Velmora/cli/FoldersCommand.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/base/PrintableText.h"
#include "CleanerCore/platform/Environment.h"
#include "Velmora/cli/CleanCommand.h"
#include "Velmora/cli/CommandPreferences.h"
#include "Velmora/cli/ExitStatus.h"
#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/state/CustomScanFolders.h"

namespace velmora::cli {

namespace {

int list(const CustomScanFolderStore& store, const ScanRootRules& rules, AppLanguage language,
         bool json) {
    const CustomScanFolderResolution resolution = resolveCustomScanFolders(store.folders(), rules);
    auto reasonFor = [&](const CustomScanFolder& f) -> std::optional<std::string> {
        for (const auto& s : resolution.skippedItems) {
            if (s.url.path == FileURL::directory(f.fallbackPath).path) return s.reason;
        }
        return std::nullopt;
    };
    if (json) {
        nlohmann::json out = nlohmann::json::array();
        for (const auto& f : store.folders()) {
            const auto reason = reasonFor(f);
            out.push_back({{"id", f.id},
                           {"path", printable(f.fallbackPath)},
                           {"createdAt", f.createdAt},
                           {"usable", !reason},
                           {"reason", reason ? nlohmann::json(*reason) : nlohmann::json(nullptr)}});
        }
        std::cout << out.dump(2) << "\n";
        return kExitDone;
    }
    const VelmoraCopy copy{language};
    if (store.folders().empty()) {
        std::cout << copy.text(
                         "No folders are kept for the scan. Add one with `velmora folders "
                         "add DIR`.",
                         "검사에 포함할 폴더가 없습니다. `velmora folders add 폴더`로 "
                         "추가하세요.")
                  << "\n";
        return kExitDone;
    }
    for (const auto& f : store.folders()) {
        std::cout << f.id << "  " << printable(f.fallbackPath) << "\n";
        // The reasons a kept folder is not scanned:
        // clang-format off
        // i18n-example: "Custom folder stale bookmark. Remove and add this folder again before cleanup."
        // i18n-example: "The folder no longer exists: /home/ana/Projects/out"
        // i18n-example: "The folder cannot be read: /home/ana/Projects/out"
        // i18n-example: "The saved bookmark of this folder is damaged."
        // clang-format on
        if (auto reason = reasonFor(f)) {
            std::cout << "    " << copy.text("Not scanned:", "검사하지 않음:") << " "
                      << localized(*reason, language) << "\n";
        }
    }
    return kExitDone;
}

}  // namespace

int runFoldersCommand(const FoldersCommandOptions& options) {
    const auto& w = options.words;
    const std::string action = w.empty() ? "list" : w[0];
    const bool valid = (action == "list" && w.size() <= 1) ||
                       ((action == "add" || action == "remove") && w.size() == 2);
    if (!valid) {
        const VelmoraCopy copy{commandLanguage(options.homeOverride, options.runLanguage)};
        std::cerr << "velmora: "
                  << copy.text("folders takes no action or one of: list, add DIR, remove ID.",
                               "folders에는 동작을 주지 않거나 list, add 폴더, remove ID 중 "
                               "하나를 주세요.")
                  << "\n";
        return kExitRefused;
    }
    CommandPreferences preferences =
        openCommandPreferences(options.homeOverride, options.runLanguage);
    CustomScanFolderStore store(*preferences.file.settings, preferences.language);
    if (store.lastErrorMessage()) std::cerr << "velmora: " << *store.lastErrorMessage() << "\n";
    const ScanRootRules rules =
        scanRootRules(currentUserEnvironment(options.homeOverride), options.catalogue);
    const VelmoraCopy copy{preferences.language};

    if (action == "list") return list(store, rules, preferences.language, options.json);

    if (action == "remove") {
        const bool known = std::any_of(store.folders().begin(), store.folders().end(),
                                       [&](const auto& f) { return f.id == w[1]; });
        if (!known) {
            // i18n-example: "No kept folder has the id 'C0FFEE'."
            std::cerr << "velmora: "
                      << copy.text("No kept folder has the id '" + printable(w[1]) + "'.",
                                   "ID가 '" + printable(w[1]) + "'인 폴더가 없습니다.")
                      << "\n";
            return kExitRefused;
        }
        if (!store.remove(w[1])) {
            std::cerr << "velmora: " << store.lastErrorMessage().value_or("") << "\n";
            return kExitFailures;
        }
        return list(store, rules, preferences.language, options.json);
    }

    const std::string path = absolutePathFromArgument(w[1]);
    if (auto error = validateCustomScanFolder(path, rules)) {
        std::cerr << "velmora: " << localizedDescription(*error, preferences.language) << "\n";
        return kExitRefused;
    }
    if (!store.add(path, rules)) {
        std::cerr << "velmora: " << store.lastErrorMessage().value_or("") << "\n";
        return kExitFailures;
    }
    return list(store, rules, preferences.language, options.json);
}

AppLanguage addKeptFolders(ScanRequest& request, std::optional<AppLanguage> runLanguage) {
    CommandPreferences preferences = openCommandPreferences(request.homeOverride, runLanguage);
    const CustomScanFolderStore store(*preferences.file.settings, preferences.language);
    velmora::addKeptFolders(request, store.folders());
    return preferences.language;
}

}  // namespace velmora::cli
