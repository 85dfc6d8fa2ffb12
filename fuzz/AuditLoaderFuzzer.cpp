// libFuzzer entry for the history loader. Whatever bytes the history file holds, loading must
// not crash or throw, must return at most the limit, must set the file aside unchanged when it
// cannot use it, and may write back only a file that itself loads strictly.
//
// The file lives in a folder created once per process, on /dev/shm when there is one (the
// loader fsyncs what it writes back; on tmpfs that costs nothing).
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "CleanerCore/audit/CleanupAuditDecoding.h"
#include "CleanerCore/audit/CleanupAuditStore.h"
#include "fuzz/FuzzWorkFolder.h"

namespace {

using velmora::fuzz::namesIn;
using velmora::fuzz::readAll;
using velmora::fuzz::workFolder;
using velmora::fuzz::writeAll;

void require(bool condition, const char* what) {
    velmora::fuzz::require(condition, "audit loader", what);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string& folder = workFolder();
    const std::string file = folder + "/cleanup-audit-log.json";
    const std::string input(reinterpret_cast<const char*>(data), size);
    writeAll(file, input);
    const int64_t limit = size % 2 == 0 ? 100 : 3;

    const velmora::CleanupAuditStore store(file);
    const auto entries = store.recentEntries(limit);
    require(static_cast<int64_t>(entries.size()) <= limit, "more entries than the limit");

    for (const auto& name : namesIn(folder)) {
        if (name == "cleanup-audit-log.json" || name == "cleanup-audit-log.json.lock") continue;
        require(readAll(folder + "/" + name) == input, "a backup differs from the file");
        ::unlink((folder + "/" + name).c_str());
    }
    if (::access(file.c_str(), F_OK) == 0) {
        const std::string after = readAll(file);
        if (after != input) {
            const auto decoded = velmora::decodeCleanupAuditHistory(after);
            require(decoded.ok() && decoded->wasStrict, "a written-back file does not load");
            require(decoded->entries.size() >= entries.size(), "written back fewer entries");
            for (size_t i = 0; i < entries.size(); ++i) {
                require(decoded->entries[i] == entries[i], "written back other entries");
            }
        }
        ::unlink(file.c_str());
    }
    return 0;
}
