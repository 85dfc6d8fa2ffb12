#pragma once
// Reading a saved scan report (the JSON that `velmora scan --json` writes) to clean from it.
//
// The file is opened once, without blocking, and must be a regular file of at most 64 MiB: a
// folder, a device, a FIFO or a file too large to be a report is refused with a sentence instead
// of being read. A link the person names is followed (they chose it). The decoded report must
// have plausible sizes: none negative, none above 1 EiB, a countable sum. Every refusal is a
// sentence naming the report (lower case, to follow "velmora: "), and nothing
// is cleaned. Thread-safe.
#include <cstdint>
#include <string>

#include "CleanerCore/base/Result.h"
#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

inline constexpr int64_t kMaximumScanReportBytes = int64_t{64} << 20;

Result<ScanReport> readScanReportFile(const std::string& path);

}  // namespace velmora
