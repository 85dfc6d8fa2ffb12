#pragma once
// The one-time grant of the home folder that a sandboxed program needs before it may scan:
// the record, its store in the preference file, and its resolution before a scan.
#include <QByteArray>
#include <QObject>
#include <QSettings>
#include <optional>
#include <string>
#include <string_view>

#include "CleanerCore/base/Date.h"
#include "CleanerCore/base/Result.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora {

/// JSON: an object with these keys in this order; `bookmarkData` base64 (FolderBookmark.h),
/// `createdAt` seconds since 2001-01-01. `effectiveHomeFallbackPath` is omitted when absent and
/// may be missing in records written before it existed.
struct HomeAccessBookmark {
    std::string fallbackPath;  ///< the selected folder: the home folder or its "Library"
    std::optional<std::string> effectiveHomeFallbackPath;  ///< the home the grant stands for
    QByteArray bookmarkData;
    Date createdAt = 0;
    friend bool operator==(const HomeAccessBookmark&, const HomeAccessBookmark&) = default;
};

std::string encodeHomeAccessBookmark(const HomeAccessBookmark& bookmark);
Result<HomeAccessBookmark> decodeHomeAccessBookmark(std::string_view text);

struct HomeAccessBookmarkError {
    enum class Kind { notDirectory, notCurrentUserHome };
    Kind kind = Kind::notDirectory;
    std::string path;
    /// "Selected item is not a folder: " / "Select your current home folder or its Library
    /// folder only: " followed by the path.
    std::string description() const;
    std::string localizedDescription(AppLanguage language) const;
    friend bool operator==(const HomeAccessBookmarkError&,
                           const HomeAccessBookmarkError&) = default;
};

/// The checks of a grant: `path` must be a directory and not a symbolic link, and both it and
/// its link-resolved form must be `home` or `home` + "/Library". A home that is empty or "/"
/// accepts nothing.
std::optional<HomeAccessBookmarkError> validateHomeAccess(const std::string& path,
                                                          const std::string& home);

struct ResolvedHomeAccessBookmark {
    std::string grantedPath;             ///< the selected folder as resolved now
    std::string effectiveHomeDirectory;  ///< the home folder scans use
    bool bookmarkWasStale = false;       ///< the folder at the path is not the one that was granted
    HomeAccessBookmark originalBookmark;
};

inline constexpr std::string_view kHomeAccessBookmarkKey = "velmora.homeAccessBookmark.v1";

/// The grant in the preference file. Main thread only. Loading and saving recover as the
/// custom folder store does: a damaged value is copied under the key + ".malformedBackup" and
/// removed; a failed save keeps the previous grant; a successful one clears `lastErrorMessage`.
class HomeAccessBookmarkStore final : public QObject {
    Q_OBJECT
  public:
    HomeAccessBookmarkStore(QSettings& settings, AppLanguage language, QObject* parent = nullptr);

    const std::optional<HomeAccessBookmark>& bookmark() const { return bookmark_; }
    const std::optional<std::string>& lastErrorMessage() const { return lastErrorMessage_; }

    /// Validates `path` against the current user's `home` and records the grant, replacing any
    /// earlier one. False, with `lastErrorMessage` set, when refused or not saved.
    bool grant(const std::string& path, const std::string& home, Date now = currentDate());
    /// Removes the grant; false when that could not be saved.
    bool clear();
    /// The grant as it stands now, checked against the current user's `home`. A grant that
    /// cannot be resolved, or whose folder no longer passes the checks, is removed and
    /// `lastErrorMessage` asks for a new grant. The effective home is the recorded one, else
    /// (older records) the resolved folder.
    std::optional<ResolvedHomeAccessBookmark> resolve(const std::string& home);

  signals:
    void bookmarkChanged();
    void lastErrorMessageChanged();

  private:
    bool save(std::optional<HomeAccessBookmark> bookmark);
    void setError(std::optional<std::string> message);

    QSettings& settings_;
    AppLanguage language_;
    std::optional<HomeAccessBookmark> bookmark_;
    std::optional<std::string> lastErrorMessage_;
};

}  // namespace velmora
