#include "VelmoraUI/dashboard/InsightTexts.h"

#include <fmt/format.h>

#include "VelmoraUI/dashboard/CleanupTexts.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/localization/Localizer.h"

namespace velmora {

namespace {

// A span in its largest whole unit; `count` is 0 for "less than a day".
struct Span {
    enum Unit { lessThanADay, days, weeks, months, years } unit = lessThanADay;
    int64_t count = 0;
};

Span spanOf(double seconds) {
    constexpr double kDay = 86'400;
    const auto days = static_cast<int64_t>(seconds > 0 ? seconds / kDay : 0);
    if (days < 1) return {};
    if (days < 14) return {Span::days, days};
    if (days < 61) return {Span::weeks, days / 7};
    if (days < 730) return {Span::months, days * 12 / 365};
    return {Span::years, days / 365};
}

std::string englishSpan(Span s) {
    switch (s.unit) {
        case Span::lessThanADay:
            break;
        case Span::days:
            return countText(s.count, "day", "days");
        case Span::weeks:
            return countText(s.count, "week", "weeks");
        case Span::months:
            return countText(s.count, "month", "months");
        case Span::years:
            return countText(s.count, "year", "years");
    }
    return "less than a day";
}

std::string koreanSpan(Span s) {
    switch (s.unit) {
        case Span::lessThanADay:
            break;
        case Span::days:
            return fmt::format("{}일", s.count);
        case Span::weeks:
            return fmt::format("{}주", s.count);
        case Span::months:
            return fmt::format("{}개월", s.count);
        case Span::years:
            return fmt::format("{}년", s.count);
    }
    return "하루 미만";
}

// In the order of the enumeration.
constexpr CopyPair kKeeperReasons[] = {
    CopyPair{"it is in a folder better suited to keeping files than another copy",
             "다른 사본보다 파일을 보관하기에 알맞은 폴더에 있습니다."},
    CopyPair{"it was last changed before another copy in a similar folder, so it is likely the "
             "original",
             "비슷한 폴더에 있는 다른 사본보다 먼저 마지막으로 수정되어 원본일 가능성이 "
             "높습니다."},
    CopyPair{"another copy is in a similar folder with the same date, and this path sorts first",
             "다른 사본이 비슷한 폴더에 같은 날짜로 있어, 경로 순서상 앞서는 이 사본을 "
             "골랐습니다."},
};

constexpr CopyPair kSkipReasons[] = {
    CopyPair{"Could not enumerate folder", "폴더 내용을 읽을 수 없음"},
    CopyPair{"Could not enumerate package", "패키지 내용을 읽을 수 없음"},
    CopyPair{"Protected user data path", "보호된 사용자 데이터 경로"},
    CopyPair{"Contains protected user data", "보호된 사용자 데이터가 들어 있음"},
    CopyPair{"Recently modified", "최근에 수정됨"},
    CopyPair{"Folder inventory limit exceeded", "폴더 항목 수 한도를 넘음"},
    CopyPair{"Duplicate fingerprint budget exceeded", "중복 지문 확인 한도를 넘음"},
    CopyPair{"Duplicate hash budget exceeded", "중복 해시 확인 한도를 넘음"},
    CopyPair{"File changed during the scan", "검사 중에 파일이 바뀜"},
};

constexpr CopyPair kSecuritySignals[] = {
    CopyPair{"Installer package", "설치 패키지"},
    CopyPair{"Disk image", "디스크 이미지"},
    CopyPair{"Configuration profile", "구성 프로파일"},
    CopyPair{"Executable command script", "실행 가능한 명령 스크립트"},
    CopyPair{"Shell script", "셸 스크립트"},
    CopyPair{"Application bundle", "응용 프로그램 번들"},
    CopyPair{"Automation workflow", "자동화 워크플로"},
    CopyPair{"Web shortcut", "웹 바로가기"},
    CopyPair{"Debian software package", "Debian 소프트웨어 패키지"},
    CopyPair{"RPM software package", "RPM 소프트웨어 패키지"},
    CopyPair{"Self-extracting installer", "자체 압축 해제 설치 프로그램"},
    CopyPair{"AppImage application", "AppImage 응용 프로그램"},
    CopyPair{"Snap package", "Snap 패키지"},
    CopyPair{"Flatpak install link", "Flatpak 설치 링크"},
    CopyPair{"Windows program", "Windows 프로그램"},
    CopyPair{"Windows installer package", "Windows 설치 패키지"},
    CopyPair{"Suspicious filename pattern", "의심스러운 파일 이름 패턴"},
};

// In the order of the enumeration.
constexpr CopyPair kSections[] = {
    CopyPair{"Storage map", "저장 공간 지도"},
    CopyPair{"Largest files", "가장 큰 파일"},
    CopyPair{"Older downloads", "오래된 다운로드"},
    CopyPair{"Duplicate groups", "중복 파일 묶음"},
    CopyPair{"Security review", "보안 검토"},
    CopyPair{"System", "시스템"},
    CopyPair{"Skipped", "건너뜀"},
};

std::string fromTable(std::string_view english, const auto& table, AppLanguage language) {
    for (const CopyPair& pair : table) {
        if (pair.english == english) return pair.in(language);
    }
    return localized(english, language);
}

}  // namespace

std::string keeperReasonText(DuplicateKeeperRecommendationReason reason, AppLanguage language) {
    return kKeeperReasons[static_cast<size_t>(reason)].in(language);
}

std::string keeperReasonsText(const std::vector<DuplicateKeeperRecommendationReason>& reasons,
                              AppLanguage language) {
    if (reasons.empty()) return {};
    if (language == AppLanguage::english) {
        std::string s = "Keep this copy because ";
        for (size_t i = 0; i < reasons.size(); ++i) {
            s += i == 0 ? "" : i + 1 == reasons.size() ? ", and " : ", ";
            s += keeperReasonText(reasons[i]);
        }
        return s + ".";
    }
    // Elsewhere each reason is a sentence of its own after the lead-in.
    std::string s = VelmoraCopy{language}.text("Keep this copy because:", "이 사본을 남기는 이유:");
    for (auto reason : reasons) s += " " + keeperReasonText(reason, language);
    return s;
}

std::string memoryPressureText(MemoryPressure pressure, AppLanguage language) {
    switch (pressure) {
        case MemoryPressure::normal:
            return CopyPair{"normal", "보통"}.in(language);
        case MemoryPressure::moderate:
            return CopyPair{"moderate", "다소 높음"}.in(language);
        case MemoryPressure::high:
            return CopyPair{"high", "높음"}.in(language);
        case MemoryPressure::unknown:
            break;
    }
    return CopyPair{"unknown", "알 수 없음"}.in(language);
}

std::string thermalStateText(ThermalState state, AppLanguage language) {
    switch (state) {
        case ThermalState::nominal:
            return CopyPair{"normal", "보통"}.in(language);
        case ThermalState::fair:
            return CopyPair{"elevated", "약간 높음"}.in(language);
        case ThermalState::serious:
            return CopyPair{"high", "높음"}.in(language);
        case ThermalState::critical:
            return CopyPair{"critical", "위험"}.in(language);
        case ThermalState::unknown:
            break;
    }
    return CopyPair{"unknown", "알 수 없음"}.in(language);
}

std::string durationText(double seconds, AppLanguage language) {
    const Span span = spanOf(seconds);
    // i18n-example: "3 weeks"
    // i18n-example: "1 day"
    // i18n-example: "5 months"
    // i18n-example: "1 year"
    // i18n-example: "less than a day"
    return VelmoraCopy{language}.text(englishSpan(span), koreanSpan(span));
}

std::string insightSectionTitle(InsightSection section, AppLanguage language) {
    return kSections[static_cast<size_t>(section)].in(language);
}

std::string fileCountText(int64_t count, AppLanguage language) {
    // i18n-example: "12 files"
    // i18n-example: "1 file"
    return VelmoraCopy{language}.text(countText(count, "file", "files"),
                                      fmt::format("파일 {}개", count));
}

std::string downloadAgeText(double seconds, AppLanguage language) {
    const Span span = spanOf(seconds);
    // i18n-example: "3 days old"
    // i18n-example: "less than a day old"
    // i18n-example: "1 week old"
    // i18n-example: "2 years old"
    return VelmoraCopy{language}.text(englishSpan(span) + " old", span.unit == Span::lessThanADay
                                                                      ? "하루가 안 됨"
                                                                      : koreanSpan(span) + " 전");
}

std::string noOlderDownloadsText(double minimumAgeSeconds, AppLanguage language) {
    const Span span = spanOf(minimumAgeSeconds);
    // i18n-example: "no downloads older than 4 weeks"
    // i18n-example: "no downloads older than 1 day"
    return VelmoraCopy{language}.text("no downloads older than " + englishSpan(span),
                                      koreanSpan(span) + "보다 오래된 다운로드 없음");
}

std::string insightSkipReasonText(std::string_view reason, AppLanguage language) {
    return fromTable(reason, kSkipReasons, language);
}

std::string securitySignalText(std::string_view detail, AppLanguage language) {
    return fromTable(detail, kSecuritySignals, language);
}

std::string memoryLine(const SystemResourceSnapshot& s, AppLanguage language) {
    const std::string used = bytesText(static_cast<int64_t>(s.usedMemoryBytes), language);
    const std::string total = bytesText(static_cast<int64_t>(s.physicalMemoryBytes), language);
    // clang-format off
    // i18n-example: "memory 3.20 GB used of 16.0 GB, pressure normal"
    // i18n-example: "memory 12.0 GB used of 16.0 GB, pressure moderate"
    // i18n-example: "memory 15.5 GB used of 16.0 GB, pressure high"
    // i18n-example: "memory 0 bytes used of 0 bytes, pressure unknown"
    // clang-format on
    return VelmoraCopy{language}.text(
        "memory " + used + " used of " + total + ", pressure " +
            memoryPressureText(s.memoryPressure),
        "메모리 " + total + " 중 " + used + " 사용, 압력 " +
            memoryPressureText(s.memoryPressure, AppLanguage::korean));
}

std::string processorLine(const SystemResourceSnapshot& s, AppLanguage language) {
    const int percent = static_cast<int>(s.normalizedCPULoad * 100);
    const std::string average = fmt::format("{:.2f}", s.cpuLoadAverage);
    // clang-format off
    // i18n-example: "processor load 37% of 4 processors, load average 1.52"
    // i18n-example: "processor load 5% of 1 processor, load average 0.05"
    // clang-format on
    return VelmoraCopy{language}.text(
        fmt::format("processor load {}% of {}, load average {}", percent,
                    countText(s.activeProcessorCount, "processor", "processors"), average),
        fmt::format("프로세서 {}개의 부하 {}%, 평균 부하 {}", s.activeProcessorCount, percent,
                    average));
}

std::string temperatureLine(ThermalState state, AppLanguage language) {
    // i18n-example: "temperature normal"
    // i18n-example: "temperature elevated"
    // i18n-example: "temperature high"
    // i18n-example: "temperature critical"
    // i18n-example: "temperature unknown"
    return VelmoraCopy{language}.text("temperature " + thermalStateText(state),
                                      "온도 " + thermalStateText(state, AppLanguage::korean));
}

std::string uptimeLine(double seconds, AppLanguage language) {
    const VelmoraCopy copy{language};
    const auto hours = static_cast<int64_t>(seconds > 0 ? seconds / 3600 : 0);
    if (hours < 1)
        return copy.text("system running for less than an hour", "시스템 가동 1시간 미만");
    if (hours < 48) {
        // i18n-example: "system running for 5 hours"
        // i18n-example: "system running for 1 hour"
        return copy.text("system running for " + countText(hours, "hour", "hours"),
                         fmt::format("시스템 가동 {}시간", hours));
    }
    // i18n-example: "system running for 12 days"
    return copy.text("system running for " + countText(hours / 24, "day", "days"),
                     fmt::format("시스템 가동 {}일", hours / 24));
}

}  // namespace velmora
