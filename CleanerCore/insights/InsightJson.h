#pragma once
// JSON coding of the insight records, in the conventions of ModelJson.h: keys are the field
// names (an ordered_json document keeps them in the records' declared order, which is what the
// command prints; a json document sorts them), enumerations their raw strings, absent optionals
// omitted, dates as seconds since 2001-01-01 (reading back bit-identical), URLs as absolute
// file-URL text.
//
// Texts derived from a path are written with invalid UTF-8 replaced by U+FFFD; a finding's `id`,
// `displayName` and `parentPath` are rebuilt from its (lossless) URL on decoding when they match
// that rendering. A recommendation's `keeperID` and `keeperPath` carry no URL and stay as read.
//
// Decoding throws nlohmann::json::exception on a wrong shape (unknown enumeration values
// included). Thread-safe.
#include <nlohmann/json.hpp>

#include "CleanerCore/insights/InsightModel.h"

namespace velmora {

void to_json(nlohmann::json&, const StorageMapItem&);
void to_json(nlohmann::ordered_json&, const StorageMapItem&);
void from_json(const nlohmann::json&, StorageMapItem&);
void to_json(nlohmann::json&, const FileInsight&);
void to_json(nlohmann::ordered_json&, const FileInsight&);
void from_json(const nlohmann::json&, FileInsight&);
void to_json(nlohmann::json&, const DuplicateFileGroup&);
void to_json(nlohmann::ordered_json&, const DuplicateFileGroup&);
void from_json(const nlohmann::json&, DuplicateFileGroup&);
void to_json(nlohmann::json&, const DuplicateKeeperRecommendation&);
void to_json(nlohmann::ordered_json&, const DuplicateKeeperRecommendation&);
void from_json(const nlohmann::json&, DuplicateKeeperRecommendation&);

}  // namespace velmora
