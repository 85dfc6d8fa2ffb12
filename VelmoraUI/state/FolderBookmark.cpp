#include "VelmoraUI/state/FolderBookmark.h"

#include <cerrno>
#include <nlohmann/json.hpp>

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/platform/FileIdentity.h"
#include "CleanerCore/platform/FileSystem.h"

namespace velmora {

Result<QByteArray> makeFolderBookmark(const std::string& path) {
    const std::string standardized = standardizePath(path);
    const auto identity = captureIdentity(standardized);
    if (!identity || identity->isDirectory != true || !identity->systemNumber ||
        !identity->systemFileNumber) {
        return fail("There is no readable folder at " + standardized + ".");
    }
    nlohmann::ordered_json json = {{"path", standardized},
                                   {"device", *identity->systemNumber},
                                   {"inode", *identity->systemFileNumber}};
    // File systems hand a freed inode number to the next new file, so a folder deleted and
    // made again at the same path often has the same (device, inode); its birth time differs.
    if (identity->creationDate) json["created"] = *identity->creationDate;
    const std::string text = json.dump();
    return QByteArray(text.data(), static_cast<qsizetype>(text.size()));
}

Result<ResolvedFolderBookmark> resolveFolderBookmark(const QByteArray& bookmark) {
    const auto json = nlohmann::json::parse(bookmark.constData(),
                                            bookmark.constData() + bookmark.size(), nullptr, false);
    const auto path = json.is_object() ? json.find("path") : json.end();
    const auto device = json.is_object() ? json.find("device") : json.end();
    const auto inode = json.is_object() ? json.find("inode") : json.end();
    if (json.is_discarded() || !json.is_object() || path == json.end() || !path->is_string() ||
        device == json.end() || !device->is_number_unsigned() || inode == json.end() ||
        !inode->is_number_unsigned() || path->get<std::string>().empty() ||
        path->get<std::string>().front() != '/') {
        return fail(std::string("The saved bookmark of this folder is damaged."));
    }
    ResolvedFolderBookmark resolved{standardizePath(path->get<std::string>()), false};
    errno = 0;
    if (!lstatPath(resolved.path)) {
        if (errno == ENOENT || errno == ENOTDIR) {
            return fail("The folder no longer exists: " + resolved.path);
        }
        return fail("The folder cannot be read: " + resolved.path);
    }
    const auto identity = captureIdentity(resolved.path);
    if (!identity) return fail("The folder cannot be read: " + resolved.path);
    const auto created = json.find("created");
    const bool bornAgain =
        created != json.end() && (!created->is_number() || !identity->creationDate ||
                                  *identity->creationDate != created->get<double>());
    resolved.isStale = identity->isDirectory != true ||
                       identity->systemNumber != device->get<uint64_t>() ||
                       identity->systemFileNumber != inode->get<uint64_t>() || bornAgain;
    return resolved;
}

}  // namespace velmora
