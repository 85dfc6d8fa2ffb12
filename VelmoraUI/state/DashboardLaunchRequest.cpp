#include "VelmoraUI/state/DashboardLaunchRequest.h"

#include <QUuid>

#include "VelmoraUI/state/PreferenceFile.h"

namespace velmora {

std::optional<DashboardLaunchRequest> requestDashboardLaunch(QSettings& settings,
                                                             std::string_view destination) {
    DashboardLaunchRequest request{
        std::string(destination), QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString()};
    // The identifier goes last: a reader that sees a new identifier sees its destination too.
    if (storePreference(settings, kDashboardLaunchDestinationKey, qText(request.destination)) &&
        storePreference(settings, kDashboardLaunchRequestIDKey, qText(request.requestID))) {
        return request;
    }
    removePreference(settings, kDashboardLaunchRequestIDKey);
    removePreference(settings, kDashboardLaunchDestinationKey);
    return std::nullopt;
}

std::optional<DashboardLaunchRequest> pendingDashboardLaunch(const QSettings& settings) {
    DashboardLaunchRequest request{storedText(settings, kDashboardLaunchDestinationKey),
                                   storedText(settings, kDashboardLaunchRequestIDKey)};
    if (request.destination.empty() || request.requestID.empty()) return std::nullopt;
    return request;
}

std::optional<DashboardLaunchRequest> consumeDashboardLaunch(QSettings& settings) {
    auto request = pendingDashboardLaunch(settings);
    if (request) {
        removePreference(settings, kDashboardLaunchRequestIDKey);
        removePreference(settings, kDashboardLaunchDestinationKey);
    }
    return request;
}

}  // namespace velmora
