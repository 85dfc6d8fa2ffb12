#include "CleanerCore/scanning/PackageExtensions.h"

#include <algorithm>
#include <array>

namespace velmora {

bool isPackageExtension(std::string_view ext) {
    static constexpr std::array<std::string_view, 35> kSorted = {
        "aaxplugin",  "app",          "appex",           "band",        "bundle", "component",
        "docset",     "dsym",         "framework",       "kext",        "key",    "logicx",
        "mdimporter", "mpkg",         "musiclibrary",    "numbers",     "pages",  "photoslibrary",
        "playground", "plugin",       "prefpane",        "qlgenerator", "rtfd",   "saver",
        "scptd",      "sparsebundle", "systemextension", "tvlibrary",   "vst",    "vst3",
        "wdgt",       "xcarchive",    "xcodeproj",       "xcworkspace", "xpc"};
    return std::binary_search(kSorted.begin(), kSorted.end(), ext);
}

}  // namespace velmora
