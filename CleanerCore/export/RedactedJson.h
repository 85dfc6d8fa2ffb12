#pragma once
// Redaction of a record's JSON coding, in place. Strings are judged by the key that holds them,
// failing safe: only the keys of enumerations (categories, safety levels, kinds, states, ...)
// and of the device-and-inode identifier keep their text; file URLs and path lists become path
// tokens of their paths; identifiers go through ExportRedactor::identifier; a `displayName` becomes
// the path token of its object's `url` (it names that item) and a `parentPath` the token of that
// URL's folder, so both match the tokens of the same paths elsewhere; every other string becomes a
// text token. Numbers, Booleans and nulls stay. A field added to a record later is therefore
// tokenized until it is named here as an enumeration. Pure, thread-safe.
#include <nlohmann/json.hpp>

#include "CleanerCore/export/ExportRedactor.h"

namespace velmora {

void redactJSON(nlohmann::json& value, const ExportRedactor& redactor);

}  // namespace velmora
