// libFuzzer entry for the ignore-list decoder. Whatever bytes the preference value holds,
// decoding must not crash or throw; a failure must describe itself; a list that decodes must
// encode, and read back equal.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "VelmoraUI/state/IgnoredCleanupItem.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace velmora;
    const std::string_view blob(reinterpret_cast<const char*>(data), size);
    auto decoded = decodeIgnoredCleanupItems(blob);
    if (!decoded) {
        if (decoded.error().description(AppLanguage::english).empty()) std::abort();
        return 0;
    }
    auto encoded = encodeIgnoredCleanupItems(*decoded, AppLanguage::english);
    if (!encoded) std::abort();
    auto again = decodeIgnoredCleanupItems(*encoded);
    if (!again || *again != *decoded) std::abort();
    return 0;
}
