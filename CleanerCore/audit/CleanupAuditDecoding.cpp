#include "CleanerCore/audit/CleanupAuditDecoding.h"

#include "CleanerCore/audit/CleanupAuditJson.h"

namespace velmora {

using nlohmann::json;

bool discardJSONValue(const json& value, int64_t depth, DiscardedJSONBudget& budget) {
    if (depth > budget.maximumDepth || budget.remainingValues <= 0) return false;
    --budget.remainingValues;
    if (value.is_array() || value.is_object()) {
        for (const auto& child : value) {
            if (!discardJSONValue(child, depth + 1, budget)) return false;
        }
    }
    return true;
}

int64_t jsonNestingDepth(std::string_view text, int64_t stopAbove) {
    int64_t depth = 0;
    int64_t deepest = 0;
    bool inString = false;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\') {
                ++i;  // the escaped character, whatever it is
            } else if (c == '"') {
                inString = false;
            }
            continue;
        }
        switch (c) {
            case '"':
                inString = true;
                break;
            case '[':
            case '{':
                if (++depth > deepest) {
                    deepest = depth;
                    if (deepest > stopAbove) return stopAbove + 1;
                }
                break;
            case ']':
            case '}':
                if (depth > 0) --depth;
                break;
            default:
                break;
        }
    }
    return deepest;
}

namespace {

std::optional<CleanupAuditEntry> decodeEntry(const json& element) {
    if (!element.is_object()) return std::nullopt;  // spares an exception per hostile scalar
    try {
        return element.get<CleanupAuditEntry>();
    } catch (const json::exception&) {
        return std::nullopt;
    }
}

}  // namespace

Result<DecodedCleanupAuditHistory> decodeCleanupAuditHistory(std::string_view text) {
    if (jsonNestingDepth(text, kMaximumHistoryNesting) > kMaximumHistoryNesting) {
        return fail(std::string(kUnsupportedJSONValue));
    }
    const json root = json::parse(text.begin(), text.end(), nullptr, /*allow_exceptions=*/false);
    if (root.is_discarded()) return fail("The history is not valid JSON");
    if (!root.is_array()) return fail("The history is not a JSON array");

    DecodedCleanupAuditHistory out;
    out.entries.reserve(root.size());
    DiscardedJSONBudget budget;  // fresh for every decode; charged only by failing elements
    for (const json& element : root) {
        if (auto entry = decodeEntry(element)) {
            out.entries.push_back(std::move(*entry));
            continue;
        }
        out.wasStrict = false;
        if (!discardJSONValue(element, 1, budget)) return fail(std::string(kUnsupportedJSONValue));
    }
    return out;
}

}  // namespace velmora
