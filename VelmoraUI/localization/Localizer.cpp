#include "VelmoraUI/localization/Localizer.h"

namespace velmora {

std::string localized(std::string_view english, AppLanguage) {
    return std::string(english);
}

}  // namespace velmora
