#pragma once
// Decoding an enumeration from its raw JSON text, with an error that names the key and the value.
#include <nlohmann/json.hpp>
#include <string>

#include "CleanerCore/base/UTF8.h"

namespace velmora {

/// An enumeration from its raw text, through `fromRaw` (text -> optional value); an unknown text
/// throws json::other_error naming `what` (the key being read) and the text (made valid UTF-8).
template <typename E, typename F>
E decodeEnum(const nlohmann::json& value, F fromRaw, const char* what) {
    const auto& text = value.get_ref<const std::string&>();
    auto decoded = fromRaw(text);
    if (!decoded) {
        throw nlohmann::json::other_error::create(
            501, "unknown value \"" + validUTF8(text) + "\" for \"" + what + "\"", &value);
    }
    return *decoded;
}

}  // namespace velmora
