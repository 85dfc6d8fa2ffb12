#include "CleanerCore/platform/Trash.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <mutex>

#include "CleanerCore/base/FileURL.h"

#ifndef RENAME_NOREPLACE
#define RENAME_NOREPLACE (1 << 0)
#endif

namespace velmora {

namespace {

constexpr size_t kMaxTrashNameBytes = 245;  // + ".trashinfo" (10 bytes) = 255, NAME_MAX
constexpr size_t kMaxKeptExtensionBytes = 16;
constexpr unsigned kSequentialNames = 9;  // the name itself, then .2 ... .9
constexpr unsigned kNameAttempts = 64;

constexpr const char* kNoCopySentence =
    "Could not move to the Trash: this item's file system has no usable Trash, and Velmora "
    "never copies items between file systems.";

TrashError systemError(int errorNumber) {
    return {TrashError::Kind::system, errorNumber, std::strerror(errorNumber)};
}

TrashError crossDeviceError(int errorNumber) {
    return {TrashError::Kind::crossDevice, errorNumber, kNoCopySentence};
}

bool isSingleComponent(const std::string& name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(std::string_view("/\0", 2)) == std::string::npos;
}

/// renameat2 with RENAME_NOREPLACE; returns 0 or the errno. Where the kernel (ENOSYS) or the
/// file system (EINVAL) lacks the flag, it checks that the target is free and then renames: the
/// window between the two calls is the best a plain rename offers there.
int renameNoReplace(int fromFd, const char* from, int toFd, const char* to) {
    if (::syscall(SYS_renameat2, fromFd, from, toFd, to, RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;
    struct stat st {};
    if (::fstatat(toFd, to, &st, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
    if (errno != ENOENT) return errno;
    return ::renameat(fromFd, from, toFd, to) == 0 ? 0 : errno;
}

/// `path`, or its nearest existing ancestor when it is missing (a folder created there later
/// lives on that ancestor's device), with its stat. Follows links: they are the user's layout.
std::optional<std::pair<std::string, struct stat>> nearestExisting(std::string path) {
    for (;;) {
        struct stat st {};
        if (::stat(path.c_str(), &st) == 0) return std::pair{std::move(path), st};
        if (path == "/") return std::nullopt;
        path = deletingLastPathComponent(path);
    }
}

/// The top folder of the file system `device` above `folder`: the highest ancestor (by path)
/// still on that device. nullopt when `folder` itself is not on it.
std::optional<std::string> topdirOf(std::string folder, dev_t device) {
    struct stat st {};
    if (::stat(folder.c_str(), &st) != 0 || st.st_dev != device) return std::nullopt;
    while (folder != "/") {
        std::string up = deletingLastPathComponent(folder);
        if (::stat(up.c_str(), &st) != 0 || st.st_dev != device) break;
        folder = std::move(up);
    }
    return folder;
}

/// Opens the trash folder `name` inside `dirFd` without following a link, creating it (0700)
/// when missing. It must be a directory owned by `uid`; `path` names it in refusals.
Result<UniqueFd, TrashError> openOwnedFolder(int dirFd, const std::string& name,
                                             const std::string& path, uid_t uid) {
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    UniqueFd fd(::openat(dirFd, name.c_str(), kFlags));
    if (!fd && errno == ENOENT) {
        if (::mkdirat(dirFd, name.c_str(), 0700) != 0 && errno != EEXIST) {
            return Failure{systemError(errno)};
        }
        fd = UniqueFd(::openat(dirFd, name.c_str(), kFlags));
    }
    struct stat st {};
    if (!fd) {
        const int err = errno;
        if (err != ELOOP && err != ENOTDIR) return Failure{systemError(err)};
        const bool isLink =
            ::fstatat(dirFd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(st.st_mode);
        return Failure{TrashError{
            TrashError::Kind::system, isLink ? ELOOP : ENOTDIR,
            "Could not move to the Trash: " + path +
                (isLink ? " is a symbolic link, and Velmora never follows links in the Trash."
                        : " is not a folder.")}};
    }
    if (::fstat(fd.get(), &st) != 0) return Failure{systemError(errno)};
    if (st.st_uid != uid) {
        return Failure{TrashError{TrashError::Kind::system, EPERM,
                                  "Could not move to the Trash: " + path +
                                      " does not belong to you, so Velmora does not use it."}};
    }
    return fd;
}

}  // namespace

/// An opened trash folder: `files` and `info`, and where Path= is relative to. For the home
/// trash also `$XDG_DATA_HOME` and the trash folder itself, by which the cache checks them.
struct Trash::OpenTrash {
    std::string path;    ///< standardized path of the trash folder
    std::string topdir;  ///< empty for the home trash (Path= absolute), else the volume's top
    SharedFd filesFd;
    UniqueFd infoFd;
    UniqueFd dataFd;
    UniqueFd trashFd;
    /// Device and inode of dataFd, trashFd, filesFd and infoFd, read once when kept.
    std::array<std::pair<dev_t, ino_t>, 4> ids{};
};

struct Trash::HomeTrashCache {
    std::mutex mutex;
    std::shared_ptr<const OpenTrash> trash;
};

namespace {

using OpenTrash = Trash::OpenTrash;

/// Opens (creating when missing) `name` in `dirFd` and its `files` and `info`.
Result<OpenTrash, TrashError> openTrashFolder(int dirFd, const std::string& name,
                                              const std::string& path, uid_t uid) {
    auto trash = openOwnedFolder(dirFd, name, path, uid);
    if (!trash) return Failure{trash.error()};
    auto files = openOwnedFolder(trash->get(), "files", path + "/files", uid);
    if (!files) return Failure{files.error()};
    auto info = openOwnedFolder(trash->get(), "info", path + "/info", uid);
    if (!info) return Failure{info.error()};
    return OpenTrash{
        path, {}, SharedFd(std::move(*files)), std::move(*info), {}, std::move(*trash)};
}

bool isObject(const struct stat& st, const std::pair<dev_t, ino_t>& id) {
    return st.st_dev == id.first && st.st_ino == id.second;
}

/// `name` in `dirFd`, not followed, is still the directory `id` and belongs to `uid`.
bool stillTheFolder(int dirFd, const char* name, const std::pair<dev_t, ino_t>& id, uid_t uid) {
    struct stat now {};
    return ::fstatat(dirFd, name, &now, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(now.st_mode) &&
           now.st_uid == uid && isObject(now, id);
}

/// mkdir -p with mode 0700 for the folders it creates.
bool makeFolders(const std::string& path) {
    std::string prefix;
    for (size_t i = 1; i <= path.size(); ++i) {
        if (i != path.size() && path[i] != '/') continue;
        prefix = path.substr(0, i);
        if (::mkdir(prefix.c_str(), 0700) != 0 && errno != EEXIST) return false;
    }
    return true;
}

bool isValidUtf8(std::string_view s) {
    for (size_t i = 0; i < s.size();) {
        const auto c = static_cast<unsigned char>(s[i]);
        size_t extra = 0;
        if (c < 0x80) {
            extra = 0;
        } else if (c >= 0xC2 && c <= 0xDF) {
            extra = 1;
        } else if (c >= 0xE0 && c <= 0xEF) {
            extra = 2;
        } else if (c >= 0xF0 && c <= 0xF4) {
            extra = 3;
        } else {
            return false;
        }
        if (i + extra >= s.size() && extra > 0) return false;
        for (size_t k = 1; k <= extra; ++k) {
            if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) return false;
        }
        if (extra >= 2) {  // overlong forms, UTF-16 surrogates, beyond U+10FFFF
            const auto c1 = static_cast<unsigned char>(s[i + 1]);
            if ((c == 0xE0 && c1 < 0xA0) || (c == 0xED && c1 > 0x9F) || (c == 0xF0 && c1 < 0x90) ||
                (c == 0xF4 && c1 > 0x8F)) {
                return false;
            }
        }
        i += extra + 1;
    }
    return true;
}

/// The candidate trash name for attempt `number` (1: the name itself, n ≥ 2: `<stem>.n<ext>`),
/// at most kMaxTrashNameBytes long.
std::string trashNameCandidate(const std::string& name, unsigned long long number) {
    const std::string suffix = number <= 1 ? std::string() : "." + std::to_string(number);
    if (suffix.empty() && name.size() <= kMaxTrashNameBytes) return name;
    size_t stemEnd = name.size();
    const size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot > 0 && dot + 1 < name.size() &&
        name.size() - dot <= kMaxKeptExtensionBytes) {
        stemEnd = dot;
    }
    const std::string_view ext = std::string_view(name).substr(stemEnd);
    size_t keep = stemEnd;
    const size_t budget = kMaxTrashNameBytes - suffix.size() - ext.size();
    if (keep > budget) {
        keep = budget;
        // Cut before a continuation byte would split a character; invalid names cut anywhere.
        if (isValidUtf8(name)) {
            while (keep > 0 && (static_cast<unsigned char>(name[keep]) & 0xC0) == 0x80) --keep;
        }
    }
    return name.substr(0, keep) + suffix + std::string(ext);
}

/// A cheap, call-local source of numbers for the names after `.9`; uniqueness is decided by
/// O_EXCL and RENAME_NOREPLACE, not by the quality of these numbers.
unsigned long long nextRandom(unsigned long long& state) {
    state += 0x9E3779B97F4A7C15ULL;
    unsigned long long z = state;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
}

/// Path= text: the raw bytes percent-encoded as in file URLs (RFC 2396 escaping: unreserved
/// characters, "/" and the path's other allowed characters stay, every other byte is %XX).
std::string encodedTrashInfoPath(const std::string& path, bool relative) {
    const std::string url = FileURL(relative ? "/" + path : path).absoluteString();
    return url.substr(relative ? 8 : 7);  // "file://" (+ "/" for a relative path)
}

/// DeletionDate text in local time, YYYY-MM-DDThh:mm:ss; nullopt for a date out of range.
std::optional<std::string> deletionDateText(Date date) {
    const double unixSeconds = std::floor(date + kReferenceDateUnixOffset);
    if (!std::isfinite(unixSeconds) || std::fabs(unixSeconds) > 1e15) return std::nullopt;
    const auto t = static_cast<time_t>(unixSeconds);
    struct tm local {};
    if (::localtime_r(&t, &local) == nullptr) return std::nullopt;
    char text[64];
    if (std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local) == 0) return std::nullopt;
    return std::string(text);
}

bool writeAll(int fd, const std::string& data) {
    size_t done = 0;
    while (done < data.size()) {
        const ssize_t n = ::write(fd, data.data() + done, data.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

}  // namespace

Trash::Trash(TrashOptions options)
    : options_(std::move(options)), homeCache_(std::make_shared<HomeTrashCache>()) {}

std::shared_ptr<const Trash::OpenTrash> Trash::cachedHomeTrash(dev_t expectedDevice) const {
    std::shared_ptr<const OpenTrash> kept;
    {
        std::lock_guard lock(homeCache_->mutex);
        kept = homeCache_->trash;
    }
    if (!kept) return nullptr;
    struct stat data {};
    // An item of another file system goes to its volume's trash; the kept folders stay.
    const bool dataFound = ::stat(options_.xdgDataHome.c_str(), &data) == 0;
    if (dataFound && data.st_dev != expectedDevice) return nullptr;
    if (!dataFound || !isObject(data, kept->ids[0]) ||
        !stillTheFolder(kept->dataFd.get(), "Trash", kept->ids[1], options_.uid) ||
        !stillTheFolder(kept->trashFd.get(), "files", kept->ids[2], options_.uid) ||
        !stillTheFolder(kept->trashFd.get(), "info", kept->ids[3], options_.uid)) {
        std::lock_guard lock(homeCache_->mutex);
        if (homeCache_->trash == kept) homeCache_->trash.reset();
        return nullptr;
    }
    return kept;
}

std::string Trash::homeTrashPath() const {
    return appendingPathComponent(options_.xdgDataHome, "Trash");
}

Result<TrashedItem, TrashError> Trash::moveToTrash(int parentFd, const std::string& parentPath,
                                                   const std::string& name, dev_t expectedDevice,
                                                   ino_t expectedInode, Date deletionDate) const {
    if (!isSingleComponent(name) || options_.xdgDataHome.empty() ||
        options_.xdgDataHome.front() != '/') {
        return Failure{systemError(EINVAL)};
    }
    const std::string originalPath = appendingPathComponent(parentPath, name);

    // Choose the trash by the validated object's device: an object swapped in from elsewhere
    // fails the rename (EXDEV) or the identity check below.
    std::shared_ptr<const OpenTrash> trash = cachedHomeTrash(expectedDevice);
    if (!trash) {
        auto opened = openTrashFor(parentPath, expectedDevice);
        if (!opened) return Failure{opened.error()};
        trash = std::move(*opened);
    }
    return moveInto(*trash, parentFd, originalPath, name, expectedDevice, expectedInode,
                    deletionDate);
}

Result<std::shared_ptr<const Trash::OpenTrash>, TrashError> Trash::openTrashFor(
    const std::string& parentPath, dev_t expectedDevice) const {
    const std::string uidText = std::to_string(options_.uid);
    Result<OpenTrash, TrashError> trash = Failure{crossDeviceError(EXDEV)};
    const auto home = nearestExisting(standardizePath(options_.xdgDataHome));
    if (home && home->second.st_dev == expectedDevice) {
        UniqueFd dataFd(::open(options_.xdgDataHome.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!dataFd && errno == ENOENT) {
            if (!makeFolders(standardizePath(options_.xdgDataHome))) {
                return Failure{systemError(errno)};
            }
            dataFd =
                UniqueFd(::open(options_.xdgDataHome.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        }
        if (!dataFd) return Failure{systemError(errno)};
        trash = openTrashFolder(dataFd.get(), "Trash", homeTrashPath(), options_.uid);
        if (!trash) return Failure{trash.error()};
        trash->dataFd = std::move(dataFd);
        const int fds[] = {trash->dataFd.get(), trash->trashFd.get(), trash->filesFd.get(),
                           trash->infoFd.get()};
        for (size_t i = 0; i < trash->ids.size(); ++i) {
            struct stat st {};
            if (::fstat(fds[i], &st) != 0) return Failure{systemError(errno)};
            trash->ids[i] = {st.st_dev, st.st_ino};
        }
        auto shared = std::make_shared<const OpenTrash>(std::move(*trash));
        std::lock_guard lock(homeCache_->mutex);
        homeCache_->trash = shared;
        return shared;
    } else {
        const auto topdir = topdirOf(standardizePath(parentPath), expectedDevice);
        if (!topdir) return Failure{crossDeviceError(EXDEV)};
        // $topdir is where the volume is mounted: reached like any configured path.
        UniqueFd topFd(::open(topdir->c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        struct stat st {};
        if (!topFd || ::fstat(topFd.get(), &st) != 0 || st.st_dev != expectedDevice) {
            return Failure{crossDeviceError(EXDEV)};
        }
        // $topdir/.Trash/$uid, only below a real, sticky .Trash (the administrator's promise
        // that users cannot remove each other's folders); else $topdir/.Trash-$uid.
        UniqueFd shared(
            ::openat(topFd.get(), ".Trash", O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (shared && ::fstat(shared.get(), &st) == 0 && S_ISDIR(st.st_mode) &&
            (st.st_mode & S_ISVTX) != 0) {
            trash =
                openTrashFolder(shared.get(), uidText,
                                appendingPathComponent(*topdir, ".Trash/" + uidText), options_.uid);
        }
        if (!trash) {
            trash =
                openTrashFolder(topFd.get(), ".Trash-" + uidText,
                                appendingPathComponent(*topdir, ".Trash-" + uidText), options_.uid);
        }
        if (!trash) return Failure{crossDeviceError(trash.error().errorNumber)};
        trash->topdir = *topdir;
    }
    return std::make_shared<const OpenTrash>(std::move(*trash));
}

Result<TrashedItem, TrashError> Trash::moveInto(const OpenTrash& trashFolder, int parentFd,
                                                const std::string& originalPath,
                                                const std::string& name, dev_t expectedDevice,
                                                ino_t expectedInode, Date deletionDate) const {
    const OpenTrash* trash = &trashFolder;
    std::string infoPathText;
    if (trash->topdir.empty()) {
        infoPathText = encodedTrashInfoPath(originalPath, false);
    } else {
        const size_t prefix = trash->topdir == "/" ? 1 : trash->topdir.size() + 1;
        infoPathText = encodedTrashInfoPath(originalPath.substr(prefix), true);
    }
    const auto dateText = deletionDateText(deletionDate);
    if (!dateText) return Failure{systemError(EINVAL)};
    const std::string info =
        "[Trash Info]\nPath=" + infoPathText + "\nDeletionDate=" + *dateText + "\n";

    const int filesFd = trash->filesFd.get();
    const int infoFd = trash->infoFd.get();
    unsigned long long randomState =
        static_cast<unsigned long long>(expectedInode) ^
        static_cast<unsigned long long>(std::hash<std::string>{}(originalPath));
    for (unsigned attempt = 1; attempt <= kNameAttempts; ++attempt) {
        const unsigned long long number =
            attempt <= kSequentialNames ? attempt : 10 + nextRandom(randomState) % 1000000000ULL;
        const std::string trashName = trashNameCandidate(name, number);
        const std::string infoName = trashName + ".trashinfo";

        // The .trashinfo comes first and claims the name (O_EXCL), so that two trashers never
        // pick the same one. It is not fsync'ed: a crash can only lose an entry whose item was
        // moved (never lost: rename keeps the data where it is), and the desktop's trash tools
        // treat an item in files/ without its .trashinfo as recoverable. An fsync per item
        // would dominate the cost of moving a thousand items.
        UniqueFd infoFile(::openat(infoFd, infoName.c_str(),
                                   O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!infoFile) {
            if (errno == EEXIST) continue;
            return Failure{systemError(errno)};
        }
        const bool written = writeAll(infoFile.get(), info);
        int err = errno;
        const bool closed = ::close(infoFile.release()) == 0;
        if (written && !closed) err = errno;
        if (!written || !closed) {
            ::unlinkat(infoFd, infoName.c_str(), 0);
            return Failure{systemError(err)};
        }

        err = renameNoReplace(parentFd, name.c_str(), filesFd, trashName.c_str());
        if (err != 0) {
            ::unlinkat(infoFd, infoName.c_str(), 0);
            if (err == EEXIST) continue;  // an item without its .trashinfo holds the name
            if (err == EXDEV) return Failure{crossDeviceError(EXDEV)};
            return Failure{systemError(err)};
        }

        const std::string filesFolder = appendingPathComponent(trash->path, "files");
        const std::string trashedPath = appendingPathComponent(filesFolder, trashName);
        struct stat moved {};
        const bool present =
            ::fstatat(filesFd, trashName.c_str(), &moved, AT_SYMLINK_NOFOLLOW) == 0;
        if (!present || moved.st_dev != expectedDevice || moved.st_ino != expectedInode) {
            if (!present) {
                ::unlinkat(infoFd, infoName.c_str(), 0);
                return Failure{TrashError{TrashError::Kind::changedDuringMove, ENOENT,
                                          "The item changed while it was being moved to the "
                                          "Trash; nothing stays in the Trash."}};
            }
            const int backErr = renameNoReplace(filesFd, trashName.c_str(), parentFd, name.c_str());
            if (backErr == 0) {
                ::unlinkat(infoFd, infoName.c_str(), 0);
                return Failure{TrashError{TrashError::Kind::changedDuringMove, 0,
                                          "The item changed while it was being moved to the "
                                          "Trash; what was moved has been put back."}};
            }
            // Keep the .trashinfo: with it the desktop's Trash lists the object and can restore
            // it, where removing it would leave an anonymous file in the Trash.
            return Failure{TrashError{
                TrashError::Kind::changedDuringMove, backErr,
                "The item changed while it was being moved to the Trash, and what was moved "
                "could not be put back; it stays in the Trash as " +
                    trashedPath + ", where the desktop's Trash can restore it."}};
        }
        return TrashedItem{trashedPath, filesFolder,
                           appendingPathComponent(trash->path, "info/" + infoName), trashName,
                           trash->filesFd};
    }
    return Failure{systemError(EEXIST)};
}

std::vector<std::string> Trash::restoreRootsFor(const std::string& originalPath) const {
    std::vector<std::string> roots;
    const uid_t uid = options_.uid;
    // Read-only checks by path: nothing is opened for writing or created here, and the restore
    // re-opens the folder it takes from.
    auto ownedFolder = [uid](const std::string& path) {
        struct stat st {};
        return ::lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_uid == uid;
    };
    auto addTrash = [&](const std::string& trashPath) {
        const std::string files = appendingPathComponent(trashPath, "files");
        if (!ownedFolder(trashPath) || !ownedFolder(files)) return;
        for (const auto& r : roots) {
            if (r == files) return;
        }
        roots.push_back(files);
    };

    const std::string uidText = std::to_string(uid);
    const auto parent = nearestExisting(deletingLastPathComponent(standardizePath(originalPath)));
    const bool homeIsAbsolute =
        !options_.xdgDataHome.empty() && options_.xdgDataHome.front() == '/';
    const auto home = homeIsAbsolute ? nearestExisting(options_.xdgDataHome) : std::nullopt;
    if (parent && (!home || home->second.st_dev != parent->second.st_dev)) {
        if (const auto topdir = topdirOf(parent->first, parent->second.st_dev)) {
            const std::string shared = appendingPathComponent(*topdir, ".Trash");
            struct stat st {};
            if (::lstat(shared.c_str(), &st) == 0 && S_ISDIR(st.st_mode) &&
                (st.st_mode & S_ISVTX) != 0) {
                addTrash(appendingPathComponent(shared, uidText));
            }
            addTrash(appendingPathComponent(*topdir, ".Trash-" + uidText));
        }
    }
    if (homeIsAbsolute) addTrash(homeTrashPath());
    return roots;
}

Result<bool, TrashError> Trash::putBack(int filesFd, const std::string& filesFolder,
                                        const std::string& trashName, int targetParentFd,
                                        const std::string& name) const {
    if (!isSingleComponent(trashName) || !isSingleComponent(name)) {
        return Failure{systemError(EINVAL)};
    }
    const int err = renameNoReplace(filesFd, trashName.c_str(), targetParentFd, name.c_str());
    if (err == EXDEV) {
        return Failure{TrashError{TrashError::Kind::crossDevice, EXDEV,
                                  "Could not put the item back: its original folder is on another "
                                  "file system than the Trash holding it, and Velmora never "
                                  "copies items between file systems."}};
    }
    if (err != 0) return Failure{systemError(err)};

    // The item is back; what follows only tidies the Trash list, so a failure is a value of
    // false, not an error.
    const std::string trashPath = deletingLastPathComponent(standardizePath(filesFolder));
    UniqueFd trashFd(::open(trashPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!trashFd) return false;
    struct stat files {};
    struct stat given {};
    if (::fstatat(trashFd.get(), "files", &files, AT_SYMLINK_NOFOLLOW) != 0 ||
        ::fstat(filesFd, &given) != 0 || files.st_dev != given.st_dev ||
        files.st_ino != given.st_ino) {
        return false;
    }
    UniqueFd infoFd(::openat(trashFd.get(), "info", O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!infoFd) return false;
    const std::string infoName = trashName + ".trashinfo";
    return ::unlinkat(infoFd.get(), infoName.c_str(), 0) == 0 || errno == ENOENT;
}

}  // namespace velmora
