// libFuzzer entry for the scan-snapshot codec and store loader. Whatever the bytes: decoding
// never crashes or throws; what decodes encodes again and decodes to the same value; loading
// never keeps more than the bound nor an invalid snapshot, sets the file aside unchanged when it
// cannot use it whole, and writes back only a file that loads cleanly with the same snapshots.
//
// The file lives in a folder created once per process, on /dev/shm when there is one.
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
#include "fuzz/FuzzWorkFolder.h"

namespace {

using namespace velmora;

using velmora::fuzz::namesIn;
using velmora::fuzz::readAll;
using velmora::fuzz::workFolder;
using velmora::fuzz::writeAll;

void require(bool condition, const char* what) {
    velmora::fuzz::require(condition, "snapshot loader", what);
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
