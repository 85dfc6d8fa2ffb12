#include "CleanerCore/base/Date.h"

namespace velmora {

Date currentDate() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return dateFromTimespec(ts);
}

}  // namespace velmora
