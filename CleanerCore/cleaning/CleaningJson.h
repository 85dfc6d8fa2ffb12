#pragma once
// JSON coding of the cleaning records, with the conventions of ModelJson.h (keys are the field
// names, absent optionals omitted, URLs as absolute file-URL text). Decoding throws
// nlohmann::json::exception on a wrong shape.
#include <nlohmann/json.hpp>

#include "CleanerCore/cleaning/CleaningModel.h"
#include "CleanerCore/scanning/ModelJson.h"

namespace velmora {

void to_json(nlohmann::json&, const CleaningMode&);
void from_json(const nlohmann::json&, CleaningMode&);
void to_json(nlohmann::json&, const CleanedItem&);
void from_json(const nlohmann::json&, CleanedItem&);
void to_json(nlohmann::json&, const FailedCleanItem&);
void from_json(const nlohmann::json&, FailedCleanItem&);
void to_json(nlohmann::json&, const CleanResult&);
void from_json(const nlohmann::json&, CleanResult&);
void to_json(nlohmann::json&, const RestoredCleanedItem&);
void from_json(const nlohmann::json&, RestoredCleanedItem&);
void to_json(nlohmann::json&, const FailedRestoreItem&);
void from_json(const nlohmann::json&, FailedRestoreItem&);
void to_json(nlohmann::json&, const RestoreResult&);
void from_json(const nlohmann::json&, RestoreResult&);

}  // namespace velmora
