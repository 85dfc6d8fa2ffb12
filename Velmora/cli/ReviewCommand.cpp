#include "Velmora/cli/ReviewCommand.h"

#include <iostream>
#include <nlohmann/json.hpp>

#include "CleanerCore/base/PrintableText.h"
#include "Velmora/cli/CleanOutput.h"
#include "Velmora/cli/CommandPreferences.h"
#include "Velmora/cli/ExitStatus.h"
#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/state/CleanupReviewPreferencesStore.h"

namespace velmora::cli {

namespace {

nlohmann::json stateJSON(const CleanupReviewPreferencesStore& store, Date now,
                         AppLanguage language) {
    const CleanupReviewCadenceStatus status = store.status(now);
    auto unix = [](std::optional<Date> d) {
        return d ? nlohmann::json(*d + kReferenceDateUnixOffset) : nlohmann::json(nullptr);
    };
    return {{"cadence", rawValue(store.cadence())},
            {"profile", rawValue(store.selectedProfileID())},
            {"lastReviewedAt", unix(store.lastReviewedAt())},
            {"status",
             {{"kind", rawValue(status.kind)},
              {"nextReviewAt", unix(status.nextReviewAt)},
              {"daysUntilNextReview", status.daysUntilNextReview
                                          ? nlohmann::json(*status.daysUntilNextReview)
                                          : nlohmann::json(nullptr)}}},
            {"message", CleanupReviewPreferencesStore::statusMessage(status, language)}};
}

void printState(const CleanupReviewPreferencesStore& store, Date now, AppLanguage language) {
    const VelmoraCopy copy{language};
    std::cout << CleanupReviewPreferencesStore::statusMessage(store.status(now), language) << "\n";
    std::string cadence;
    switch (store.cadence()) {
        case CleanupReviewCadence::off:
            cadence = copy.text("off", "끔");
            break;
        case CleanupReviewCadence::weekly:
            cadence = copy.text("weekly", "매주");
            break;
        case CleanupReviewCadence::monthly:
            cadence = copy.text("monthly", "매월");
            break;
    }
    std::cout << copy.text("Cadence:", "주기:") << " " << cadence << "\n";
    const CleanupReviewProfile& profile =
        CleanupReviewPreferencesStore::profile(store.selectedProfileID());
    std::cout << copy.text("Profile:", "프로필:") << " " << reviewProfileTitle(profile.id, language)
              << " (" << rawValue(profile.id) << "). " << reviewProfileFootnote(profile, language)
              << "\n";
    std::cout << copy.text("Last review:", "마지막 검토:") << " "
              << (store.lastReviewedAt() ? formatLocalTime(*store.lastReviewedAt())
                                         : copy.text("never", "없음"))
              << "\n";
}

}  // namespace

int runReviewCommand(const ReviewCommandOptions& options) {
    const auto& w = options.words;
    const std::string action = w.empty() ? "status" : w[0];
    const bool takesValue = action == "cadence" || action == "profile";
    std::optional<CleanupReviewCadence> cadence;
    std::optional<CleanupReviewProfileID> profile;
    if (w.size() == 2 && action == "cadence") cadence = reviewCadenceFromRaw(w[1]);
    if (w.size() == 2 && action == "profile") profile = reviewProfileIDFromRaw(w[1]);
    const bool valid = takesValue ? (cadence || profile)
                                  : (w.size() <= 1 && (action == "status" || action == "done"));
    if (!valid) {
        std::string given;
        for (const auto& word : w) given += (given.empty() ? "" : " ") + word;
        const VelmoraCopy copy{commandLanguage(options.homeOverride, options.runLanguage)};
        const std::string shown = printable(given);
        // clang-format off
        // i18n-example: "review takes no action or one of: status, cadence off|weekly|monthly, profile balanced|downloads|developerCaches, done (not 'cadence daily')."
        // clang-format on
        std::cerr << "velmora: "
                  << copy.text(
                         "review takes no action or one of: status, cadence "
                         "off|weekly|monthly, profile balanced|downloads|developerCaches, "
                         "done (not '" +
                             shown + "').",
                         "review에는 동작을 주지 않거나 status, cadence "
                         "off|weekly|monthly, profile "
                         "balanced|downloads|developerCaches, done 중 하나를 주세요('" +
                             shown + "'는 아님).")
                  << "\n";
        return kExitRefused;
    }

    CommandPreferences preferences =
        openCommandPreferences(options.homeOverride, options.runLanguage);
    CleanupReviewPreferencesStore store(*preferences.file.settings);
    const Date now = currentDate();
    bool saved = true;
    if (cadence) saved = store.setCadence(*cadence);
    if (profile) saved = store.setSelectedProfileID(*profile);
    if (action == "done") saved = store.markReviewed(now);

    if (options.json) {
        nlohmann::json out = stateJSON(store, now, preferences.language);
        out["saved"] = saved;
        std::cout << out.dump(2) << "\n";
    } else {
        printState(store, now, preferences.language);
    }
    if (!saved) {
        const VelmoraCopy copy{preferences.language};
        std::cerr << "velmora: "
                  << copy.text(
                         "The change could not be kept: the preferences file could not be "
                         "written.",
                         "변경 사항을 저장하지 못했습니다. 환경설정 파일에 쓸 수 없습니다.")
                  << "\n";
        return kExitFailures;
    }
    return kExitDone;
}

}  // namespace velmora::cli
