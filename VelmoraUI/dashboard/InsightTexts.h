#pragma once
// Sentences for the insight results, in place of the records' raw values, which are for JSON
// and never shown to people. English is the default; every function also speaks the other
// languages, building each sentence from the report's numbers and enumerations (the core's
// English texts are looked up whole, never taken apart). Pure, thread-safe.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/insights/InsightModel.h"
#include "CleanerCore/insights/SystemResourceSnapshot.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora {

/// Why the recommended copy is the one to keep. In English a clause that completes "Keep this
/// copy because …": "it is in a folder better suited to keeping files than another copy"; in
/// the other languages a sentence of its own.
std::string keeperReasonText(DuplicateKeeperRecommendationReason reason,
                             AppLanguage language = AppLanguage::english);
/// Every reason of a recommendation as one text: "Keep this copy because A, B, and C." in
/// English, a lead-in followed by each reason's sentence elsewhere. Empty without reasons.
std::string keeperReasonsText(const std::vector<DuplicateKeeperRecommendationReason>& reasons,
                              AppLanguage language);

/// "normal", "moderate", "high", "unknown".
std::string memoryPressureText(MemoryPressure pressure,
                               AppLanguage language = AppLanguage::english);
/// "normal", "elevated", "high", "critical", "unknown".
std::string thermalStateText(ThermalState state, AppLanguage language = AppLanguage::english);

/// A span of time rounded down to its largest whole unit: "less than a day", "1 day",
/// "3 weeks", "5 months", "2 years". Negative spans count as zero.
std::string durationText(double seconds, AppLanguage language = AppLanguage::english);

/// The sections of the insight summary.
enum class InsightSection {
    storageMap,
    largestFiles,
    olderDownloads,
    duplicateGroups,
    securityReview,
    system,
    skipped
};
std::string insightSectionTitle(InsightSection section, AppLanguage language);

/// "3 files": the regular files counted under a folder of the storage map.
std::string fileCountText(int64_t count, AppLanguage language);
/// How old a download is: "3 days old", "less than a day old".
std::string downloadAgeText(double seconds, AppLanguage language);
/// The empty Older downloads section: "no downloads older than 4 weeks".
std::string noOlderDownloadsText(double minimumAgeSeconds, AppLanguage language);

/// A reason the insight scan skipped an item (`InsightSkipReason`, the duplicate check's
/// reasons); an unknown text is looked up as it is.
std::string insightSkipReasonText(std::string_view reason, AppLanguage language);
/// A security finding's detail ("Installer package", "Suspicious filename pattern", ...); an
/// unknown text is looked up as it is.
std::string securitySignalText(std::string_view detail, AppLanguage language);

/// The system panel's lines: "memory 3.20 GB used of 16.0 GB, pressure normal", "processor
/// load 37% of 4 processors, load average 1.52", "temperature normal", "system running for
/// 3 days".
std::string memoryLine(const SystemResourceSnapshot& snapshot, AppLanguage language);
std::string processorLine(const SystemResourceSnapshot& snapshot, AppLanguage language);
std::string temperatureLine(ThermalState state, AppLanguage language);
std::string uptimeLine(double seconds, AppLanguage language);

}  // namespace velmora
