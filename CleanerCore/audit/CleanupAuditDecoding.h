#pragma once
// Reading the history text, strictly when possible and tolerantly when not.
//
// Strict: the text is a JSON array whose every element decodes as an entry (CleanupAuditJson.h).
// Tolerant: elements that decode are kept; each one that does not is walked and thrown away,
// charging a shared DiscardedJSONBudget one unit per JSON value visited (the element itself,
// every array element and object member below it, at any depth). Walking fails with
// kUnsupportedJSONValue once more than `remainingValues` values are discarded or a value lies
// deeper than `maximumDepth` (the discarded element itself is at depth 1), and then the tolerant
// decode fails as a whole: the budget bounds the work a damaged file can cause.
//
// Before anything is parsed, the bracket nesting of the text is measured with a linear scan; a
// text nesting deeper than kMaximumHistoryNesting levels is not parsed at all (no history this
// system writes nests deeper than 6; a deeper element could not be discarded within the budget
// either). This keeps hostile input such as 200,000 "[" from reaching any recursive code.
//
// Pure functions, thread-safe (a budget is owned by one decode). Errors are values; nothing
// throws for bad input.
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string_view>
#include <vector>

#include "CleanerCore/audit/CleanupAuditModel.h"
#include "CleanerCore/base/Result.h"

namespace velmora {

inline constexpr std::string_view kUnsupportedJSONValue = "Unsupported JSON value";

/// One level for the file's array plus the 64 levels a discarded element may use.
inline constexpr int64_t kMaximumHistoryNesting = 65;

struct DiscardedJSONBudget {
    int64_t remainingValues = 10000;
    int64_t maximumDepth = 64;
};

/// Walks `value` (at `depth`, 1 for an array element) and everything below it, charging
/// `budget`. False when the budget ran out or the nesting was too deep.
bool discardJSONValue(const nlohmann::json& value, int64_t depth, DiscardedJSONBudget& budget);

/// The deepest nesting of arrays and objects in `text` (brackets inside strings do not count),
/// or `stopAbove` + 1 as soon as it is exceeded. Linear, no recursion; well-formedness is not
/// checked.
int64_t jsonNestingDepth(std::string_view text, int64_t stopAbove);

struct DecodedCleanupAuditHistory {
    std::vector<CleanupAuditEntry> entries;  ///< in file order
    bool wasStrict = true;  ///< false when elements were discarded (the file needs a backup)
};

/// Decodes a history text. Fails (with kUnsupportedJSONValue or a parse message) when the text
/// is not JSON, not an array, nests too deeply, or the discard budget ran out.
Result<DecodedCleanupAuditHistory> decodeCleanupAuditHistory(std::string_view text);

}  // namespace velmora
