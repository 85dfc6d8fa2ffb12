#include "CleanerCore/scanning/PackageExtensions.h"

#include <algorithm>
#include <array>

namespace velmora {

bool isPackageExtension(std::string_view ext) {
    // Installer packages and Automator workflows can be folders too (bundle-style .pkg); as
    // files they are simply files.
    static constexpr std::array<std::string_view, 37> kSorted = {
        "aaxplugin",  "app",           "appex",        "band",
        "bundle",     "component",     "docset",       "dsym",
        "framework",  "kext",          "key",          "logicx",
        "mdimporter", "mpkg",          "musiclibrary", "numbers",
        "pages",      "photoslibrary", "pkg",          "playground",
        "plugin",     "prefpane",      "qlgenerator",  "rtfd",
        "saver",      "scptd",         "sparsebundle", "systemextension",
        "tvlibrary",  "vst",           "vst3",         "wdgt",
        "workflow",   "xcarchive",     "xcodeproj",    "xcworkspace",
        "xpc"};
    return std::binary_search(kSorted.begin(), kSorted.end(), ext);
}

}  // namespace velmora
