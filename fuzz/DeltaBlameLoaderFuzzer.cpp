// libFuzzer entry for the scan-snapshot codec and store loader. Whatever the bytes: decoding
// never crashes or throws; what decodes encodes again and decodes to the same value; loading
// never keeps more than the bound nor an invalid snapshot, sets the file aside unchanged when it
// cannot use it whole, and writes back only a file that loads cleanly with the same snapshots.
//
// The file lives in a folder created once per process, on /dev/shm when there is one.
#include <dirent.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "CleanerCore/delta-blame/DeltaBlameCodec.h"
#include "CleanerCore/delta-blame/DeltaBlameSnapshotStore.h"
#include "CleanerCore/delta-blame/DeltaBlameValidation.h"

namespace {

using namespace velmora;

const std::string& workFolder();

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

void require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "snapshot loader invariant failed: %s\n", what);
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);

    // The codec on its own.
    if (auto decoded = DeltaBlameTemporaryCodec::decode(input, kDeltaBlameMaximumEncodedBytes)) {
        auto again = DeltaBlameTemporaryCodec::encode(*decoded, kDeltaBlameMaximumEncodedBytes);
        if (again) {
            auto back = DeltaBlameTemporaryCodec::decode(*again, kDeltaBlameMaximumEncodedBytes);
            require(back && *back == *decoded, "an encoded snapshot decodes to another value");
        }
    }

    // The store loader, over the same bytes as a store file.
    const std::string& folder = workFolder();
    const std::string name = "delta-blame-snapshots.json";
    const std::string file = folder + "/" + name;
    writeAll(file, input);
    DeltaBlameLimits limits;
    limits.maximumSnapshots = size % 2 == 0 ? 20 : 2;
    const DeltaBlameSnapshotStore store(
        file, *DeltaBlameIdentityHMACProvider::make(std::string(32, 'f')), limits);
    const auto state = store.load();
    require(static_cast<int64_t>(state.snapshots.size()) <= limits.maximumSnapshots,
            "more snapshots than the bound");
    for (const auto& s : state.snapshots)
        require(!validateDeltaBlameDraft(s.draft, s.limits), "kept an invalid snapshot");

    for (const auto& other : namesIn(folder)) {
        if (other == name || other == name + ".lock") continue;
        require(readAll(folder + "/" + other) == input, "a backup differs from the file");
        ::unlink((folder + "/" + other).c_str());
    }
    if (::access(file.c_str(), F_OK) == 0) {
        if (readAll(file) != input) {
            const auto reread = store.load();
            require(!reread.issue, "a written-back file does not load cleanly");
            require(reread.snapshots == state.snapshots, "written back other snapshots");
        }
        ::unlink(file.c_str());
    }
    return 0;
}
