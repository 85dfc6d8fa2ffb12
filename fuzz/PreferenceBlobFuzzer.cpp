// libFuzzer entry for the decoders of the preference blobs other than the ignore list: the kept
// scan folders, the home-folder grant and the metric history. Built once per blob; the
// VELMORA_FUZZ_BLOB definition picks the decoder. Whatever bytes the value holds, decoding
// must not crash or throw; a failure must describe itself; a value that decodes must encode,
// and read back equal (so nothing a load accepts is lost or changed by the next save).
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "VelmoraUI/state/CustomScanFolders.h"
#include "VelmoraUI/state/HomeAccessBookmark.h"
#include "VelmoraUI/state/SystemMetricHistory.h"

namespace {

template <typename Decode, typename Encode>
void roundTrip(std::string_view blob, Decode decode, Encode encode) {
    auto decoded = decode(blob);
    if (!decoded) {
        if (decoded.error().empty()) std::abort();
        return;
    }
    auto again = decode(encode(*decoded));
    if (!again || !(*again == *decoded)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace velmora;
    const std::string_view blob(reinterpret_cast<const char*>(data), size);
#if VELMORA_FUZZ_BLOB == 1
    roundTrip(blob, decodeCustomScanFolders, encodeCustomScanFolders);
#elif VELMORA_FUZZ_BLOB == 2
    roundTrip(blob, decodeHomeAccessBookmark, encodeHomeAccessBookmark);
#elif VELMORA_FUZZ_BLOB == 3
    roundTrip(blob, decodeSystemMetricHistory, encodeSystemMetricHistory);
#else
#error "VELMORA_FUZZ_BLOB must be 1 (folders), 2 (home grant) or 3 (metric history)"
#endif
    return 0;
}
