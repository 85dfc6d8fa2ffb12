#pragma once
// Sizes written for one language. Pure, thread-safe.
#include <cstdint>
#include <string>

#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora {

/// `formatBytes(bytes)` in English. Every other language writes sizes below 1 kB with the
/// unit symbol ("36 B"), so a size never carries an English word; larger sizes already use
/// unit symbols only ("1.2 MB").
std::string sizeText(int64_t bytes, AppLanguage language);

}  // namespace velmora
