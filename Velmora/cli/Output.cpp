#include "Velmora/cli/Output.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ostream>

#include "CleanerCore/scanning/DistinctBytes.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "VelmoraUI/dashboard/CleanupTexts.h"
#include "VelmoraUI/dashboard/CoreTexts.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/localization/Localizer.h"

namespace velmora::cli {

void printScanReport(std::ostream& out, const ScanReport& report, const std::string& home,
                     AppLanguage language) {
    const VelmoraCopy copy{language};
    int64_t selectedCount = 0;
    // Every byte once: nested candidates and further hard links add nothing to a total.
    std::vector<const CleanupCandidate*> all, selected;
    for (const auto& c : report.candidates) {
        all.push_back(&c);
        if (c.isSelectedByDefault) selected.push_back(&c);
    }
    const int64_t total = distinctBytes(all), selectedBytes = distinctBytes(selected);
    if (report.candidates.empty()) {
        out << copy.text("Nothing to clean: no candidates were found.",
                         "정리할 것이 없습니다. 후보를 찾지 못했습니다.")
            << "\n";
    } else {
        out << padRight(copy.text("Safety", "안전 수준"), 14)
            << padLeft(copy.text("Size", "크기"), 10) << "  "
            << padRight(copy.text("Category", "종류"), 23) << copy.text("Path", "경로") << "\n";
        for (const auto& c : report.candidates) {
            out << padRight(safetyTitle(c.safety, language), 14)
                << padLeft(bytesText(c.sizeBytes, language), 10) << "  "
                << padRight(categoryTitle(c.category, language), 23)
                << printable(displayPath(c.url.path, home)) << (c.isSelectedByDefault ? "  *" : "")
                << '\n';
            if (c.isSelectedByDefault) ++selectedCount;
        }
        out << '\n'
            << scanTotalsText(static_cast<int64_t>(report.candidates.size()), total, selectedCount,
                              selectedBytes, language)
            << "\n";
    }
    if (!report.skippedItems.empty()) {
        out << '\n'
            << skippedHeadingText(static_cast<int64_t>(report.skippedItems.size()), language)
            << "\n";
        for (const auto& s : report.skippedItems) {
            out << "  " << printable(displayPath(s.url.path, home)) << " — "
                << printable(presentedReason(s.reason, language)) << '\n';
        }
    }
    out << '\n'
        << scanFinishedText(static_cast<int64_t>(report.scannedRoots.size()), language) << "\n";
}

void writeJSONArrayMember(std::ostream& out, std::string_view key, size_t count,
                          const std::function<nlohmann::json(size_t)>& element, bool last) {
    JSONArrayMemberWriter writer(out, key);
    for (size_t i = 0; i < count; ++i) writer.add(element(i));
    writer.finish(last);
}

JSONArrayMemberWriter::JSONArrayMemberWriter(std::ostream& out, std::string_view key) : out_(out) {
    out_ << "  \"" << key << "\": ";
}

void JSONArrayMemberWriter::add(const nlohmann::json& element) {
    // Each element is written after the separator that the one before it needed.
    indented_.assign(count_ == 0 ? "[\n    " : ",\n    ");
    // Every line moves four columns in; JSON strings never hold a raw newline.
    const std::string text = dumpJSON(element, true);
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size() - 1) + 1;
        indented_.append(text, start, end - start);
        if (text[end - 1] == '\n') indented_ += "    ";
        start = end;
    }
    out_.write(indented_.data(), static_cast<std::streamsize>(indented_.size()));
    ++count_;
}

void JSONArrayMemberWriter::finish(bool last) {
    out_ << (count_ == 0 ? "[]" : "\n  ]") << (last ? "\n" : ",\n");
}

void printScanReportJSON(std::ostream& out, const ScanReport& report,
                         std::optional<size_t> ignoredCount,
                         const std::optional<CleanupReappearanceObservation>& reappearance) {
    // Streamed one record at a time, so memory stays flat however many candidates there are;
    // the text equals dumpJSON(json(report), true) (keys in the coder's sorted order).
    const auto& r = report;
    out << "{\n";
    writeJSONArrayMember(
        out, "candidates", r.candidates.size(),
        [&r](size_t i) { return nlohmann::json(r.candidates[i]); }, false);
    out << "  \"hasCompletedScan\": " << (r.hasCompletedScan ? "true" : "false") << ",\n";
    if (ignoredCount) out << "  \"ignoredCount\": " << *ignoredCount << ",\n";
    if (reappearance) {
        // A member of the top-level object: its lines move two columns in.
        std::string text = dumpJSON(nlohmann::json(*reappearance), true);
        for (size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 3))
            text.replace(at, 1, "\n  ");
        out << "  \"reappearance\": " << text << ",\n";
    }
    out << "  \"scannedAt\": " << nlohmann::json(r.scannedAt).dump() << ",\n";
    writeJSONArrayMember(
        out, "scannedRoots", r.scannedRoots.size(),
        [&r](size_t i) { return nlohmann::json(r.scannedRoots[i]); }, false);
    writeJSONArrayMember(
        out, "skippedItems", r.skippedItems.size(),
        [&r](size_t i) { return nlohmann::json(r.skippedItems[i]); }, true);
    out << "}\n";
}

namespace {
constexpr size_t kOutputBufferBytes = 64 * 1024;
}  // namespace

BufferedFdStream::Buffer::Buffer(int fd)
    : fd_(fd), lineBuffered_(::isatty(fd) == 1), data_(kOutputBufferBytes) {
    setp(data_.data(), data_.data() + data_.size());
}

void BufferedFdStream::Buffer::drain() {
    const char* p = pbase();
    size_t left = static_cast<size_t>(pptr() - pbase());
    while (left > 0) {
        const ssize_t n = ::write(fd_, p, left);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        p += n;
        left -= static_cast<size_t>(n);
    }
    setp(data_.data(), data_.data() + data_.size());
}

int BufferedFdStream::Buffer::sync() {
    drain();
    return 0;
}

BufferedFdStream::Buffer::int_type BufferedFdStream::Buffer::overflow(int_type c) {
    drain();
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
        *pptr() = traits_type::to_char_type(c);
        pbump(1);
        if (lineBuffered_ && c == '\n') drain();
    }
    return traits_type::not_eof(c);
}

std::streamsize BufferedFdStream::Buffer::xsputn(const char* s, std::streamsize n) {
    std::streamsize done = 0;
    while (done < n) {
        if (pptr() == epptr()) drain();
        const auto room = static_cast<std::streamsize>(epptr() - pptr());
        const std::streamsize chunk = std::min(room, n - done);
        std::memcpy(pptr(), s + done, static_cast<size_t>(chunk));
        pbump(static_cast<int>(chunk));
        done += chunk;
    }
    if (lineBuffered_ && std::memchr(s, '\n', static_cast<size_t>(n)) != nullptr) drain();
    return n;
}

BufferedFdStream::BufferedFdStream(int fd) : std::ostream(nullptr), buffer_(fd) {
    rdbuf(&buffer_);
}

BufferedFdStream::~BufferedFdStream() {
    buffer_.pubsync();
}

}  // namespace velmora::cli
