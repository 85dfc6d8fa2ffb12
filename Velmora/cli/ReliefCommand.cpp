#include "Velmora/cli/ReliefCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <iostream>

#include "CleanerCore/platform/Environment.h"
#include "CleanerCore/relief/ResourceReliefProviders.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "Velmora/cli/CommandPreferences.h"
#include "Velmora/cli/Confirmation.h"
#include "Velmora/cli/ExitStatus.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/relief/ResourceReliefTexts.h"

namespace velmora::cli {

namespace {

std::string percentText(std::optional<double> fraction) {
    return fraction ? fmt::format("{:.1f}%", *fraction * 100) : "-";
}

std::string memoryText(const ResourceReliefUsageMetrics& usage) {
    return usage.residentMemoryBytes() ? formatBytes(static_cast<int64_t>(std::min<uint64_t>(
                                             *usage.residentMemoryBytes(), INT64_MAX)))
                                       : "-";
}

void printRanking(const std::string& title, const std::vector<ResourceReliefCandidate>& list,
                  AppLanguage language) {
    const VelmoraCopy copy{language};
    std::cout << title << "\n";
    size_t nameWidth = displayWidth(copy.text("App", "앱"));
    size_t idWidth = displayWidth("ID");
    for (const auto& c : list) {
        nameWidth = std::max(nameWidth, displayWidth(printable(c.displayName)));
        idWidth = std::max(idWidth, displayWidth(printable(c.id.rawValue)));
    }
    std::cout << "  " << padRight(copy.text("App", "앱"), nameWidth) << "  "
              << padRight("ID", idWidth) << "  " << padLeft("CPU", 7) << "  "
              << padLeft(copy.text("Memory", "메모리"), 10) << "  "
              << copy.text("Quit request", "종료 요청") << "\n";
    for (const auto& c : list) {
        std::string status = c.eligibility.isActionable
                                 ? copy.text("can be asked", "요청 가능")
                                 : copy.text("protected: ", "보호됨: ") +
                                       reliefProtectionSentence(*c.eligibility.reason, language);
        std::cout << "  " << padRight(printable(c.displayName), nameWidth) << "  "
                  << padRight(printable(c.id.rawValue), idWidth) << "  "
                  << padLeft(percentText(c.usage.cpuFractionOfTotalCapacity()), 7) << "  "
                  << padLeft(memoryText(c.usage), 10) << "  " << status << "\n";
    }
}

}  // namespace

int runReliefCommand(const ReliefCommandOptions& options) {
    const UserEnvironment environment = currentUserEnvironment(options.homeOverride);
    const AppLanguage language = commandLanguage(options.homeOverride, options.runLanguage);
    const VelmoraCopy copy{language};
    SystemResourceRelief relief = systemResourceRelief(
        environment.xdgDataHome, reliefLocales(language), environment.isSandboxed);
    const ResourceReliefCapability capability = relief.providers.capabilityProvider();
    const ResourceReliefPolicy policy = reliefPolicy(relief.identity, capability);
    const std::vector<ResourceReliefCandidate> candidates =
        policy.candidates(relief.providers.candidateProvider());

    if (!options.quit) {
        const auto byCPU = rankedByCPU(candidates);
        const auto byMemory = rankedByMemory(candidates);
        if (options.json) {
            const nlohmann::json j{{"capability", capability},
                                   {"cpuSortedCandidates", byCPU},
                                   {"memorySortedCandidates", byMemory}};
            std::cout << dumpJSON(j, true) << "\n";
            return kExitDone;
        }
        if (capability.reason == ResourceReliefCapability::Reason::appSandbox)
            std::cout << reliefSandboxExplanation(language) << "\n\n";
        printRanking(copy.text("By CPU", "CPU 순"), byCPU, language);
        std::cout << "\n";
        printRanking(copy.text("By memory", "메모리 순"), byMemory, language);
        const bool anyActionable =
            std::any_of(candidates.begin(), candidates.end(),
                        [](const auto& c) { return c.eligibility.isActionable; });
        if (!anyActionable) std::cout << "\n" << reliefNoCandidatesSentence(language) << "\n";
        return kExitDone;
    }

    if (!capability.canRequestQuitOtherApplications) {
        std::cerr << "velmora: " << reliefSandboxExplanation(language) << "\n";
        return kExitRefused;
    }
    // The named candidates in the order of the list, each once.
    std::vector<ResourceReliefCandidate> chosen;
    for (const auto& id : options.ids) {
        const bool listed = std::any_of(candidates.begin(), candidates.end(),
                                        [&](const auto& c) { return c.id.rawValue == id; });
        if (!listed) {
            const std::string shown = printable(id);
            // clang-format off
            // i18n-example: "no running app has the id org.example.app:42; run velmora relief to see the ids. No quit request was sent."
            // clang-format on
            std::cerr << "velmora: "
                      << copy.text("no running app has the id " + shown +
                                       "; run velmora relief to see the ids. No quit request "
                                       "was sent.",
                                   "실행 중인 앱 중 ID가 " + shown +
                                       "인 앱이 없습니다. velmora relief로 ID를 확인하세요. "
                                       "종료 요청을 보내지 않았습니다.")
                      << "\n";
            return kExitRefused;
        }
    }
    for (const auto& c : candidates) {
        if (std::find(options.ids.begin(), options.ids.end(), c.id.rawValue) != options.ids.end())
            chosen.push_back(c);
    }

    std::cout << reliefQuitDialogTitle(language) << "\n"
              << reliefQuitDialogText(chosen.size(), language) << "\n";
    for (const auto& c : chosen) std::cout << "  " << printable(c.displayName) << "\n";
    if (!options.yes) {
        if (!standardInputIsTerminal()) {
            std::cout.flush();
            std::cerr << confirmationRefusal(ConfirmedChange::quitRequest, language) << "\n";
            return kExitRefused;
        }
        if (!askToConfirm(copy.text("Send the quit requests?", "종료 요청을 보낼까요?"), std::cin,
                          std::cout, language)) {
            std::cout << copy.text("No quit request was sent.", "종료 요청을 보내지 않았습니다.")
                      << "\n";
            return kExitDone;
        }
    }
    const auto results = requestQuit(chosen, policy, relief.providers.requestProviders());
    bool allSent = true;
    for (const auto& r : results) {
        std::cout << printable(reliefActionSentence(r, language)) << "\n";
        allSent = allSent && r.status == ResourceReliefActionStatus::requestSent;
    }
    return allSent ? kExitDone : kExitFailures;
}

}  // namespace velmora::cli
