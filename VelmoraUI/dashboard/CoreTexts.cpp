#include "VelmoraUI/dashboard/CoreTexts.h"

#include <array>
#include <optional>

#include "VelmoraUI/localization/Localizer.h"

namespace velmora {

namespace {

template <typename E>
size_t index(E v) {
    return static_cast<size_t>(v);
}

// In the order of the enumerations.
constexpr std::array<CopyPair, 3> kSafety = {{
    CopyPair{"Safe", "안전"},
    CopyPair{"Caution", "주의"},
    CopyPair{"Manual Review", "직접 검토"},
}};

constexpr std::array<CopyPair, kCleanupCategoryCount> kCategories = {{
    CopyPair{"User Caches", "사용자 캐시"},
    CopyPair{"User Logs", "사용자 로그"},
    CopyPair{"Xcode DerivedData", "Xcode DerivedData"},
    CopyPair{"Simulator Caches", "시뮬레이터 캐시"},
    CopyPair{"This App's Caches", "이 앱의 캐시"},
    CopyPair{"App Container Caches", "앱 컨테이너 캐시"},
    CopyPair{"Group Container Caches", "그룹 컨테이너 캐시"},
    CopyPair{"Xcode DeviceSupport", "Xcode DeviceSupport"},
    CopyPair{"Developer Tool Caches", "개발 도구 캐시"},
    CopyPair{"Package Manager Caches", "패키지 관리자 캐시"},
    CopyPair{"Build Archives", "빌드 아카이브"},
    CopyPair{"Temporary Files", "임시 파일"},
    CopyPair{"Custom Folder", "사용자 지정 폴더"},
}};

// Reasons that are whole texts.
constexpr CopyPair kWholeReasons[] = {
    CopyPair{"Folder does not exist", "폴더가 없음"},
    CopyPair{"Could not enumerate folder", "폴더 내용을 읽을 수 없음"},
    CopyPair{"Scan root itself is not a cleanup candidate", "검사 위치 자체는 정리 대상이 아님"},
    CopyPair{"Symbolic links are skipped for safety", "안전을 위해 심볼릭 링크는 건너뜀"},
    CopyPair{"Protected user data path", "보호된 사용자 데이터 경로"},
    CopyPair{"Contains protected user data", "보호된 사용자 데이터가 들어 있음"},
    CopyPair{"Folder inventory limit exceeded", "폴더 항목 수 한도를 넘음"},
    CopyPair{"Recently modified", "최근에 수정됨"},
    CopyPair{"Empty item", "빈 항목"},
    CopyPair{"Mount points are skipped for safety", "안전을 위해 마운트 지점은 건너뜀"},
    CopyPair{"Contains a mount point", "마운트 지점이 들어 있음"},
    CopyPair{"Move to Trash is only available on macOS", "휴지통으로 이동은 macOS에서만 가능"},
    // The Trash's own refusals and failures.
    CopyPair{"Could not move to the Trash: this item's file system has no usable Trash, and "
             "Velmora never copies items between file systems.",
             "휴지통으로 옮길 수 없습니다. 이 항목의 파일 시스템에는 쓸 수 있는 휴지통이 없고, "
             "Velmora는 파일 시스템 사이에서 항목을 복사하지 않습니다."},
    CopyPair{"The item changed while it was being moved to the Trash; nothing stays in the Trash.",
             "휴지통으로 옮기는 동안 항목이 바뀌었습니다. 휴지통에는 아무것도 남지 않았습니다."},
    CopyPair{"The item changed while it was being moved to the Trash; what was moved has been "
             "put back.",
             "휴지통으로 옮기는 동안 항목이 바뀌었습니다. 옮겨진 부분은 제자리로 되돌렸습니다."},
    CopyPair{"Could not put the item back: its original folder is on another file system than "
             "the Trash holding it, and Velmora never copies items between file systems.",
             "항목을 되돌릴 수 없습니다. 원래 폴더가 항목을 담은 휴지통과 다른 파일 시스템에 "
             "있고, Velmora는 파일 시스템 사이에서 항목을 복사하지 않습니다."},
    // Why a scan location is not scanned.
    CopyPair{"This folder is your home folder or contains it, so it is not scanned for cleanup.",
             "이 폴더는 홈 폴더이거나 홈 폴더를 포함하므로 정리 대상으로 검사하지 않습니다."},
    CopyPair{"This folder is one of your personal folders (such as Documents) or contains one, "
             "so it is not scanned for cleanup.",
             "이 폴더는 개인 폴더(문서 등)이거나 개인 폴더를 포함하므로 정리 대상으로 검사하지 "
             "않습니다."},
    CopyPair{"This folder belongs to the operating system, so it is not scanned for cleanup.",
             "이 폴더는 운영체제의 폴더이므로 정리 대상으로 검사하지 않습니다."},
    CopyPair{"This folder is in another user's area, so it is not scanned for cleanup.",
             "이 폴더는 다른 사용자의 영역에 있으므로 정리 대상으로 검사하지 않습니다."},
    CopyPair{"This folder holds or contains protected data, such as the Trash or Velmora's "
             "history, so it is not scanned for cleanup.",
             "이 폴더는 휴지통이나 Velmora의 기록 같은 보호된 데이터이거나 그것을 포함하므로 "
             "정리 대상으로 검사하지 않습니다."},
    CopyPair{"This folder belongs to another user, so it is not scanned for cleanup.",
             "이 폴더는 다른 사용자의 것이므로 정리 대상으로 검사하지 않습니다."},
    // Why a permanent deletion stopped part-way (the cause after the place it stopped).
    CopyPair{"it is a mount point, which is never deleted",
             "마운트 지점이며, 마운트 지점은 삭제하지 않음"},
    // The system's descriptions of the errors a move, a restore or a deletion meets most.
    CopyPair{"Permission denied", "권한이 없음"},
    CopyPair{"Operation not permitted", "허용되지 않는 작업"},
    CopyPair{"No such file or directory", "파일이나 폴더가 없음"},
    CopyPair{"Read-only file system", "읽기 전용 파일 시스템"},
    CopyPair{"Device or resource busy", "장치나 자원이 사용 중"},
    CopyPair{"Directory not empty", "폴더가 비어 있지 않음"},
    CopyPair{"No space left on device", "장치에 남은 공간이 없음"},
    CopyPair{"Input/output error", "입출력 오류"},
};

// Reasons made of one of these prefixes and a path (the `CleaningError` descriptions first).
constexpr CopyPair kPrefixReasons[] = {
    CopyPair{"Path is outside the active scan scope: ", "현재 검사 범위 밖의 경로: "},
    CopyPair{"Refusing to clean critical path: ", "중요한 경로라 정리하지 않음: "},
    CopyPair{"Refusing to clean protected user data path: ",
             "보호된 사용자 데이터 경로라 정리하지 않음: "},
    CopyPair{"Refusing to clean symbolic link: ", "심볼릭 링크라 정리하지 않음: "},
    CopyPair{"Could not verify file attributes safely: ", "파일 속성을 안전하게 확인할 수 없음: "},
    CopyPair{"Refusing to clean because the item changed since it was scanned: ",
             "검사 후 항목이 바뀌어 정리하지 않음: "},
    CopyPair{"Refusing to clean because the item changed since the scan result: ",
             "검사 결과 이후 항목이 바뀌어 정리하지 않음: "},
    CopyPair{"Refusing to clean because validation exceeded the scanned item limit: ",
             "확인할 항목이 검사 한도를 넘어 정리하지 않음: "},
    CopyPair{"Could not verify cleanup operation after it completed: ",
             "정리를 마친 뒤 결과를 확인할 수 없음: "},
    CopyPair{"Could not restore because the trashed item is missing: ",
             "휴지통의 항목이 없어 복원할 수 없음: "},
    CopyPair{"Could not restore because an item already exists at: ",
             "같은 위치에 이미 항목이 있어 복원할 수 없음: "},
    CopyPair{"Could not restore because the trashed item identity is unavailable: ",
             "휴지통 항목의 식별 정보가 없어 복원할 수 없음: "},
    CopyPair{"Could not restore because the trashed item changed: ",
             "휴지통의 항목이 바뀌어 복원할 수 없음: "},
    CopyPair{"Refusing to clean a mount point: ", "마운트 지점이라 정리하지 않음: "},
    CopyPair{"Refusing to clean a folder that holds a mount point: ",
             "마운트 지점이 들어 있는 폴더라 정리하지 않음: "},
    CopyPair{"Could not restore because the recorded place in the Trash is not an item directly "
             "inside the Trash's files folder: ",
             "기록된 휴지통 위치가 휴지통 files 폴더 바로 안의 항목이 아니어서 복원할 수 없음: "},
    CopyPair{"Selected item is not an accessible folder: ",
             "선택한 항목은 열 수 있는 폴더가 아님: "},
    CopyPair{"Selected folder is too broad or protected for cleanup scanning: ",
             "선택한 폴더는 범위가 너무 넓거나 보호되어 있어 정리 검사를 할 수 없음: "},
};

// Reasons with a path or a name in the middle: the English text around it, and the Korean text
// with {0} where the middle goes. The six other languages translate the whole sentence through
// a template.
struct FramedReason {
    std::string_view before;
    std::string_view after;
    std::string_view korean;
};

// clang-format off
// i18n-example: "Could not move to the Trash: /home/ana/.local/share/Trash is a symbolic link, and Velmora never follows links in the Trash."
// i18n-example: "Could not move to the Trash: /home/ana/.local/share/Trash is not a folder."
// i18n-example: "Could not move to the Trash: /media/usb/.Trash-1000 does not belong to you, so Velmora does not use it."
// i18n-example: "The item changed while it was being moved to the Trash, and what was moved could not be put back; it stays in the Trash as /home/ana/.local/share/Trash/files/cache.2, where the desktop's Trash can restore it."
// i18n-example: "Could not restore because the Trash folder /home/ana/.local/share/Trash is a symbolic link, and Velmora never follows links in the Trash."
// i18n-example: "the home folder /home/ana belongs to another user. Velmora works only on a home folder that you own; nothing was scanned or changed."
// i18n-example: "the report /tmp/report.json is a folder; give the file that `velmora scan --json` wrote."
// i18n-example: "the report /tmp/report.json is not a regular file (a device, pipe or socket cannot hold a scan report)."
// i18n-example: "the report /tmp/report.json is larger than 64 MiB, which no scan report is."
// clang-format on
constexpr FramedReason kFramedReasons[] = {
    {"Could not move to the Trash: ",
     " is a symbolic link, and Velmora never follows links in the Trash.",
     "휴지통으로 옮길 수 없습니다. {0}은(는) 심볼릭 링크이며, Velmora는 휴지통에서 링크를 따라가지 "
     "않습니다."},
    {"Could not move to the Trash: ", " is not a folder.",
     "휴지통으로 옮길 수 없습니다. {0}은(는) 폴더가 아닙니다."},
    {"Could not move to the Trash: ", " does not belong to you, so Velmora does not use it.",
     "휴지통으로 옮길 수 없습니다. {0}은(는) 내 소유가 아니므로 Velmora가 사용하지 않습니다."},
    {"The item changed while it was being moved to the Trash, and what was moved could not be "
     "put back; it stays in the Trash as ",
     ", where the desktop's Trash can restore it.",
     "휴지통으로 옮기는 동안 항목이 바뀌었고, 옮겨진 부분을 되돌리지 못했습니다. 휴지통에 "
     "{0}(으)로 "
     "남아 있으며, 데스크톱의 휴지통에서 복원할 수 있습니다."},
    {"Could not restore because the Trash folder ",
     " is a symbolic link, and Velmora never follows links in the Trash.",
     "휴지통 폴더 {0}이(가) 심볼릭 링크라 복원할 수 없습니다. Velmora는 휴지통에서 링크를 따라가지 "
     "않습니다."},
    {"the home folder ",
     " belongs to another user. Velmora works only on a home folder that you own; nothing was "
     "scanned or changed.",
     "홈 폴더 {0}은(는) 다른 사용자의 것입니다. Velmora는 내 소유의 홈 폴더에서만 작동합니다. "
     "아무것도 검사하거나 바꾸지 않았습니다."},
    {"the report ", " is a folder; give the file that `velmora scan --json` wrote.",
     "보고서 {0}은(는) 폴더입니다. `velmora scan --json`이 쓴 파일을 지정하세요."},
    {"the report ", " is not a regular file (a device, pipe or socket cannot hold a scan report).",
     "보고서 {0}은(는) 일반 파일이 아닙니다(장치, 파이프, 소켓에는 검사 보고서가 담길 수 "
     "없습니다)."},
    {"the report ", " is larger than 64 MiB, which no scan report is.",
     "보고서 {0}은(는) 64 MiB보다 큽니다. 그렇게 큰 검사 보고서는 없습니다."},
};

// Reasons made of a frame around a place and the system's cause: BEFORE place ": " cause AFTER.
// The Korean text has {0} for the place and {1} for the (translated) cause.
struct ReasonWithCause {
    std::string_view before;
    std::string_view after;
    std::string_view korean;
};

// clang-format off
// i18n-example: "Part of the item was deleted before the deletion stopped at /home/ana/.cache/big/locked: Permission denied"
// i18n-example: "could not read the report /tmp/report.json: No such file or directory."
// clang-format on
constexpr ReasonWithCause kReasonsWithCause[] = {
    {"Part of the item was deleted before the deletion stopped at ", "",
     "{0}에서 삭제가 멈추기 전에 항목의 일부가 삭제됨: {1}"},
    {"could not read the report ", ".", "보고서 {0}을(를) 읽을 수 없습니다: {1}."},
};

// A path never goes through a pattern: patterns work on text, and a name that is not valid
// UTF-8 would not come back byte for byte, so the escaping that follows could show two names
// alike. The sentence is translated with this stand-in in the path's place, and the stand-in
// is then replaced by the path. Nothing when the sentence has no translation.
constexpr std::string_view kPlace = "\x1fplace\x1f";

std::optional<std::string> translatedAround(std::string_view before, std::string_view place,
                                            std::string_view after, AppLanguage language) {
    const std::string standIn = std::string(before) + std::string(kPlace) + std::string(after);
    std::string out = localized(standIn, language);
    const size_t at = out.find(kPlace);
    if (out == standIn || at == std::string::npos) return std::nullopt;
    return out.replace(at, kPlace.size(), place);
}

std::string withMiddle(std::string_view korean, std::string_view middle) {
    const size_t at = korean.find("{0}");
    return std::string(korean.substr(0, at)) + std::string(middle) +
           std::string(korean.substr(at + 3));
}

}  // namespace

std::string safetyTitle(CleanupSafety safety, AppLanguage language) {
    return kSafety[index(safety)].in(language);
}

std::string categoryTitle(CleanupCategory category, AppLanguage language) {
    return kCategories[index(category)].in(language);
}

std::string presentedReason(std::string_view english, AppLanguage language) {
    if (language == AppLanguage::english) return std::string(english);
    for (const CopyPair& reason : kWholeReasons) {
        if (english == reason.english) return reason.in(language);
    }
    for (const FramedReason& framed : kFramedReasons) {
        if (english.size() > framed.before.size() + framed.after.size() &&
            english.starts_with(framed.before) && english.ends_with(framed.after)) {
            const std::string_view middle = english.substr(
                framed.before.size(), english.size() - framed.before.size() - framed.after.size());
            if (language == AppLanguage::korean) return withMiddle(framed.korean, middle);
            return translatedAround(framed.before, middle, framed.after, language)
                .value_or(std::string(english));
        }
    }
    // A place and the system's cause: the cause never holds ": ", a path may.
    for (const ReasonWithCause& r : kReasonsWithCause) {
        const size_t cut = english.rfind(": ");
        if (!english.starts_with(r.before) || !english.ends_with(r.after) ||
            cut == std::string_view::npos || cut < r.before.size() ||
            cut + 2 > english.size() - r.after.size()) {
            continue;
        }
        const std::string_view where = english.substr(r.before.size(), cut - r.before.size());
        const std::string cause = presentedReason(
            english.substr(cut + 2, english.size() - r.after.size() - cut - 2), language);
        if (language == AppLanguage::korean) {
            const std::string placed = withMiddle(r.korean, where);
            const size_t at = placed.find("{1}");
            return placed.substr(0, at) + cause + placed.substr(at + 3);
        }
        // The template keeps the (already translated) cause as it captures it.
        return translatedAround(r.before, where, ": " + cause + std::string(r.after), language)
            .value_or(std::string(english));
    }
    for (const CopyPair& prefix : kPrefixReasons) {
        if (english.starts_with(prefix.english)) {
            return prefix.in(language) + std::string(english.substr(prefix.english.size()));
        }
    }
    return localized(english, language);
}

}  // namespace velmora
