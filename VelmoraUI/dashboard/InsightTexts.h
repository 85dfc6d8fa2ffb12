#pragma once
// Sentences for the insight results, in place of the records' raw values, which are for JSON
// and never shown to people. Pure, thread-safe.
#include <string>

#include "CleanerCore/insights/InsightModel.h"
#include "CleanerCore/insights/SystemResourceSnapshot.h"

namespace velmora {

/// Why the recommended copy is the one to keep, as a clause that completes "Keep this copy
/// because …": "it is in a folder better suited to keeping files than another copy".
std::string keeperReasonText(DuplicateKeeperRecommendationReason reason);

/// "normal", "moderate", "high", "unknown".
std::string memoryPressureText(MemoryPressure pressure);
/// "normal", "elevated", "high", "critical", "unknown".
std::string thermalStateText(ThermalState state);

/// A span of time rounded down to its largest whole unit: "less than a day", "1 day",
/// "3 weeks", "5 months", "2 years". Negative spans count as zero.
std::string durationText(double seconds);

}  // namespace velmora
