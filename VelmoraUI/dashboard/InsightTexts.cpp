#include "VelmoraUI/dashboard/InsightTexts.h"

#include "VelmoraUI/dashboard/Formatting.h"

namespace velmora {

std::string keeperReasonText(DuplicateKeeperRecommendationReason reason) {
    switch (reason) {
        case DuplicateKeeperRecommendationReason::preferredLocation:
            return "it is in a folder better suited to keeping files than another copy";
        case DuplicateKeeperRecommendationReason::olderModificationDate:
            return "it was last changed before another copy in a similar folder, so it is "
                   "likely the original";
        case DuplicateKeeperRecommendationReason::deterministicPathTieBreak:
            return "another copy is in a similar folder with the same date, and this path sorts "
                   "first";
    }
    return {};
}

std::string memoryPressureText(MemoryPressure pressure) {
    switch (pressure) {
        case MemoryPressure::normal:
            return "normal";
        case MemoryPressure::moderate:
            return "moderate";
        case MemoryPressure::high:
            return "high";
        case MemoryPressure::unknown:
            break;
    }
    return "unknown";
}

std::string thermalStateText(ThermalState state) {
    switch (state) {
        case ThermalState::nominal:
            return "normal";
        case ThermalState::fair:
            return "elevated";
        case ThermalState::serious:
            return "high";
        case ThermalState::critical:
            return "critical";
        case ThermalState::unknown:
            break;
    }
    return "unknown";
}

std::string durationText(double seconds) {
    constexpr double kDay = 86'400;
    const auto days = static_cast<int64_t>(seconds > 0 ? seconds / kDay : 0);
    if (days < 1) return "less than a day";
    if (days < 14) return countText(days, "day", "days");
    if (days < 61) return countText(days / 7, "week", "weeks");
    if (days < 730) return countText(days * 12 / 365, "month", "months");
    return countText(days / 365, "year", "years");
}

}  // namespace velmora
