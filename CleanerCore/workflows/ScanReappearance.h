#pragma once
// After a cleanup scan: how much of what the newest cleanup removed is back. Computed here once
// for every front end, from the history of the scan's own environment.
//
// A scan that was cancelled saw only part of the locations, so its candidates would understate
// what came back: it yields no observation. The observation is made on the scan's full list of
// candidates, before any are hidden from view (ignored material that came back is back all the
// same). Reads the history file (a complete store cycle); call off the interface thread.
#include <optional>

#include "CleanerCore/review/CleanupReappearance.h"
#include "CleanerCore/scanning/CleanupModel.h"
#include "CleanerCore/workflows/ScanSetup.h"

namespace velmora {

std::optional<CleanupReappearanceObservation> observeReappearance(const ScanSetup& setup,
                                                                  const ScanReport& report);

}  // namespace velmora
