#include "Velmora/cli/IgnoreCommand.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "CleanerCore/base/PrintableText.h"
#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "Velmora/cli/CleanCommand.h"
#include "Velmora/cli/CleanOutput.h"
#include "Velmora/cli/CommandPreferences.h"
#include "Velmora/cli/ExitStatus.h"
#include "Velmora/cli/Interrupt.h"
#include "Velmora/cli/ScanCommand.h"
#include "VelmoraUI/dashboard/CoreTexts.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/state/CleanupIgnoreStore.h"

namespace velmora::cli {

namespace {

struct OpenIgnoreList {
    CommandPreferences preferences;
    std::unique_ptr<CleanupIgnoreStore> store;
};

// The store as of `now` (expired items dropped); a load problem is said on standard error.
OpenIgnoreList openIgnoreList(const std::optional<std::string>& homeOverride,
                              std::optional<AppLanguage> runLanguage, Date now) {
    OpenIgnoreList open{openCommandPreferences(homeOverride, runLanguage), nullptr};
    const AppLanguage language = open.preferences.language;
    open.store = std::make_unique<CleanupIgnoreStore>(
        *open.preferences.file.settings, std::string(kCleanupIgnoreItemsKey),
        [language] { return language; }, now);
    if (open.store->lastErrorMessage()) {
        std::cerr << "velmora: " << *open.store->lastErrorMessage() << "\n";
    }
    return open;
}

std::optional<CleanupIgnoreDuration> durationFromArgument(const std::string& text) {
    if (text == "day") return CleanupIgnoreDuration::oneDay;
    if (text == "week") return CleanupIgnoreDuration::oneWeek;
    if (text == "ever") return CleanupIgnoreDuration::untilShownAgain;
    return std::nullopt;
}

nlohmann::json itemsJSON(const std::vector<IgnoredCleanupItem>& items, AppLanguage language) {
    // The stored form: the record's field names, dates as seconds since 2001-01-01.
    auto encoded = encodeIgnoredCleanupItems(items, language);
    if (!encoded) return nlohmann::json::array();
    return nlohmann::json::parse(*encoded);
}

std::string untilText(const IgnoredCleanupItem& item, const VelmoraCopy& copy) {
    if (!item.expiresAt) return copy.text("until you show it again", "다시 표시할 때까지");
    const std::string when = formatLocalTime(*item.expiresAt);
    // i18n-example: "until 2026-11-26 01:05"
    return copy.text("until " + when, when + "까지");
}

std::string ignoredSentence(const IgnoredCleanupItem& item, const std::string& home,
                            const VelmoraCopy& copy) {
    const std::string path = printable(displayPath(item.path, home));
    if (!item.expiresAt) {
        // i18n-example: "~/.cache/thumbnails is ignored until you show it again."
        return copy.text(path + " is ignored until you show it again.",
                         path + " 항목을 다시 표시할 때까지 무시합니다.");
    }
    const std::string when = formatLocalTime(*item.expiresAt);
    // i18n-example: "~/.cache/thumbnails is ignored until 2026-11-26 01:05."
    return copy.text(path + " is ignored until " + when + ".",
                     path + " 항목을 " + when + "까지 무시합니다.");
}

void printList(const std::vector<IgnoredCleanupItem>& items, const std::string& home,
               const VelmoraCopy& copy) {
    if (items.empty()) {
        std::cout << copy.text("No items are ignored.", "무시한 항목이 없습니다.") << "\n";
        return;
    }
    std::cout << copy.text("Ignored items:", "무시한 항목:") << "\n";
    for (const auto& item : items) {
        std::cout << "  " << printable(displayPath(item.path, home)) << " ("
                  << formatBytes(item.sizeBytes) << "), " << untilText(item, copy) << "\n"
                  << "    " << printable(item.id) << "\n";
    }
    std::cout << copy.text(
                     "Show an item again with `velmora unignore ID` (or its path), or every "
                     "item with `velmora unignore --all`.",
                     "`velmora unignore ID`(또는 경로)로 항목을 다시 표시하거나, "
                     "`velmora unignore --all`로 모든 항목을 다시 표시하세요.")
              << "\n";
}

// The status when some of the named items were unknown: nothing changed when all were.
int unknownStatus(size_t handled) {
    return handled == 0 ? kExitRefused : kExitFailures;
}

int listIgnored(const IgnoreCommandOptions& options) {
    const Date now = currentDate();
    OpenIgnoreList open = openIgnoreList(options.request.homeOverride, options.runLanguage, now);
    const AppLanguage language = open.preferences.language;
    const std::vector<IgnoredCleanupItem> active = open.store->activeItems(now);
    if (options.json) {
        std::cout << itemsJSON(active, language).dump(2) << "\n";
    } else {
        printList(active, currentUserEnvironment(options.request.homeOverride).home,
                  VelmoraCopy{language});
    }
    return kExitDone;
}

}  // namespace

ActiveIgnoreList loadActiveIgnoreList(const std::optional<std::string>& homeOverride,
                                      std::optional<AppLanguage> runLanguage) {
    const Date now = currentDate();
    OpenIgnoreList open = openIgnoreList(homeOverride, runLanguage, now);
    return {open.store->activeIgnoredIDs(now), open.preferences.language};
}

std::optional<std::string> ignoredHiddenSentence(size_t hidden, AppLanguage language) {
    if (hidden == 0) return std::nullopt;
    const VelmoraCopy copy{language};
    const std::string n = std::to_string(hidden);
    if (hidden == 1) {
        return copy.text("1 ignored item is hidden; `velmora ignore --list` shows it.",
                         "무시한 항목 1개를 숨겼습니다. `velmora ignore --list`로 볼 수 "
                         "있습니다.");
    }
    // i18n-example: "2 ignored items are hidden; `velmora ignore --list` shows them."
    return copy.text(n + " ignored items are hidden; `velmora ignore --list` shows them.",
                     "무시한 항목 " + n +
                         "개를 숨겼습니다. `velmora ignore --list`로 볼 수 "
                         "있습니다.");
}

std::optional<std::string> ignoredLeftOutSentence(size_t leftOut, AppLanguage language) {
    if (leftOut == 0) return std::nullopt;
    const VelmoraCopy copy{language};
    const std::string n = std::to_string(leftOut);
    if (leftOut == 1) {
        return copy.text(
            "1 ignored item was left out of the selection; `velmora ignore --list` shows it.",
            "무시한 항목 1개는 선택에서 뺐습니다. `velmora ignore --list`로 볼 수 있습니다.");
    }
    // clang-format off
    // i18n-example: "2 ignored items were left out of the selection; `velmora ignore --list` shows them."
    // clang-format on
    return copy.text(
        n + " ignored items were left out of the selection; `velmora ignore --list` shows them.",
        "무시한 항목 " + n + "개는 선택에서 뺐습니다. `velmora ignore --list`로 볼 수 있습니다.");
}

int runIgnoreCommand(const IgnoreCommandOptions& options) {
    const auto duration = durationFromArgument(options.duration);
    if (!duration || options.list == !options.items.empty()) {
        const VelmoraCopy copy{commandLanguage(options.request.homeOverride, options.runLanguage)};
        std::cerr << "velmora: "
                  << copy.text(
                         "ignore takes the ids or paths of candidates (with --for day, "
                         "week or ever), or --list.",
                         "ignore에는 후보의 ID나 경로(--for day, week 또는 ever와 함께) "
                         "또는 --list를 주세요.")
                  << "\n";
        return kExitRefused;
    }
    if (options.list) return listIgnored(options);

    CancellationToken cancel;
    InterruptScope interrupts(cancel);
    raiseOpenFileLimit();
    auto setup = prepareOrExplain(options.request, cancel, options.language);
    if (!setup) return kExitRefused;
    if (setup->fellBackToStandard) warnScanningInStandardMode(options.language);
    // The whole scan: an item already ignored can be ignored again for another duration.
    const ScanReport report =
        scanWithProgress(*setup, options.quiet || options.json, cancel, options.language);
    if (!report.hasCompletedScan) {
        std::cerr << "velmora: "
                  << VelmoraCopy{options.language}.text(
                         "the scan was cancelled; nothing was ignored.",
                         "검사가 취소되었습니다. 아무것도 무시하지 않았습니다.")
                  << "\n";
        return interrupts.exitStatus();
    }

    // Each argument names the candidate with that id, else every candidate at that path (one
    // folder can be found under two categories).
    std::vector<CleanupCandidate> named;
    std::unordered_set<std::string> namedIDs;
    std::vector<std::string> unknown;
    for (const std::string& argument : options.items) {
        std::vector<const CleanupCandidate*> matches;
        for (const auto& c : report.candidates) {
            const std::string id = c.id();
            if (id == argument || ignoreMatchKey(id) == argument) matches.push_back(&c);
        }
        if (matches.empty()) {
            const std::string path = absolutePathFromArgument(argument);
            for (const auto& c : report.candidates) {
                if (c.url.path == path) matches.push_back(&c);
            }
        }
        if (matches.empty()) unknown.push_back(argument);
        for (const CleanupCandidate* c : matches) {
            if (namedIDs.insert(ignoreMatchKey(c->id())).second) named.push_back(*c);
        }
    }

    const Date now = currentDate();
    OpenIgnoreList open = openIgnoreList(options.request.homeOverride, options.runLanguage, now);
    const AppLanguage language = open.preferences.language;
    const VelmoraCopy copy{language};
    bool saved = true;
    if (!named.empty()) saved = open.store->ignore(named, *duration, now);
    std::vector<IgnoredCleanupItem> ignored;
    if (saved) {
        for (const auto& item : open.store->items()) {
            if (namedIDs.contains(item.id)) ignored.push_back(item);
        }
    }

    if (options.json) {
        nlohmann::json out = {{"ignored", itemsJSON(ignored, language)},
                              {"unknown", nlohmann::json::array()},
                              {"saved", saved}};
        for (const auto& u : unknown) out["unknown"].push_back(printable(u));
        std::cout << out.dump(2) << "\n";
    } else {
        for (const auto& item : ignored) {
            std::cout << ignoredSentence(item, setup->environment.home, copy) << "\n";
        }
    }
    for (const auto& u : unknown) {
        const std::string shown = printable(u);
        // clang-format off
        // i18n-example: "No candidate of this scan has the id or path 'userCaches:/tmp/x'; it was not ignored."
        // clang-format on
        std::cerr << "velmora: "
                  << copy.text("No candidate of this scan has the id or path '" + shown +
                                   "'; it was not ignored.",
                               "이번 검사에서 ID나 경로가 '" + shown +
                                   "'인 후보가 없어 무시하지 않았습니다.")
                  << "\n";
    }
    if (!unknown.empty()) {
        std::cerr << "velmora: "
                  << copy.text(
                         "`velmora scan` lists the candidates, and `velmora scan --json` "
                         "their ids.",
                         "`velmora scan`은 후보를, `velmora scan --json`은 후보의 ID를 "
                         "보여 줍니다.")
                  << "\n";
    }
    if (!saved) {
        std::cerr << "velmora: " << open.store->lastErrorMessage().value_or("") << "\n";
        return kExitFailures;
    }
    if (!unknown.empty()) return unknownStatus(named.size());
    return kExitDone;
}

int runUnignoreCommand(const UnignoreCommandOptions& options) {
    if (options.all == !options.items.empty()) {
        const VelmoraCopy copy{commandLanguage(options.homeOverride, options.runLanguage)};
        std::cerr << "velmora: "
                  << copy.text(
                         "unignore takes the ids or paths of ignored items (see `velmora "
                         "ignore --list`), or --all.",
                         "unignore에는 무시한 항목의 ID나 경로(`velmora ignore --list` "
                         "참고) 또는 --all을 주세요.")
                  << "\n";
        return kExitRefused;
    }
    const Date now = currentDate();
    OpenIgnoreList open = openIgnoreList(options.homeOverride, options.runLanguage, now);
    const AppLanguage language = open.preferences.language;
    const VelmoraCopy copy{language};
    const std::string home = currentUserEnvironment(options.homeOverride).home;
    CleanupIgnoreStore& store = *open.store;

    std::vector<IgnoredCleanupItem> shown;
    std::vector<std::string> unknown;
    if (options.all) {
        shown = store.items();
    } else {
        for (const std::string& argument : options.items) {
            const std::string path = absolutePathFromArgument(argument);
            bool found = false;
            for (const auto& item : store.items()) {
                if (item.id != argument && item.path != path) continue;
                found = true;
                const bool already = std::any_of(shown.begin(), shown.end(),
                                                 [&](const auto& s) { return s.id == item.id; });
                if (!already) shown.push_back(item);
            }
            if (!found) unknown.push_back(argument);
        }
    }
    bool saved = true;
    if (options.all) {
        saved = shown.empty() || store.removeAll();
    } else if (!shown.empty()) {
        std::unordered_set<std::string> ids;
        for (const auto& item : shown) ids.insert(item.id);
        saved = store.remove(ids);
    }
    if (!saved) shown.clear();

    if (options.json) {
        nlohmann::json out = {{"shown", nlohmann::json::array()},
                              {"unknown", nlohmann::json::array()},
                              {"saved", saved}};
        for (const auto& item : shown) out["shown"].push_back(item.id);
        for (const auto& u : unknown) out["unknown"].push_back(printable(u));
        std::cout << out.dump(2) << "\n";
    } else if (options.all && saved) {
        std::cout << (shown.empty() ? copy.text("No items are ignored.", "무시한 항목이 없습니다.")
                                    : copy.text("Every ignored item is shown again.",
                                                "무시한 항목을 모두 다시 표시합니다."))
                  << "\n";
    } else {
        for (const auto& item : shown) {
            const std::string path = printable(displayPath(item.path, home));
            // i18n-example: "~/.cache/thumbnails is shown again."
            std::cout << copy.text(path + " is shown again.", path + " 항목을 다시 표시합니다.")
                      << "\n";
        }
    }
    for (const auto& u : unknown) {
        const std::string text = printable(u);
        // i18n-example: "No ignored item has the id or path 'userCaches:/tmp/x'."
        std::cerr << "velmora: "
                  << copy.text("No ignored item has the id or path '" + text + "'.",
                               "ID나 경로가 '" + text + "'인 무시한 항목이 없습니다.")
                  << "\n";
    }
    if (!saved) {
        std::cerr << "velmora: " << store.lastErrorMessage().value_or("") << "\n";
        return kExitFailures;
    }
    if (!unknown.empty()) return unknownStatus(shown.size());
    return kExitDone;
}

}  // namespace velmora::cli
