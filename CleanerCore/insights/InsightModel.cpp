#include "CleanerCore/insights/InsightModel.h"

#include <limits>

namespace velmora {

std::string_view rawValue(FileInsightKind k) {
    switch (k) {
        case FileInsightKind::largeFile:
            return "largeFile";
        case FileInsightKind::download:
            return "download";
        case FileInsightKind::duplicate:
            return "duplicate";
        case FileInsightKind::securitySignal:
            return "securitySignal";
    }
    return "largeFile";
}

std::string_view rawValue(DuplicateKeeperRecommendationReason r) {
    switch (r) {
        case DuplicateKeeperRecommendationReason::preferredLocation:
            return "preferredLocation";
        case DuplicateKeeperRecommendationReason::olderModificationDate:
            return "olderModificationDate";
        case DuplicateKeeperRecommendationReason::deterministicPathTieBreak:
            return "deterministicPathTieBreak";
    }
    return "preferredLocation";
}

std::optional<FileInsightKind> fileInsightKindFromRaw(std::string_view raw) {
    for (auto k : {FileInsightKind::largeFile, FileInsightKind::download,
                   FileInsightKind::duplicate, FileInsightKind::securitySignal}) {
        if (rawValue(k) == raw) return k;
    }
    return std::nullopt;
}

std::optional<DuplicateKeeperRecommendationReason> keeperReasonFromRaw(std::string_view raw) {
    for (auto r : {DuplicateKeeperRecommendationReason::preferredLocation,
                   DuplicateKeeperRecommendationReason::olderModificationDate,
                   DuplicateKeeperRecommendationReason::deterministicPathTieBreak}) {
        if (rawValue(r) == raw) return r;
    }
    return std::nullopt;
}

std::string_view idPrefix(FileInsightKind k) {
    switch (k) {
        case FileInsightKind::largeFile:
            return "largeFile:";
        case FileInsightKind::download:
            return "download:";
        case FileInsightKind::duplicate:
            return "duplicate:";
        case FileInsightKind::securitySignal:
            return "securitySignal:";
    }
    return "largeFile:";
}

std::string fileInsightID(FileInsightKind kind, std::string_view standardizedPath) {
    std::string id(idPrefix(kind));
    id += standardizedPath;
    return id;
}

namespace {

// "~" / "~/rest" when `path` is `home` or lies below it.
std::optional<std::string> abbreviated(std::string_view path, std::string_view home) {
    if (home.empty()) return std::nullopt;
    if (path == home) return std::string("~");
    // The root as home: every absolute path lies below it.
    if (home == "/")
        return path.starts_with('/') ? std::optional(std::string("~") += path) : std::nullopt;
    if (path.size() > home.size() && path.starts_with(home) && path[home.size()] == '/') {
        return std::string("~") += path.substr(home.size());
    }
    return std::nullopt;
}

}  // namespace

std::string insightDisplayPath(std::string_view path, std::string_view home,
                               std::optional<std::string_view> platformHome) {
    if (auto a = abbreviated(path, home)) return *a;
    if (platformHome) {
        if (auto a = abbreviated(path, *platformHome)) return *a;
    }
    return std::string(path);
}

std::string duplicateSetDetail(size_t copies) {
    return "Duplicate set \xC2\xB7 " + std::to_string(copies) + " copies";
}

bool DuplicateFileGroup::hasHardLinkedMembers() const {
    return hardLinkedMemberCount() > 0;
}

int64_t DuplicateFileGroup::hardLinkedMemberCount() const {
    int64_t n = 0;
    for (const auto& f : files) {
        if (f.linkCount && *f.linkCount >= 2) ++n;
    }
    return n;
}

int64_t DuplicateFileGroup::estimatedReclaimableBytes() const {
    int64_t counted = 0;
    for (const auto& f : files) {
        if (!f.linkCount || *f.linkCount <= 1) ++counted;
    }
    if (counted <= 1 || sizeBytes <= 0) return 0;
    const int64_t copies = counted - 1;
    if (sizeBytes > std::numeric_limits<int64_t>::max() / copies) {
        return std::numeric_limits<int64_t>::max();
    }
    return sizeBytes * copies;
}

}  // namespace velmora
