#include "CleanerCore/safety/CleaningError.h"

namespace velmora {

std::string CleaningError::description() const {
    using K = Kind;
    std::string_view prefix;
    switch (kind) {
        case K::pathNotAllowed:
            prefix = "Path is outside the active scan scope: ";
            break;
        case K::criticalPath:
            prefix = "Refusing to clean critical path: ";
            break;
        case K::protectedUserData:
            prefix = "Refusing to clean protected user data path: ";
            break;
        case K::symbolicLink:
            prefix = "Refusing to clean symbolic link: ";
            break;
        case K::unreadableAttributes:
            prefix = "Could not verify file attributes safely: ";
            break;
        case K::cleanupCandidateChanged:
            prefix = "Refusing to clean because the item changed since it was scanned: ";
            break;
        case K::cleanupCandidateRecentlyModified:
            prefix = "Refusing to clean because the item changed since the scan result: ";
            break;
        case K::cleanupValidationItemLimitExceeded:
            prefix = "Refusing to clean because validation exceeded the scanned item limit: ";
            break;
        case K::cleanupPostOperationVerificationFailed:
            prefix = "Could not verify cleanup operation after it completed: ";
            break;
        case K::restoreDestinationMissing:
            prefix = "Could not restore because the trashed item is missing: ";
            break;
        case K::restoreDestinationExists:
            prefix = "Could not restore because an item already exists at: ";
            break;
        case K::missingRestoreSourceIdentity:
            prefix = "Could not restore because the trashed item identity is unavailable: ";
            break;
        case K::restoreSourceChanged:
            prefix = "Could not restore because the trashed item changed: ";
            break;
        case K::moveToTrashUnavailable:
            return "Move to Trash is only available on macOS";
    }
    std::string out(prefix);
    out += path;
    return out;
}

}  // namespace velmora
