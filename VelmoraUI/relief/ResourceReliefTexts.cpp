#include "VelmoraUI/relief/ResourceReliefTexts.h"

#include "CleanerCore/platform/DesktopEntry.h"
#include "VelmoraUI/localization/Localizer.h"

namespace velmora {

std::string reliefActionSentence(ResourceReliefActionStatus status, std::string_view displayName,
                                 AppLanguage language) {
    const VelmoraCopy copy{language};
    const std::string n(displayName);
    switch (status) {
        case ResourceReliefActionStatus::requestSent:
            // i18n-example: "Sent a normal quit request to Notes."
            return copy.text(englishSentence(status, n), n + "에 일반 종료 요청을 보냈습니다.");
        case ResourceReliefActionStatus::failedToSend:
            // i18n-example: "Could not send a quit request to Notes."
            return copy.text(englishSentence(status, n), n + "에 종료 요청을 보낼 수 없습니다.");
        case ResourceReliefActionStatus::unavailableInSandbox:
            // i18n-example: "Sandbox limits prevent directly quitting Notes."
            return copy.text(englishSentence(status, n),
                             "샌드박스 제한으로 " + n + "을(를) 직접 종료할 수 없습니다.");
        case ResourceReliefActionStatus::alreadyExited:
            // i18n-example: "Notes already exited."
            return copy.text(englishSentence(status, n), n + "은(는) 이미 종료되었습니다.");
        case ResourceReliefActionStatus::protected_:
            // i18n-example: "Notes is protected by Velmora policy."
            return copy.text(englishSentence(status, n), n + "은(는) Velmora 정책으로 보호됩니다.");
        case ResourceReliefActionStatus::staleCandidate:
            break;
    }
    // i18n-example: "Notes changed state, so the quit request was skipped."
    return copy.text(englishSentence(status, n),
                     n + "의 상태가 바뀌어 종료 요청을 건너뛰었습니다.");
}

std::string reliefProtectionSentence(ResourceReliefProtectionReason reason, AppLanguage language) {
    const VelmoraCopy copy{language};
    switch (reason) {
        case ResourceReliefProtectionReason::currentApplication:
            return copy.text("This is Velmora itself.", "Velmora 자신입니다.");
        case ResourceReliefProtectionReason::protectedSystemApplication:
            return copy.text("It is part of the desktop; quitting it could disrupt your session.",
                             "데스크톱의 일부라서 종료하면 세션이 흐트러질 수 있습니다.");
        case ResourceReliefProtectionReason::missingUserFacingIdentity:
            return copy.text("It has no name to show, so it is not offered.",
                             "표시할 이름이 없어 제안하지 않습니다.");
        case ResourceReliefProtectionReason::alreadyTerminated:
            return copy.text("It has already exited.", "이미 종료되었습니다.");
        case ResourceReliefProtectionReason::notUserVisible:
            return copy.text("It runs in the background and is not shown in the app menu.",
                             "백그라운드에서 실행되며 앱 메뉴에 표시되지 않습니다.");
        case ResourceReliefProtectionReason::sandboxUnavailable:
            break;
    }
    return copy.text("Velmora cannot send quit requests from inside the sandbox.",
                     "샌드박스 안에서는 Velmora가 종료 요청을 보낼 수 없습니다.");
}

std::string reliefQuitDialogTitle(AppLanguage language) {
    return VelmoraCopy{language}.text("Request Quit for Selected Apps?",
                                      "선택한 앱에 종료를 요청할까요?");
}

std::string reliefQuitDialogText(size_t selectedCount, AppLanguage language) {
    const std::string n = std::to_string(selectedCount);
    // clang-format off
    // i18n-example: "Velmora does not force quit. It sends normal quit requests to 2 selected app(s), so apps may ask to save work."
    // clang-format on
    return VelmoraCopy{language}.text(
        "Velmora does not force quit. It sends normal quit requests to " + n +
            " selected app(s), so apps may ask to save work.",
        "Velmora는 강제로 종료하지 않습니다. 선택한 앱 " + n +
            "개에 일반 종료 요청을 보내므로 앱이 작업을 저장할지 물을 수 있습니다.");
}

std::string reliefSandboxExplanation(AppLanguage language) {
    return VelmoraCopy{language}.text(
        "In the App Store sandbox, Velmora cannot request other apps to quit directly. Use "
        "Activity Monitor or refresh metrics instead.",
        "App Store 샌드박스에서는 Velmora가 다른 앱에 직접 종료를 요청할 수 없습니다. 대신 "
        "활성 상태 보기를 사용하거나 지표를 새로 고치세요.");
}

std::string reliefNoCandidatesSentence(AppLanguage language) {
    return VelmoraCopy{language}.text("No regular app candidates are available for quit requests.",
                                      "종료를 요청할 수 있는 일반 앱 후보가 없습니다.");
}

std::vector<std::string> reliefLocales(AppLanguage language) {
    std::vector<std::string> locales;
    switch (language) {
        case AppLanguage::simplifiedChinese:
            locales.push_back("zh_CN");
            break;
        case AppLanguage::traditionalChinese:
            locales.push_back("zh_TW");
            break;
        default:
            locales.emplace_back(languageCode(language));
            break;
    }
    for (auto& l : messageLocales()) locales.push_back(std::move(l));
    return locales;
}

}  // namespace velmora
