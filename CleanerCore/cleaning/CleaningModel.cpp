#include "CleanerCore/cleaning/CleaningModel.h"

namespace velmora {

std::string_view rawValue(CleaningMode m) {
    return m == CleaningMode::moveToTrash ? "moveToTrash" : "deletePermanently";
}

std::optional<CleaningMode> cleaningModeFromRaw(std::string_view s) {
    if (s == "moveToTrash") return CleaningMode::moveToTrash;
    if (s == "deletePermanently") return CleaningMode::deletePermanently;
    return std::nullopt;
}

}  // namespace velmora
