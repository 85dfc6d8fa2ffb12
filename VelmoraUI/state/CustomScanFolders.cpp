#include "VelmoraUI/state/CustomScanFolders.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/platform/Environment.h"
#include "CleanerCore/platform/UUID.h"
#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/state/FolderBookmark.h"
#include "VelmoraUI/state/PreferenceFile.h"

namespace velmora {

namespace {

QByteArray bytes(const std::string& text) {
    return QByteArray(text.data(), static_cast<qsizetype>(text.size()));
}

std::string backupKey(std::string_view key) {
    return std::string(key) + ".malformedBackup";
}

// Finder-like order, the same in every locale: letters compared without case, runs of digits
// by their value ("Build 9" before "build 10").
int compareDisplayNames(const QString& a, const QString& b) {
    qsizetype i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        const bool digitA = a[i].isDigit(), digitB = b[j].isDigit();
        qsizetype ei = i, ej = j;
        while (ei < a.size() && a[ei].isDigit() == digitA) ++ei;
        while (ej < b.size() && b[ej].isDigit() == digitB) ++ej;
        QStringView runA = QStringView(a).mid(i, ei - i), runB = QStringView(b).mid(j, ej - j);
        int order = 0;
        if (digitA && digitB) {
            while (runA.size() > 1 && runA.front() == u'0') runA = runA.mid(1);
            while (runB.size() > 1 && runB.front() == u'0') runB = runB.mid(1);
            order = runA.size() != runB.size() ? (runA.size() < runB.size() ? -1 : 1)
                                               : runA.compare(runB);
        } else {
            order = runA.compare(runB, Qt::CaseInsensitive);
        }
        if (order != 0) return order;
        i = ei;
        j = ej;
    }
    if (i < a.size()) return 1;
    if (j < b.size()) return -1;
    return a.compare(b);  // equal but for case or leading zeros: still a fixed order
}

void sortByDisplayName(std::vector<CustomScanFolder>& folders) {
    std::stable_sort(folders.begin(), folders.end(), [](const auto& x, const auto& y) {
        return compareDisplayNames(QString::fromStdString(x.displayName),
                                   QString::fromStdString(y.displayName)) < 0;
    });
}

}  // namespace

std::string encodeCustomScanFolders(const std::vector<CustomScanFolder>& folders) {
    nlohmann::ordered_json array = nlohmann::ordered_json::array();
    for (const auto& f : folders) {
        nlohmann::ordered_json entry;
        entry["id"] = f.id;
        entry["displayName"] = f.displayName;
        entry["fallbackPath"] = f.fallbackPath;
        entry["bookmarkData"] = f.bookmarkData.toBase64().toStdString();
        entry["createdAt"] = f.createdAt;
        array.push_back(std::move(entry));
    }
    return array.dump();
}

Result<std::vector<CustomScanFolder>> decodeCustomScanFolders(std::string_view text) {
    const auto json = nlohmann::json::parse(text, nullptr, false);
    if (json.is_discarded()) return fail(std::string("the saved value is not valid JSON"));
    if (!json.is_array()) return fail(std::string("the saved value is not a list"));
    std::vector<CustomScanFolder> folders;
    for (const auto& entry : json) {
        const size_t n = folders.size() + 1;
        auto wrong = [&](const char* field) {
            return fail("entry " + std::to_string(n) + " has no valid \"" + field + "\"");
        };
        if (!entry.is_object()) return fail("entry " + std::to_string(n) + " is not an object");
        auto string = [&](const char* key) -> std::optional<std::string> {
            const auto it = entry.find(key);
            if (it == entry.end() || !it->is_string()) return std::nullopt;
            return it->get<std::string>();
        };
        CustomScanFolder f;
        const auto id = string("id");
        const auto canonical = id ? canonicalUUIDText(*id) : std::nullopt;
        if (!canonical) return wrong("id");
        f.id = *canonical;
        const auto displayName = string("displayName");
        if (!displayName) return wrong("displayName");
        f.displayName = *displayName;
        const auto fallbackPath = string("fallbackPath");
        if (!fallbackPath || fallbackPath->empty() || fallbackPath->front() != '/') {
            return wrong("fallbackPath");
        }
        f.fallbackPath = *fallbackPath;
        const auto bookmark = string("bookmarkData");
        const auto decoded = bookmark
                                 ? QByteArray::fromBase64Encoding(
                                       bytes(*bookmark), QByteArray::AbortOnBase64DecodingErrors)
                                 : QByteArray::FromBase64Result{};
        if (!bookmark || !decoded) return wrong("bookmarkData");
        f.bookmarkData = *decoded;
        const auto createdAt = entry.find("createdAt");
        if (createdAt == entry.end() || !createdAt->is_number()) return wrong("createdAt");
        f.createdAt = createdAt->get<double>();
        folders.push_back(std::move(f));
    }
    return folders;
}

std::string localizedDescription(const CustomScanFolderError& error, AppLanguage language) {
    const VelmoraCopy copy{language};
    if (error.kind == CustomScanFolderError::Kind::notDirectory) {
        return copy.text("Selected item is not an accessible folder: ",
                         "선택한 항목은 접근할 수 있는 폴더가 아닙니다: ") +
               error.path;
    }
    return copy.text(
               "Selected folder is too broad or protected for cleanup scanning: ",
               "선택한 폴더는 범위가 너무 넓거나 보호되어 있어 정리 검사에 쓸 수 없습니다: ") +
           error.path;
}

CustomScanFolderStore::CustomScanFolderStore(QSettings& settings, AppLanguage language,
                                             QObject* parent)
    : QObject(parent), settings_(settings), language_(language) {
    const QString key = QString::fromUtf8(kCustomScanFoldersKey.data(),
                                          static_cast<qsizetype>(kCustomScanFoldersKey.size()));
    if (!settings_.contains(key)) return;
    const QVariant raw = settings_.value(key);
    const auto blob = preferenceData(settings_, kCustomScanFoldersKey);
    // A value of another type than a data blob is as unreadable as a damaged one.
    auto decoded = blob ? decodeCustomScanFolders(std::string_view(blob->constData(), blob->size()))
                        : Result<std::vector<CustomScanFolder>>(
                              fail(std::string("the saved value is not a data blob")));
    if (decoded) {
        folders_ = std::move(*decoded);
        return;
    }
    storePreference(settings_, backupKey(kCustomScanFoldersKey), raw);
    removePreference(settings_, kCustomScanFoldersKey);
    const VelmoraCopy copy{language_};
    lastErrorMessage_ =
        copy.text(
            "Could not load custom scan folders. The saved folder list was backed up and "
            "reset: ",
            "사용자 지정 검사 폴더를 불러올 수 없습니다. 저장된 폴더 목록을 백업하고 "
            "초기화했습니다: ") +
        decoded.error();
}

bool CustomScanFolderStore::add(const std::string& path, const ScanRootRules& rules, Date now) {
    const std::string standardized = standardizePath(path);
    if (auto error = validateCustomScanFolder(standardized, rules)) {
        setError(localizedDescription(*error, language_));
        return false;
    }
    auto bookmark = makeFolderBookmark(standardized);
    if (!bookmark) {
        // The folder vanished between the check and the bookmark.
        setError(localizedDescription({CustomScanFolderError::Kind::notDirectory, standardized},
                                      language_));
        return false;
    }
    CustomScanFolder folder{makeUUIDString(),
                            StorageProfiles::customFolderDisplayName(standardized), standardized,
                            std::move(*bookmark), now};
    std::vector<CustomScanFolder> next;
    for (const auto& f : folders_) {
        if (f.fallbackPath != standardized) next.push_back(f);
    }
    next.push_back(std::move(folder));
    sortByDisplayName(next);
    return save(std::move(next));
}

bool CustomScanFolderStore::remove(const std::string& id) {
    std::vector<CustomScanFolder> next;
    for (const auto& f : folders_) {
        if (f.id != id) next.push_back(f);
    }
    if (next.size() == folders_.size()) return true;
    return save(std::move(next));
}

bool CustomScanFolderStore::save(std::vector<CustomScanFolder> folders) {
    if (!storePreference(settings_, kCustomScanFoldersKey,
                         bytes(encodeCustomScanFolders(folders)))) {
        // The list on screen stays what the file holds.
        const VelmoraCopy copy{language_};
        setError(
            copy.text("Could not save custom scan folders: ",
                      "사용자 지정 검사 폴더를 저장할 수 없습니다: ") +
            copy.text("the preference file could not be written", "설정 파일에 쓸 수 없습니다"));
        return false;
    }
    folders_ = std::move(folders);
    emit foldersChanged();
    setError(std::nullopt);
    return true;
}

void CustomScanFolderStore::setError(std::optional<std::string> message) {
    if (message == lastErrorMessage_) return;
    lastErrorMessage_ = std::move(message);
    emit lastErrorMessageChanged();
}

void CustomScanFolderResolution::addTo(ScanRequest& request) const {
    for (const auto& r : resolvedFolders) request.customFolders.push_back(r.path);
    for (const auto& s : skippedItems) request.unavailableCustomFolders.push_back(s);
}

CustomScanFolderResolution resolveCustomScanFolders(const std::vector<CustomScanFolder>& folders,
                                                    const ScanRootRules& rules) {
    CustomScanFolderResolution out;
    for (const auto& folder : folders) {
        const auto skip = [&](std::string reason) {
            out.skippedItems.push_back(
                {FileURL::directory(folder.fallbackPath), std::move(reason)});
        };
        const auto resolved = resolveFolderBookmark(folder.bookmarkData);
        if (!resolved) {
            skip(resolved.error());
            continue;
        }
        if (resolved->isStale) {
            skip(std::string(kStaleCustomFolderReason));
            continue;
        }
        if (auto error = validateCustomScanFolder(resolved->path, rules)) {
            skip(error->description());
            continue;
        }
        out.locations.push_back(
            StorageProfiles::customFolderLocation(resolved->path, folder.displayName));
        out.resolvedFolders.push_back({folder, resolved->path, false});
    }
    return out;
}

void addKeptFolders(ScanRequest& request, const std::vector<CustomScanFolder>& folders) {
    if (folders.empty()) return;
    const ScanRootRules rules =
        scanRootRules(currentUserEnvironment(request.homeOverride), request.catalogue);
    CustomScanFolderResolution resolution = resolveCustomScanFolders(folders, rules);
    std::erase_if(resolution.resolvedFolders, [&](const ResolvedCustomScanFolder& r) {
        return std::any_of(
            request.customFolders.begin(), request.customFolders.end(),
            [&](const std::string& typed) { return standardizePath(typed) == r.path; });
    });
    resolution.addTo(request);
}

}  // namespace velmora
