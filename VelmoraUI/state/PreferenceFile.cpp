#include "VelmoraUI/state/PreferenceFile.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <tuple>

#include "CleanerCore/platform/FileIdentity.h"
#include "VelmoraUI/localization/Localizer.h"

namespace velmora {

namespace {

QString qKey(std::string_view key) {
    return QString::fromUtf8(key.data(), static_cast<qsizetype>(key.size()));
}

/// What tells one version of the file from the next: QSettings replaces the file through a new
/// one, so a write that reached the disk changes at least the inode.
std::optional<std::tuple<std::optional<uint64_t>, std::optional<uint64_t>, std::optional<Date>,
                         std::optional<int64_t>>>
fileVersion(const QSettings& settings) {
    auto identity = captureIdentity(settings.fileName().toStdString());
    if (!identity) return std::nullopt;
    return std::tuple(identity->systemNumber, identity->systemFileNumber,
                      identity->modificationDate, identity->fileSize);
}

bool flushed(QSettings& settings) {
    if (settings.status() == QSettings::NoError) {
        settings.sync();
        return settings.status() == QSettings::NoError;
    }
    // QSettings keeps reporting the first failed write for the rest of its life, so after one
    // failure a write is judged by whether it replaced the file.
    const auto before = fileVersion(settings);
    settings.sync();
    return fileVersion(settings) != before;
}

}  // namespace

QString qText(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

std::string storedText(const QSettings& settings, std::string_view key) {
    const QVariant v = settings.value(qText(key));
    return v.typeId() == QMetaType::QString ? v.toString().toStdString() : std::string();
}

std::optional<bool> storedBool(const QSettings& settings, std::string_view key) {
    const QVariant value = settings.value(qText(key));
    if (value.typeId() == QMetaType::Bool) return value.toBool();
    if (value.typeId() != QMetaType::QString) return std::nullopt;
    if (value.toString() == QStringLiteral("true")) return true;
    if (value.toString() == QStringLiteral("false")) return false;
    return std::nullopt;
}

std::string preferenceFilePath(const std::string& configHome) {
    return configHome + "/Velmora/Velmora.conf";
}

PreferenceFile openPreferenceFile(const std::string& configHome) {
    return openPreferenceFileAt(preferenceFilePath(configHome));
}

PreferenceFile openPreferenceFileAt(const std::string& path) {
    const QString file = QString::fromStdString(path);
    PreferenceFile result;
    result.settings = std::make_unique<QSettings>(file, QSettings::IniFormat);
    // QSettings may read the file only when it is first asked for a value, and says whether it
    // could parse it only after that: read it now.
    (void)result.settings->allKeys();
    if (result.settings->status() != QSettings::FormatError) return result;

    // Set the damaged file aside under a name no earlier backup has, then start empty.
    result.wasDamaged = true;
    result.settings.reset();
    const QString stamp = QDateTime::currentDateTimeUtc().toString("yyyyMMdd'T'HHmmss'Z'");
    QString backup = file + ".damaged-" + stamp;
    for (int n = 2; QFileInfo::exists(backup); ++n) {
        backup = file + ".damaged-" + stamp + "-" + QString::number(n);
    }
    if (QFile::rename(file, backup)) result.damagedFileBackup = backup.toStdString();
    result.settings = std::make_unique<QSettings>(file, QSettings::IniFormat);
    // Not moved: what QSettings half-read is dropped from memory; writing it back fails for the
    // same reason the rename did.
    if (!result.damagedFileBackup) result.settings->clear();
    return result;
}

std::optional<std::string> damagedPreferencesMessage(const PreferenceFile& file,
                                                     AppLanguage language) {
    if (!file.wasDamaged) return std::nullopt;
    const VelmoraCopy copy{language};
    if (!file.damagedFileBackup) {
        return copy.text(
            "The preferences file could not be read, and it could not be set aside. "
            "Velmora uses default settings and cannot save changes.",
            "설정 파일을 읽을 수 없고 따로 보관할 수도 없습니다. Velmora는 기본 "
            "설정을 사용하며 변경 사항을 저장할 수 없습니다.");
    }
    return copy.text("The preferences file could not be read and was set aside as ",
                     "설정 파일을 읽을 수 없어 다음 이름으로 따로 보관했습니다: ") +
           *file.damagedFileBackup +
           copy.text(". Velmora starts with default settings.",
                     ". Velmora가 기본 설정으로 시작합니다.");
}

std::optional<QByteArray> preferenceData(const QSettings& settings, std::string_view key) {
    const QVariant v = settings.value(qKey(key));
    if (!v.isValid() || v.typeId() != QMetaType::QByteArray) return std::nullopt;
    return v.toByteArray();
}

namespace {

// Makes a change and writes it. When the file cannot be written the change is undone in
// memory too; otherwise the refused value would reach the file with the next write that
// succeeds, behind the back of the store that was told it failed.
bool changeAndFlush(QSettings& settings, std::string_view key,
                    const std::optional<QVariant>& value) {
    const QString k = qKey(key);
    const std::optional<QVariant> previous =
        settings.contains(k) ? std::optional(settings.value(k)) : std::nullopt;
    value ? settings.setValue(k, *value) : settings.remove(k);
    if (flushed(settings)) return true;
    previous ? settings.setValue(k, *previous) : settings.remove(k);
    return false;
}

}  // namespace

bool storePreference(QSettings& settings, std::string_view key, const QVariant& value) {
    return changeAndFlush(settings, key, value);
}

bool removePreference(QSettings& settings, std::string_view key) {
    return changeAndFlush(settings, key, std::nullopt);
}

}  // namespace velmora
