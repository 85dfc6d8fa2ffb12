#pragma once
// Folders the person adds to the cleanup scan: the records, their store in the preference file
// and their resolution into scan locations before each scan.
#include <QObject>
#include <QSettings>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/base/Date.h"
#include "CleanerCore/base/Result.h"
#include "CleanerCore/scanning/CleanupModel.h"
#include "CleanerCore/scanning/StorageProfiles.h"
#include "CleanerCore/workflows/ScanSetup.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora {

/// One added folder. JSON: an object with these keys in this order; `id` a canonical UUID,
/// `bookmarkData` base64 (see FolderBookmark.h), `createdAt` seconds since 2001-01-01.
struct CustomScanFolder {
    std::string id;
    std::string displayName;   ///< last path component, the whole path when that is empty
    std::string fallbackPath;  ///< standardized path when it was added
    QByteArray bookmarkData;
    Date createdAt = 0;
    friend bool operator==(const CustomScanFolder&, const CustomScanFolder&) = default;
};

std::string encodeCustomScanFolders(const std::vector<CustomScanFolder>& folders);
/// The error names the first thing that is wrong.
Result<std::vector<CustomScanFolder>> decodeCustomScanFolders(std::string_view text);

/// `error.description()` in `language`.
std::string localizedDescription(const CustomScanFolderError& error, AppLanguage language);

inline constexpr std::string_view kCustomScanFoldersKey = "velmora.customScanFolders.v1";
inline constexpr std::string_view kStaleCustomFolderReason =
    "Custom folder stale bookmark. Remove and add this folder again before cleanup.";

/// The folder list in the preference file. Main thread only.
///
/// Loading: an absent key is the empty list. A value that cannot be decoded is copied
/// unchanged under the key + ".malformedBackup", the key is removed, the list starts empty and
/// `lastErrorMessage` says so. Every change is saved at once; a failed save restores the
/// previous list and sets `lastErrorMessage`; a successful one clears it.
class CustomScanFolderStore final : public QObject {
    Q_OBJECT
  public:
    CustomScanFolderStore(QSettings& settings, AppLanguage language, QObject* parent = nullptr);

    const std::vector<CustomScanFolder>& folders() const { return folders_; }
    const std::optional<std::string>& lastErrorMessage() const { return lastErrorMessage_; }

    /// Validates and records the folder at `path`: it must be an existing directory, not a
    /// symbolic link, and pass every scan-root check of `rules` ("/", the home folder and the
    /// protected places are refused). An entry with the same standardized path is replaced
    /// (new id and date). The list stays sorted by display name, numbers by value. False, with
    /// `lastErrorMessage` set and the list unchanged, when refused or not saved.
    bool add(const std::string& path, const ScanRootRules& rules, Date now = currentDate());
    /// Drops the entry with `id`; false when it could not be saved.
    bool remove(const std::string& id);

  signals:
    void foldersChanged();
    void lastErrorMessageChanged();

  private:
    bool save(std::vector<CustomScanFolder> folders);
    void setError(std::optional<std::string> message);

    QSettings& settings_;
    AppLanguage language_;
    std::vector<CustomScanFolder> folders_;
    std::optional<std::string> lastErrorMessage_;
};

struct ResolvedCustomScanFolder {
    CustomScanFolder folder;
    std::string path;  ///< where the bookmark leads, standardized
    bool bookmarkWasStale = false;
};

struct CustomScanFolderResolution {
    std::vector<ScanLocation> locations;
    std::vector<ResolvedCustomScanFolder> resolvedFolders;
    /// Stale, unresolvable and now refused folders, in list order, with their reasons.
    std::vector<SkippedItem> skippedItems;

    /// Hands the resolved folders to a scan request as its custom folders, and the skipped
    /// ones as its unavailable custom folders, so the scan reports them.
    void addTo(ScanRequest& request) const;
};

/// Resolves each folder's bookmark, in list order. A stale bookmark is never used for cleanup:
/// the folder is skipped with `kStaleCustomFolderReason`. A bookmark that cannot be resolved is
/// skipped with the reason it could not, and a folder that `rules` now refuses with the
/// refusal's description; the others become scan locations. Reads the file system.
CustomScanFolderResolution resolveCustomScanFolders(const std::vector<CustomScanFolder>& folders,
                                                    const ScanRootRules& rules);

/// Resolves the kept `folders` against the root checks of `request`'s home folder and
/// catalogue, as each scan and restore must, and hands them to `request` (`addTo`). A folder
/// the request already names is not added twice. Reads the file system; thread-safe.
void addKeptFolders(ScanRequest& request, const std::vector<CustomScanFolder>& folders);

}  // namespace velmora
