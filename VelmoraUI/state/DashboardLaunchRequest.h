#pragma once
// A request to the desktop application to open one of its sections on its next launch or
// activation, left in the preference file by whoever asked (a reminder, the command line).
// Two keys: the section's name and a fresh identifier per request, so that asking twice for the
// same section is still seen as two requests. The application consumes the request: it reads
// it and removes both keys, so a later launch opens where the person left off.
#include <QSettings>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

inline constexpr std::string_view kDashboardLaunchDestinationKey =
    "velmora.dashboardLaunch.destination";
inline constexpr std::string_view kDashboardLaunchRequestIDKey =
    "velmora.dashboardLaunch.requestID";

/// The section names the request carries.
inline constexpr std::string_view kDashboardReviewDestination = "review";

struct DashboardLaunchRequest {
    std::string destination;
    std::string requestID;
    friend bool operator==(const DashboardLaunchRequest&, const DashboardLaunchRequest&) = default;
};

/// Asks for `destination` with a fresh random identifier; the request, or none when the file
/// could not be written (then nothing was asked: a half-written request is removed).
std::optional<DashboardLaunchRequest> requestDashboardLaunch(QSettings& settings,
                                                             std::string_view destination);

/// The pending request, if both keys hold non-empty text.
std::optional<DashboardLaunchRequest> pendingDashboardLaunch(const QSettings& settings);

/// The pending request, removed from the file. A request is returned even when the removal
/// could not be written, so the application still honours it once in this run.
std::optional<DashboardLaunchRequest> consumeDashboardLaunch(QSettings& settings);

}  // namespace velmora
