#include "VelmoraUI/state/IgnoredCleanupItem.h"

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "CleanerCore/audit/CleanupAuditDecoding.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "VelmoraUI/localization/Localizer.h"

namespace velmora {

using nlohmann::json;
using nlohmann::ordered_json;

std::string_view rawValue(CleanupIgnoreDuration duration) {
    switch (duration) {
        case CleanupIgnoreDuration::oneDay:
            return "oneDay";
        case CleanupIgnoreDuration::oneWeek:
            return "oneWeek";
        case CleanupIgnoreDuration::untilShownAgain:
            return "untilShownAgain";
    }
    return "untilShownAgain";
}

std::optional<CleanupIgnoreDuration> ignoreDurationFromRaw(std::string_view raw) {
    for (CleanupIgnoreDuration d : kCleanupIgnoreDurations) {
        if (rawValue(d) == raw) return d;
    }
    return std::nullopt;
}

std::optional<double> ignoreInterval(CleanupIgnoreDuration duration) {
    switch (duration) {
        case CleanupIgnoreDuration::oneDay:
            return 86400.0;
        case CleanupIgnoreDuration::oneWeek:
            return 604800.0;
        case CleanupIgnoreDuration::untilShownAgain:
            return std::nullopt;
    }
    return std::nullopt;
}

IgnoredCleanupItem makeIgnoredCleanupItem(const CleanupCandidate& candidate,
                                          CleanupIgnoreDuration duration, Date now) {
    IgnoredCleanupItem item;
    item.id = ignoreMatchKey(candidate.id());
    item.displayName = validUTF8(candidate.displayName);
    item.path = validUTF8(standardizePath(candidate.url.path));
    item.category = candidate.category;
    item.sizeBytes = candidate.sizeBytes;
    item.ignoredAt = now;
    item.duration = duration;
    if (auto interval = ignoreInterval(duration)) item.expiresAt = now + *interval;
    return item;
}

std::string ignoreMatchKey(std::string_view candidateID) {
    return validUTF8(candidateID);
}

std::string IgnoreListDecodingError::description(AppLanguage language) const {
    const VelmoraCopy copy{language};
    const std::string n = std::to_string(index);
    const std::string quoted = "\"" + field + "\"";
    switch (kind) {
        case Kind::notJSON:
            return copy.text("The saved data is not valid JSON.",
                             "저장된 데이터가 올바른 JSON이 아닙니다.");
        case Kind::notList:
            return copy.text("The saved data is not a list of ignored items.",
                             "저장된 데이터가 무시한 항목의 목록이 아닙니다.");
        case Kind::notObject:
            // i18n-example: "Item 2 is not a record."
            return copy.text("Item " + n + " is not a record.",
                             "항목 " + n + "은(는) 레코드가 아닙니다.");
        case Kind::missingField:
            // i18n-example: "Item 1 has no field \"ignoredAt\"."
            return copy.text("Item " + n + " has no field " + quoted + ".",
                             "항목 " + n + "에 필드 " + quoted + "이(가) 없습니다.");
        case Kind::wrongType:
            // i18n-example: "Item 1 has a field \"sizeBytes\" of the wrong type."
            return copy.text("Item " + n + " has a field " + quoted + " of the wrong type.",
                             "항목 " + n + "의 필드 " + quoted + "의 형식이 잘못되었습니다.");
        case Kind::unknownValue:
            // i18n-example: "Item 1 has a field \"duration\" with the unknown value \"forever\"."
            return copy.text("Item " + n + " has a field " + quoted + " with the unknown value \"" +
                                 value + "\".",
                             "항목 " + n + "의 필드 " + quoted + "에 알 수 없는 값 \"" + value +
                                 "\"이(가) 있습니다.");
        case Kind::invalidDate:
            // i18n-example: "Item 1 has a field \"expiresAt\" that is not a valid date."
            return copy.text("Item " + n + " has a field " + quoted + " that is not a valid date.",
                             "항목 " + n + "의 필드 " + quoted + "이(가) 올바른 날짜가 아닙니다.");
    }
    return {};
}

namespace {

using DecodingError = IgnoreListDecodingError;
using Kind = IgnoreListDecodingError::Kind;

/// Decoding one item stops at the first fault; the fault travels as this exception inside this
/// file only and comes out as an error value.
struct ItemFault {
    DecodingError error;
};

class ItemReader {
  public:
    ItemReader(const json& object, size_t index) : object_(object), index_(index) {}

    const json& field(const char* key) const {
        auto it = object_.find(key);
        if (it == object_.end()) fault(Kind::missingField, key);
        return *it;
    }

    std::string text(const char* key) const {
        const json& v = field(key);
        if (!v.is_string()) fault(Kind::wrongType, key);
        return v.get<std::string>();
    }

    int64_t integer(const char* key) const {
        const json& v = field(key);
        if (v.is_number_integer() && !v.is_number_unsigned()) return v.get<int64_t>();
        if (v.is_number_unsigned() &&
            v.get<uint64_t>() <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
            return static_cast<int64_t>(v.get<uint64_t>());
        }
        fault(Kind::wrongType, key);
    }

    Date date(const json& v, const char* key) const {
        if (!v.is_number()) fault(Kind::wrongType, key);
        const double d = v.get<double>();
        if (!std::isfinite(d)) fault(Kind::invalidDate, key);
        return d;
    }
    Date date(const char* key) const { return date(field(key), key); }

    std::optional<Date> optionalDate(const char* key) const {
        auto it = object_.find(key);
        if (it == object_.end() || it->is_null()) return std::nullopt;
        return date(*it, key);
    }

    template <typename E, typename F>
    E enumeration(const char* key, F fromRaw) const {
        const std::string raw = text(key);
        auto decoded = fromRaw(raw);
        if (!decoded) fault(Kind::unknownValue, key, raw);
        return *decoded;
    }

    [[noreturn]] void fault(Kind kind, const char* key, std::string value = {}) const {
        throw ItemFault{DecodingError{kind, index_, key, std::move(value)}};
    }

  private:
    const json& object_;
    size_t index_;
};

IgnoredCleanupItem decodeItem(const json& element, size_t index) {
    if (!element.is_object()) throw ItemFault{DecodingError{Kind::notObject, index, {}, {}}};
    const ItemReader r(element, index);
    IgnoredCleanupItem item;
    item.id = r.text("id");
    item.displayName = r.text("displayName");
    item.path = r.text("path");
    item.category = r.enumeration<CleanupCategory>("category", categoryFromRaw);
    item.sizeBytes = r.integer("sizeBytes");
    item.ignoredAt = r.date("ignoredAt");
    item.duration = r.enumeration<CleanupIgnoreDuration>("duration", ignoreDurationFromRaw);
    item.expiresAt = r.optionalDate("expiresAt");
    return item;
}

}  // namespace

Result<std::vector<IgnoredCleanupItem>, IgnoreListDecodingError> decodeIgnoredCleanupItems(
    std::string_view data) {
    // A list is an array of flat records; anything nesting deeper is not one, and is refused
    // before any parsing so hostile nesting never reaches the parser.
    if (jsonNestingDepth(data, 2) > 2) return Failure{DecodingError{Kind::notList, 0, {}, {}}};
    // Invalid UTF-8 can only sit inside a string of a well-formed list: it becomes U+FFFD there,
    // and anywhere else it stays a syntax error.
    const std::string text = validUTF8(data);
    const json root = json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (root.is_discarded()) return Failure{DecodingError{Kind::notJSON, 0, {}, {}}};
    if (!root.is_array()) return Failure{DecodingError{Kind::notList, 0, {}, {}}};
    std::vector<IgnoredCleanupItem> items;
    items.reserve(root.size());
    try {
        for (const json& element : root) items.push_back(decodeItem(element, items.size() + 1));
    } catch (const ItemFault& f) {
        return Failure{f.error};
    }
    return items;
}

Result<std::string> encodeIgnoredCleanupItems(const std::vector<IgnoredCleanupItem>& items,
                                              AppLanguage language) {
    ordered_json array = ordered_json::array();
    for (const IgnoredCleanupItem& item : items) {
        if (!std::isfinite(item.ignoredAt) || (item.expiresAt && !std::isfinite(*item.expiresAt))) {
            return fail(
                VelmoraCopy{language}.text("The date of an ignored item is not a valid date.",
                                           "무시한 항목의 날짜가 올바른 날짜가 아닙니다."));
        }
        ordered_json o;
        o["id"] = item.id;
        o["displayName"] = item.displayName;
        o["path"] = item.path;
        o["category"] = rawValue(item.category);
        o["sizeBytes"] = item.sizeBytes;
        o["ignoredAt"] = item.ignoredAt;
        o["duration"] = rawValue(item.duration);
        if (item.expiresAt) o["expiresAt"] = *item.expiresAt;
        array.push_back(std::move(o));
    }
    // Texts are valid UTF-8 by construction; replacing keeps a hand-built item from throwing.
    return array.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

}  // namespace velmora
