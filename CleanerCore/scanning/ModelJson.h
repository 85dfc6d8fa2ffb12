#pragma once
// JSON coding of the scan model: keys are the field names, enumerations their raw strings,
// absent optionals omitted, dates as seconds since 2001-01-01 (shortest round-trip text, so a
// date reads back bit-identical), URLs as absolute file-URL text.
//
// JSON text must be UTF-8 while Linux names are bytes. URLs are percent-encoded and therefore
// lossless; texts derived from a path (a candidate's `id` and `displayName`) are written with
// invalid sequences replaced by U+FFFD and are rebuilt from the URL on decoding when they match
// that rendering, so a report reads back equal field for field even for such names. The same
// holds for a candidate's volume name (a mount point above it), its container identifiers (a
// component of its path) and a skipped item's reason that ends in the item's path.
//
// Decoding throws nlohmann::json::exception on a wrong shape; `decodeScanReport` turns that into
// an error value with a readable message.
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "CleanerCore/base/JsonEnum.h"
#include "CleanerCore/base/Result.h"
#include "CleanerCore/base/UTF8.h"
#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

void to_json(nlohmann::json&, const FileURL&);
void from_json(const nlohmann::json&, FileURL&);
void to_json(nlohmann::json&, const AppCacheContext&);
void from_json(const nlohmann::json&, AppCacheContext&);
void to_json(nlohmann::json&, const ScanLocation&);
void from_json(const nlohmann::json&, ScanLocation&);
void to_json(nlohmann::json&, const FileResourceIdentity&);
void from_json(const nlohmann::json&, FileResourceIdentity&);
void to_json(nlohmann::json&, const CleanupCandidate&);
void from_json(const nlohmann::json&, CleanupCandidate&);
void to_json(nlohmann::json&, const SkippedItem&);
void from_json(const nlohmann::json&, SkippedItem&);
void to_json(nlohmann::json&, const ScanReport&);
void from_json(const nlohmann::json&, ScanReport&);
void to_json(nlohmann::json&, const StorageScanProgress&);
void from_json(const nlohmann::json&, StorageScanProgress&);

/// A date: a JSON number (seconds since 2001-01-01). Throws json::type_error otherwise.
double decodeDate(const nlohmann::json& value);

/// Serializes any JSON value as UTF-8 text (invalid sequences replaced), pretty when asked.
std::string dumpJSON(const nlohmann::json& value, bool pretty);
std::string dumpJSON(const nlohmann::ordered_json& value, bool pretty);

/// Parses a report written by `velmora scan --json`; the error says what is wrong.
Result<ScanReport> decodeScanReport(std::string_view text);

}  // namespace velmora
