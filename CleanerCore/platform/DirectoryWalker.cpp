#include "CleanerCore/platform/DirectoryWalker.h"

#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "CleanerCore/platform/FileSystem.h"

namespace velmora {

UniqueFd openDescribedFolder(int parentFd, const char* name, const struct stat& described) {
    UniqueFd fd = openDirectoryAt(parentFd, name);
    if (!fd) return fd;
    struct stat st {};
    if (::fstat(fd.get(), &st) != 0) return UniqueFd();
    if (st.st_dev != described.st_dev || st.st_ino != described.st_ino) {
        errno = ESTALE;
        return UniqueFd();
    }
    return fd;
}

bool WalkEntry::isOnOtherMount() const {
    const auto& place = walker_->options_->mountPlace;
    return place && place->isOtherMount(NodeStat{st_, mountId_});
}

std::string_view WalkEntry::parentPath() const {
    return std::string_view(walker_->path_).substr(0, walker_->folderLength_);
}

const std::string& WalkEntry::path() {
    return walker_->entryPath(*this);
}

int WalkEntry::openFolder() {
    if (!folder_ && openError_ == 0) {
        folder_ = openDescribedFolder(parentFd_, name_, st_);
        if (!folder_) {
            openError_ = errno == 0 ? EIO : errno;
            openFailure_ = errno == ESTALE ? WalkFailure::changed : WalkFailure::open;
        }
    }
    return folder_ ? folder_.get() : -1;
}

const std::string& DirectoryWalker::entryPath(WalkEntry& entry) {
    if (!entry.pathBuilt_) {
        path_.resize(folderLength_);
        if (folderLength_ == 0 || path_.back() != '/') path_ += '/';
        path_ += entry.name_;
        entry.pathBuilt_ = true;
    }
    return path_;
}

WalkEnd DirectoryWalker::walk(int folderFd, std::string_view folderPath, DirectoryVisitor& visitor,
                              const WalkOptions& options, uint32_t initialFlags) {
    visitor_ = &visitor;
    options_ = &options;
    path_.assign(folderPath);
    folderLength_ = path_.size();
    if (levels_.empty()) levels_.reserve(64);
    switch (walkFolder(folderFd, 0, initialFlags)) {
        case Step::next:
            return WalkEnd::finished;
        case Step::stop:
            return WalkEnd::stopped;
        case Step::cancel:
            break;
    }
    return WalkEnd::cancelled;
}

DirectoryWalker::Step DirectoryWalker::walkFolder(int fd, int depth, uint32_t flags) {
    if (depth >= static_cast<int>(levels_.size())) levels_.resize(depth + 1);
    // The listing is read whole first: the visitor and deeper levels reuse the read buffer.
    std::string& names = levels_[depth];
    names.clear();
    const bool listed = forEachDirectoryEntry(fd, [&](const char* name, unsigned char type) {
        names.push_back(static_cast<char>(type));
        names.append(name);
        names.push_back('\0');
    });
    if (!listed) {
        path_.resize(folderLength_);
        return answer(visitor_->failed(path_, WalkFailure::list, errno));
    }
    // levels_ may grow (and its strings move) while deeper folders are walked: keep offsets.
    for (size_t offset = 0; offset < levels_[depth].size();) {
        if (visitor_->isCancelled()) return Step::cancel;
        const std::string& level = levels_[depth];
        const auto type = static_cast<unsigned char>(level[offset]);
        const char* name = level.c_str() + offset + 1;
        offset += std::strlen(name) + 2;
        if (Step step = handle(fd, name, type, depth, flags); step != Step::next) return step;
    }
    return Step::next;
}

DirectoryWalker::Step DirectoryWalker::handle(int fd, const char* name, unsigned char type,
                                              int depth, uint32_t flags) {
    WalkEntry entry;
    entry.walker_ = this;
    entry.parentFd_ = fd;
    entry.name_ = name;
    entry.listedType_ = type;
    entry.depth_ = depth;
    entry.inherited_ = flags;
    entry.childFlags_ = flags;
    // `name` points into this level's listing. It stays valid until the entry's folder is
    // entered (deeper levels may then move the listings), which is the last use of it.
    const size_t folderLength = folderLength_;
    struct RestorePath {
        DirectoryWalker& w;
        size_t length;
        ~RestorePath() {
            w.folderLength_ = length;
            w.path_.resize(length);
        }
    } restore{*this, folderLength};

    const WalkAction first = visitor_->listed(entry);
    if (first != WalkAction::proceed) return answer(first);
    if (!describe(entry)) {
        return answer(visitor_->failed(entryPath(entry), WalkFailure::describe, errno));
    }
    const WalkAction action = visitor_->visit(entry);
    if (action != WalkAction::proceed || !S_ISDIR(entry.st_.st_mode)) return answer(action);
    if (depth + 1 >= options_->maximumDepth) {
        return answer(visitor_->failed(entryPath(entry), WalkFailure::tooDeep, 0));
    }
    if (!enter(entry)) {
        const int error = entry.openError_;
        return answer(visitor_->failed(entryPath(entry), entry.openFailure_, error));
    }
    const UniqueFd child = std::move(entry.folder_);
    entryPath(entry);
    folderLength_ = path_.size();
    return walkFolder(child.get(), depth + 1, entry.childFlags_);
}

bool DirectoryWalker::describe(WalkEntry& entry) {
    const auto& place = options_->mountPlace;
    const bool readsMountIds = place && place->mountId;
    if (options_->opensFoldersFirst && entry.listedType_ == DT_DIR) {
        // Described through the descriptor, the folder is by construction the one opened.
        entry.folder_ = openDirectoryAt(entry.parentFd_, entry.name_);
        if (entry.folder_) {
            if (readsMountIds) {
                if (auto node = statWithMountOf(entry.folder_.get())) {
                    entry.st_ = node->st;
                    entry.mountId_ = node->mountId;
                    return true;
                }
            } else if (::fstat(entry.folder_.get(), &entry.st_) == 0) {
                return true;
            }
            entry.folder_.reset();
        }
        // Not a folder any more, or not openable: described by name like anything else.
    }
    if (readsMountIds) {
        auto node = statWithMountAt(entry.parentFd_, entry.name_);
        if (!node) return false;
        entry.st_ = node->st;
        entry.mountId_ = node->mountId;
        return true;
    }
    return ::fstatat(entry.parentFd_, entry.name_, &entry.st_, AT_SYMLINK_NOFOLLOW) == 0;
}

bool DirectoryWalker::enter(WalkEntry& entry) {
    if (entry.openFolder() < 0) return false;
    const auto& place = options_->mountPlace;
    // A bind mount keeps the device; when the description had no mount id, the descriptor tells.
    if (place && place->mountId && !entry.mountId_) {
        entry.mountId_ = mountIdOf(entry.folder_.get());
        if (entry.isOnOtherMount()) {
            entry.openFailure_ = WalkFailure::otherMount;
            entry.openError_ = 0;
            return false;
        }
    }
    return true;
}

}  // namespace velmora
