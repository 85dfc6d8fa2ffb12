// libFuzzer entry for the history loader. Whatever bytes the history file holds, loading must
// not crash or throw, must return at most the limit, must set the file aside unchanged when it
// cannot use it, and may write back only a file that itself loads strictly.
//
// The file lives in a folder created once per process, on /dev/shm when there is one (the
// loader fsyncs what it writes back; on tmpfs that costs nothing).
#include <dirent.h>
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

namespace {

const std::string& workFolder();

std::vector<std::string> namesIn(const std::string& folder);

// libFuzzer ends with exit(); leave nothing behind in /dev/shm.
void removeWorkFolder() {
    const std::string& folder = workFolder();
    for (const auto& name : namesIn(folder)) ::unlink((folder + "/" + name).c_str());
    ::rmdir(folder.c_str());
}

const std::string& workFolder() {
    static const std::string folder = [] {
        const char* tmp = std::getenv("TMPDIR");
        std::string base = ::access("/dev/shm", W_OK) == 0 ? "/dev/shm"
                           : tmp && *tmp                   ? tmp
                                                           : "/tmp";
        std::string tmpl = base + "/velmora-fuzz-XXXXXX";
        if (::mkdtemp(tmpl.data()) == nullptr) std::abort();
        return tmpl;
    }();
    // Registered after `folder` is complete, so it runs before `folder` is destroyed.
    static const bool cleanupRegistered = std::atexit(removeWorkFolder) == 0;
    (void)cleanupRegistered;
    return folder;
}

std::string readAll(const std::string& path) {
    std::string out;
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return out;
    char buffer[65536];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) out.append(buffer, n);
    std::fclose(f);
    return out;
}

void writeAll(const std::string& path, const std::string& data) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) std::abort();
    if (!data.empty() && std::fwrite(data.data(), 1, data.size(), f) != data.size()) std::abort();
    std::fclose(f);
}

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> out;
    DIR* d = ::opendir(folder.c_str());
    if (d == nullptr) std::abort();
    while (const dirent* e = ::readdir(d)) {
        const std::string name = e->d_name;
        if (name != "." && name != "..") out.push_back(name);
    }
    ::closedir(d);
    return out;
}

void require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "audit loader invariant failed: %s\n", what);
        std::abort();
    }
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
