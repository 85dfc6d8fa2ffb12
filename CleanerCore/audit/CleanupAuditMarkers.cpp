#include "CleanerCore/audit/CleanupAuditMarkers.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cmath>
#include <nlohmann/json.hpp>

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/platform/AtomicFileWrite.h"
#include "CleanerCore/platform/UniqueFd.h"

namespace velmora {

namespace {

constexpr size_t kMaximumMarkerBytes = 4096;

enum class SmallRead { missing, data, unusable };

// The whole file when it is a regular file of at most kMaximumMarkerBytes. Never follows a
// link and never blocks on a FIFO or device planted at the path.
SmallRead readSmallRegularFile(const std::string& path, std::string& data) {
    UniqueFd fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!fd) return errno == ENOENT ? SmallRead::missing : SmallRead::unusable;
    struct stat st {};
    if (::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode) ||
        st.st_size > static_cast<off_t>(kMaximumMarkerBytes)) {
        return SmallRead::unusable;
    }
    data.assign(kMaximumMarkerBytes + 1, '\0');
    size_t got = 0;
    while (got < data.size()) {
        const ssize_t n = ::read(fd.get(), data.data() + got, data.size() - got);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return SmallRead::unusable;
        if (n == 0) break;
        got += static_cast<size_t>(n);
    }
    if (got > kMaximumMarkerBytes) return SmallRead::unusable;
    data.resize(got);
    return SmallRead::data;
}

std::string besideHistory(const std::string& historyPath, const char* name) {
    return appendingPathComponent(deletingLastPathComponent(historyPath), name);
}

std::optional<std::string> stringField(const nlohmann::json& j, const char* key) {
    if (!j.is_object() || !j.contains(key) || !j[key].is_string()) return std::nullopt;
    return j[key].get<std::string>();
}

bool writeMarkerFile(const std::string& path, const nlohmann::json& j, AtomicWriteSync sync) {
    (void)createFolders(deletingLastPathComponent(path), 0700);
    return !writeFileAtomically(path, j.dump(2) + "\n", sync);
}

}  // namespace

std::string cleanupAuditHeadPath(const std::string& historyPath) {
    return besideHistory(historyPath, "cleanup-audit-head.json");
}

std::optional<CleanupAuditHead> readCleanupAuditHead(const std::string& historyPath) {
    std::string text;
    if (readSmallRegularFile(cleanupAuditHeadPath(historyPath), text) != SmallRead::data)
        return std::nullopt;
    const auto j = nlohmann::json::parse(text, nullptr, false);
    auto id = stringField(j, "entryID");
    auto digest = stringField(j, "entryDigest");
    if (!id || !digest) return std::nullopt;
    return CleanupAuditHead{std::move(*id), std::move(*digest)};
}

bool writeCleanupAuditHead(const std::string& historyPath, const CleanupAuditHead& head) {
    // A replacement lost in a crash leaves the previous head, which names an entry that is still
    // in the history (the history itself was synced before): stale, never a false alarm.
    return writeMarkerFile(cleanupAuditHeadPath(historyPath),
                           {{"entryDigest", head.entryDigest}, {"entryID", head.entryID}},
                           AtomicWriteSync::contentOnly);
}

std::string unrecordedCleanupMarkerPath(const std::string& historyPath) {
    return besideHistory(historyPath, "cleanup-audit-unrecorded.json");
}

bool markCleanupUnrecorded(const std::string& historyPath, const UnrecordedCleanup& cleanup) {
    nlohmann::json j{{"entryID", cleanup.entryID}};
    if (std::isfinite(cleanup.startedAt)) j["startedAt"] = cleanup.startedAt;
    // The marker's name must survive a crash once anything is moved; its content need not: a
    // marker that cannot be read keeps `restore --last` from guessing just as well.
    return writeMarkerFile(unrecordedCleanupMarkerPath(historyPath), j,
                           AtomicWriteSync::folderOnly);
}

UnrecordedCleanupMarker readUnrecordedCleanupMarker(const std::string& historyPath) {
    std::string text;
    switch (readSmallRegularFile(unrecordedCleanupMarkerPath(historyPath), text)) {
        case SmallRead::missing:
            return {};
        case SmallRead::unusable:
            return {UnrecordedCleanupState::unreadable, std::nullopt};
        case SmallRead::data:
            break;
    }
    const auto j = nlohmann::json::parse(text, nullptr, false);
    auto id = stringField(j, "entryID");
    if (!id) return {UnrecordedCleanupState::unreadable, std::nullopt};
    UnrecordedCleanup cleanup{std::move(*id), 0};
    if (j.contains("startedAt") && j["startedAt"].is_number())
        cleanup.startedAt = j["startedAt"].get<double>();
    return {UnrecordedCleanupState::named, std::move(cleanup)};
}

bool clearUnrecordedCleanupMarker(const std::string& historyPath, const std::string& entryID) {
    const UnrecordedCleanupMarker marker = readUnrecordedCleanupMarker(historyPath);
    if (marker.state == UnrecordedCleanupState::none) return true;
    if (marker.state == UnrecordedCleanupState::named && marker.cleanup->entryID != entryID)
        return true;
    const std::string path = unrecordedCleanupMarkerPath(historyPath);
    return ::unlink(path.c_str()) == 0 || errno == ENOENT;
}

}  // namespace velmora
