#include "VelmoraUI/dashboard/AmountTexts.h"

#include <fmt/format.h>

#include "VelmoraUI/dashboard/Formatting.h"

namespace velmora {

std::string sizeText(int64_t bytes, AppLanguage language) {
    if (language == AppLanguage::english || bytes >= 1000 || bytes <= -1000)
        return formatBytes(bytes);
    return fmt::format("{} B", bytes);
}

}  // namespace velmora
