#pragma once
// What the file-loading fuzz targets share: a work folder made once per process (on /dev/shm
// when there is one, where the loaders' fsyncs cost nothing) and removed at exit, since libFuzzer
// ends with exit(); whole-file reads and writes; and the check that aborts with a message.
#include <dirent.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace velmora::fuzz {

inline std::vector<std::string> namesIn(const std::string& folder) {
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

const std::string& workFolder();

inline void removeWorkFolder() {
    const std::string& folder = workFolder();
    for (const auto& name : namesIn(folder)) ::unlink((folder + "/" + name).c_str());
    ::rmdir(folder.c_str());
}

inline const std::string& workFolder() {
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

inline std::string readAll(const std::string& path) {
    std::string out;
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return out;
    char buffer[65536];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) out.append(buffer, n);
    std::fclose(f);
    return out;
}

inline void writeAll(const std::string& path, const std::string& data) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) std::abort();
    if (!data.empty() && std::fwrite(data.data(), 1, data.size(), f) != data.size()) std::abort();
    std::fclose(f);
}

/// Aborts, naming the loader and the invariant, when `condition` is false.
inline void require(bool condition, const char* loader, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "%s invariant failed: %s\n", loader, what);
        std::abort();
    }
}

}  // namespace velmora::fuzz
