#pragma once
// Encoding a snapshot envelope to bytes and back, with a hard size bound. A pure codec: it opens
// no file and keeps nothing.
//
// Encoded form: compact JSON of the envelope (keys "draft" and "limits", nested keys the field
// names), keys sorted, "/" not escaped, opaque values as bare strings, UUIDs in canonical upper
// case, every date a whole number of milliseconds since 1970-01-01T00:00:00Z, absent optionals
// omitted. `comparability` is {"<case>":{}}, or {"scopedComparable":{"rootDescriptorIDs":[...]}}.
// Encoding the same envelope twice gives the same bytes.
//
// Dates are limited to 10^14 milliseconds either side of 1970 (beyond, a date would not come
// back bit for bit). Decoding is strict about types and required keys (unknown keys are
// ignored), and wants dates as whole milliseconds, as written. It does not validate the draft
// against its limits; the caller does that (DeltaBlameValidation.h), as the snapshot store does.
//
// Checks, in order. Encode: the maximum (1...4,194,304, else invalidMaximumEncodedBytes); the
// encoding (a date out of range, text that is not UTF-8: encodingFailed); the size
// (encodedPayloadTooLarge). Decode: the maximum; empty input (emptyPayload); the size; the JSON
// (decodingFailed, with what was wrong). Thread-safe.
#include <cstdint>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "CleanerCore/base/Result.h"
#include "CleanerCore/delta-blame/DeltaBlameModel.h"

namespace velmora {

struct DeltaBlameTemporaryCodecError {
    enum class Kind {
        invalidMaximumEncodedBytes,  ///< maximum
        encodedPayloadTooLarge,      ///< actual, maximum
        emptyPayload,
        encodingFailed,  ///< the encoder's own error: detail
        decodingFailed,  ///< the decoder's own error: detail
    };
    Kind kind = Kind::emptyPayload;
    int64_t actual = 0;
    int64_t maximum = 0;
    std::string detail;
    std::string description() const;
    friend bool operator==(const DeltaBlameTemporaryCodecError&,
                           const DeltaBlameTemporaryCodecError&) = default;
};

class DeltaBlameTemporaryCodec {
  public:
    using Error = DeltaBlameTemporaryCodecError;
    static Result<std::string, Error> encode(const DeltaBlameSnapshotDraftEnvelope& envelope,
                                             int64_t maximumBytes);
    static Result<DeltaBlameSnapshotDraftEnvelope, Error> decode(std::string_view bytes,
                                                                 int64_t maximumBytes);
};

// The JSON values themselves, for the store, which keeps several envelopes in one document.
/// Throws nlohmann::json exceptions (or std::invalid_argument for a non-finite date).
nlohmann::json deltaBlameEnvelopeToJson(const DeltaBlameSnapshotDraftEnvelope& envelope);
/// Throws std::invalid_argument naming the offending key.
DeltaBlameSnapshotDraftEnvelope deltaBlameEnvelopeFromJson(const nlohmann::json& json);

}  // namespace velmora
