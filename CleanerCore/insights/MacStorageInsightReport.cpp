#include "CleanerCore/insights/MacStorageInsightReport.h"

namespace velmora {

MacStorageInsightReport MacStorageInsightReport::placeholder() {
    return MacStorageInsightReport{};
}

}  // namespace velmora
