#include "VelmoraUI/state/HomeAccessBookmark.h"

#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/platform/FileSystem.h"
#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/state/FolderBookmark.h"
#include "VelmoraUI/state/PreferenceFile.h"

namespace velmora {

namespace {

bool isHomeOrItsLibrary(const std::string& path, const std::string& home) {
    return path == home || path == home + "/Library";
}

}  // namespace

std::string encodeHomeAccessBookmark(const HomeAccessBookmark& bookmark) {
    nlohmann::ordered_json json;
    json["fallbackPath"] = bookmark.fallbackPath;
    if (bookmark.effectiveHomeFallbackPath) {
        json["effectiveHomeFallbackPath"] = *bookmark.effectiveHomeFallbackPath;
    }
    json["bookmarkData"] = bookmark.bookmarkData.toBase64().toStdString();
    json["createdAt"] = bookmark.createdAt;
    return json.dump();
}

Result<HomeAccessBookmark> decodeHomeAccessBookmark(std::string_view text) {
    const auto json = nlohmann::json::parse(text, nullptr, false);
    if (json.is_discarded()) return fail(std::string("the saved value is not valid JSON"));
    if (!json.is_object()) return fail(std::string("the saved value is not an object"));
    auto wrong = [](const char* field) {
        return fail(std::string("the saved value has no valid \"") + field + "\"");
    };
    HomeAccessBookmark b;
    const auto fallback = json.find("fallbackPath");
    if (fallback == json.end() || !fallback->is_string()) return wrong("fallbackPath");
    b.fallbackPath = fallback->get<std::string>();
    if (const auto home = json.find("effectiveHomeFallbackPath"); home != json.end()) {
        if (!home->is_string()) return wrong("effectiveHomeFallbackPath");
        b.effectiveHomeFallbackPath = home->get<std::string>();
    }
    const auto data = json.find("bookmarkData");
    if (data == json.end() || !data->is_string()) return wrong("bookmarkData");
    const std::string base64 = data->get<std::string>();
    const auto decoded = QByteArray::fromBase64Encoding(
        QByteArray(base64.data(), static_cast<qsizetype>(base64.size())),
        QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded) return wrong("bookmarkData");
    b.bookmarkData = *decoded;
    const auto createdAt = json.find("createdAt");
    if (createdAt == json.end() || !createdAt->is_number()) return wrong("createdAt");
    b.createdAt = createdAt->get<double>();
    return b;
}

std::string HomeAccessBookmarkError::description() const {
    return localizedDescription(AppLanguage::english);
}

std::string HomeAccessBookmarkError::localizedDescription(AppLanguage language) const {
    const VelmoraCopy copy{language};
    if (kind == Kind::notDirectory) {
        return copy.text("Selected item is not a folder: ", "선택한 항목은 폴더가 아닙니다: ") +
               path;
    }
    return copy.text("Select your current home folder or its Library folder only: ",
                     "현재 사용자의 홈 폴더 또는 그 안의 Library 폴더만 선택하세요: ") +
           path;
}

std::optional<HomeAccessBookmarkError> validateHomeAccess(const std::string& path,
                                                          const std::string& home) {
    using E = HomeAccessBookmarkError;
    const std::string selected = standardizePath(path);
    const auto st = statPath(selected);
    if (!st || !S_ISDIR(st->st_mode)) return E{E::Kind::notDirectory, selected};
    const auto link = lstatPath(selected);
    if (!link || S_ISLNK(link->st_mode)) return E{E::Kind::notCurrentUserHome, selected};
    const std::string h = home.empty() ? std::string() : standardizePath(home);
    if (h.empty() || h == "/" || !isHomeOrItsLibrary(selected, h)) {
        return E{E::Kind::notCurrentUserHome, selected};
    }
    // Through links in its ancestors the folder must still be that home: a link elsewhere that
    // merely names the home folder is refused. The home is resolved too, so a home whose own
    // path runs through a link (/home -> /var/home) is still accepted.
    if (!isHomeOrItsLibrary(resolvingSymlinksInPath(selected), resolvingSymlinksInPath(h))) {
        return E{E::Kind::notCurrentUserHome, selected};
    }
    return std::nullopt;
}

HomeAccessBookmarkStore::HomeAccessBookmarkStore(QSettings& settings, AppLanguage language,
                                                 QObject* parent)
    : QObject(parent), settings_(settings), language_(language) {
    const QString key = QString::fromUtf8(kHomeAccessBookmarkKey.data(),
                                          static_cast<qsizetype>(kHomeAccessBookmarkKey.size()));
    if (!settings_.contains(key)) return;
    const QVariant raw = settings_.value(key);
    const auto blob = preferenceData(settings_, kHomeAccessBookmarkKey);
    auto decoded =
        blob ? decodeHomeAccessBookmark(std::string_view(blob->constData(), blob->size()))
             : Result<HomeAccessBookmark>(fail(std::string("the saved value is not a data blob")));
    if (decoded) {
        bookmark_ = std::move(*decoded);
        return;
    }
    storePreference(settings_, std::string(kHomeAccessBookmarkKey) + ".malformedBackup", raw);
    removePreference(settings_, kHomeAccessBookmarkKey);
    const VelmoraCopy copy{language_};
    lastErrorMessage_ =
        copy.text(
            "Could not load home folder access bookmark. The saved bookmark was backed up "
            "and reset: ",
            "홈 폴더 접근 북마크를 불러올 수 없습니다. 저장된 북마크를 백업하고 "
            "초기화했습니다: ") +
        decoded.error();
}

bool HomeAccessBookmarkStore::grant(const std::string& path, const std::string& home, Date now) {
    const std::string selected = standardizePath(path);
    if (auto error = validateHomeAccess(selected, home)) {
        setError(error->localizedDescription(language_));
        return false;
    }
    auto data = makeFolderBookmark(selected);
    if (!data) {
        setError(HomeAccessBookmarkError{HomeAccessBookmarkError::Kind::notDirectory, selected}
                     .localizedDescription(language_));
        return false;
    }
    return save(HomeAccessBookmark{selected, standardizePath(home), std::move(*data), now});
}

bool HomeAccessBookmarkStore::clear() {
    return save(std::nullopt);
}

std::optional<ResolvedHomeAccessBookmark> HomeAccessBookmarkStore::resolve(
    const std::string& home) {
    if (!bookmark_) return std::nullopt;
    const HomeAccessBookmark original = *bookmark_;
    const auto resolved = resolveFolderBookmark(original.bookmarkData);
    std::optional<std::string> failure;
    if (!resolved) {
        failure = resolved.error();
    } else {
        const std::string effectiveHome = original.effectiveHomeFallbackPath
                                              ? *original.effectiveHomeFallbackPath
                                              : resolved->path;
        if (auto error = validateHomeAccess(resolved->path, home)) {
            failure = error->localizedDescription(language_);
        } else {
            return ResolvedHomeAccessBookmark{resolved->path, effectiveHome, resolved->isStale,
                                              original};
        }
    }
    // The person must grant access anew; keeping an unusable grant would fail every scan.
    removePreference(settings_, kHomeAccessBookmarkKey);
    bookmark_.reset();
    emit bookmarkChanged();
    const VelmoraCopy copy{language_};
    setError(copy.text("Could not resolve home folder access bookmark and cleared it. Grant "
                       "access again: ",
                       "홈 폴더 접근 북마크를 확인할 수 없어 지웠습니다. 다시 접근 권한을 "
                       "부여하세요: ") +
             *failure);
    return std::nullopt;
}

bool HomeAccessBookmarkStore::save(std::optional<HomeAccessBookmark> bookmark) {
    bool written = false;
    if (bookmark) {
        const std::string text = encodeHomeAccessBookmark(*bookmark);
        written = storePreference(settings_, kHomeAccessBookmarkKey,
                                  QByteArray(text.data(), static_cast<qsizetype>(text.size())));
    } else {
        written = removePreference(settings_, kHomeAccessBookmarkKey);
    }
    if (!written) {
        const VelmoraCopy copy{language_};
        setError(
            copy.text("Could not save home folder access bookmark: ",
                      "홈 폴더 접근 북마크를 저장할 수 없습니다: ") +
            copy.text("the preference file could not be written", "설정 파일에 쓸 수 없습니다"));
        return false;
    }
    bookmark_ = std::move(bookmark);
    emit bookmarkChanged();
    setError(std::nullopt);
    return true;
}

void HomeAccessBookmarkStore::setError(std::optional<std::string> message) {
    if (message == lastErrorMessage_) return;
    lastErrorMessage_ = std::move(message);
    emit lastErrorMessageChanged();
}

}  // namespace velmora
