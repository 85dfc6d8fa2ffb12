#pragma once
// JSON coding of the history records, with the conventions of ModelJson.h: keys are the field
// names, enumerations their raw strings, absent optionals omitted, dates seconds since 2001 in
// shortest round-trip form (bit-identical on reading back), URLs absolute file-URL text.
//
// Decoding is strict: every non-optional key must be present with its type (counts must be JSON
// integers, `id` a UUID, which is kept in upper case); unknown keys are ignored. A wrong shape
// throws nlohmann::json::exception.
//
// Texts in an entry that come from non-UTF-8 paths are written with U+FFFD for invalid bytes.
// On decoding, a sample path or failure reason that matches the rendering of a path carried
// losslessly by one of the entry's URLs (candidate or Trash location of a cleaned item) gets its
// exact bytes back; restore entries keep no items, so their lossy samples stay as written.
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/audit/CleanupAuditModel.h"

namespace velmora {

void to_json(nlohmann::json&, const CleanupAuditOperation&);
void from_json(const nlohmann::json&, CleanupAuditOperation&);
void to_json(nlohmann::json&, const CleanupAuditSource&);
void from_json(const nlohmann::json&, CleanupAuditSource&);
void to_json(nlohmann::json&, const CleanupAuditChainLink&);
void from_json(const nlohmann::json&, CleanupAuditChainLink&);
void to_json(nlohmann::json&, const CleanupAuditEntry&);
void from_json(const nlohmann::json&, CleanupAuditEntry&);

/// The history file text: a JSON array of the entries in the given order, pretty-printed with
/// keys sorted, valid UTF-8, no trailing line feed. nullopt when an entry cannot be represented
/// (its `id` is not a UUID, or one of its dates is not finite); nothing is written then.
std::optional<std::string> encodeCleanupAuditHistory(const std::vector<CleanupAuditEntry>& entries);

// The same text in pieces, so that the size of a file holding any prefix of a list is known
// without encoding it again: `joinCleanupAuditHistoryElements` of the elements of a list equals
// `encodeCleanupAuditHistory` of that list.

/// One entry as it appears inside the pretty-printed array (indented one level, without the
/// separator); nullopt when it cannot be represented.
std::optional<std::string> encodeCleanupAuditHistoryElement(const CleanupAuditEntry& entry);
/// True when the JSON text of `items` alone is longer than `bytes`, so that no entry holding
/// them can be encoded within `bytes`. Each item is printed as the history prints it, without
/// the indentation of its depth in the entry (so the sum is a lower bound, and close to the
/// size in the file: a list that cannot fit is dropped before the entry is encoded whole), and
/// the count stops as soon as it passes `bytes`: the work is bounded by `bytes`, not by the
/// length of the list.
bool cleanedItemsExceed(const std::vector<CleanedItem>& items, size_t bytes);
/// What one item adds to the sum cleanedItemsExceed compares, for a caller that counts a list
/// as it grows.
size_t cleanedItemHistoryTextSize(const CleanedItem& item);
/// "[\n" + the elements joined by ",\n" + "\n]", or "[]" for none.
std::string joinCleanupAuditHistoryElements(const std::vector<std::string>& elements);
/// The size of `joinCleanupAuditHistoryElements(elements)`, without joining.
size_t joinedCleanupAuditHistorySize(const std::vector<std::string>& elements);

}  // namespace velmora
