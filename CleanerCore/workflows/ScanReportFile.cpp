#include "CleanerCore/workflows/ScanReportFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "CleanerCore/base/PrintableText.h"
#include "CleanerCore/platform/UniqueFd.h"
#include "CleanerCore/scanning/ModelJson.h"

namespace velmora {

namespace {

// A scan report is a few megabytes even for a very large home (the cap is in the header);
// anything above it is not one, and reading it whole would only exhaust memory.
// No real item comes near 1 EiB; a larger size is a damaged or edited report.
constexpr int64_t kMaximumCandidateBytes = int64_t{1} << 60;

// Reads the report through one descriptor. A link the person names is followed (they chose
// it); whatever it leads to must be a regular file of a plausible size. The open does not block,
// so a FIFO without a writer is refused rather than waited on.
Result<std::string> readReportText(const std::string& file) {
    const std::string shown = printable(file);
    UniqueFd fd(::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!fd) {
        return fail("could not read the report " + shown + ": " + std::strerror(errno) + ".");
    }
    struct stat st {};
    if (::fstat(fd.get(), &st) != 0) {
        return fail("could not read the report " + shown + ": " + std::strerror(errno) + ".");
    }
    if (S_ISDIR(st.st_mode)) {
        return fail("the report " + shown +
                    " is a folder; give the file that `velmora scan --json` wrote.");
    }
    if (!S_ISREG(st.st_mode)) {
        return fail("the report " + shown +
                    " is not a regular file (a device, pipe or socket cannot hold a scan "
                    "report).");
    }
    const std::string tooLarge =
        "the report " + shown + " is larger than 64 MiB, which no scan report is.";
    if (st.st_size > kMaximumScanReportBytes) return fail(tooLarge);
    std::string text;
    text.resize(static_cast<size_t>(st.st_size));
    size_t used = 0;
    for (;;) {
        if (used == text.size()) {
            // The file may have grown since fstat: read on, up to the cap.
            if (static_cast<int64_t>(text.size()) > kMaximumScanReportBytes) return fail(tooLarge);
            text.resize(text.size() + 65536);
        }
        const ssize_t n = ::read(fd.get(), text.data() + used, text.size() - used);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            return fail("could not read the report " + shown + ": " + std::strerror(errno) + ".");
        }
        if (n == 0) break;
        used += static_cast<size_t>(n);
    }
    if (static_cast<int64_t>(used) > kMaximumScanReportBytes) return fail(tooLarge);
    text.resize(used);
    return text;
}

// Sizes are byte counts of disk usage: never negative, never near the 64-bit limit, and their
// sum must be countable. A report that breaks this was damaged or edited.
std::optional<std::string> implausibleSize(const ScanReport& report) {
    int64_t total = 0;
    for (const auto& c : report.candidates) {
        const std::string item = printable(c.url.path);
        if (c.sizeBytes < 0) return "the size of " + item + " is negative.";
        if (c.sizeBytes > kMaximumCandidateBytes) {
            return "the size of " + item + " is larger than 1 EiB, which no real item is.";
        }
        if (__builtin_add_overflow(total, c.sizeBytes, &total)) {
            return std::string("the sizes of its candidates add up to more than can be counted.");
        }
    }
    return std::nullopt;
}

}  // namespace

Result<ScanReport> readScanReportFile(const std::string& file) {
    auto text = readReportText(file);
    if (!text) return fail(text.error());
    auto report = decodeScanReport(*text);
    if (!report)
        return fail("the report " + printable(file) + " is not a scan report: " + report.error());
    if (auto problem = implausibleSize(*report)) {
        return fail("the report " + printable(file) + " cannot be used: " + *problem +
                    " Nothing was cleaned.");
    }
    return report;
}

}  // namespace velmora
