#pragma once
// Rendering of command results for people (tables, sentences) and for scripts (JSON).
#include <cstddef>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/review/CleanupReappearance.h"
#include "CleanerCore/scanning/CleanupModel.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::cli {

/// The report as a table sorted as the report is, then totals and the skipped items, in
/// `language`.
void printScanReport(std::ostream& out, const ScanReport& report, const std::string& home,
                     AppLanguage language = AppLanguage::english);

/// The report as JSON (the ScanReport record), one document followed by a newline. With
/// `ignoredCount` (what `velmora scan` prints) the document also says how many ignored
/// candidates were left out of it, under "ignoredCount"; with `reappearance`, what came back
/// of the newest cleanup, under "reappearance" (also when there was no cleanup to compare, so
/// that a script finds the field after every completed scan).
void printScanReportJSON(
    std::ostream& out, const ScanReport& report, std::optional<size_t> ignoredCount = std::nullopt,
    const std::optional<CleanupReappearanceObservation>& reappearance = std::nullopt);

/// Writes `"key": [ elements ]` as a member of a pretty-printed top-level object (two spaces of
/// indentation), one element at a time, followed by "," unless `last`, and a newline. The text
/// equals that member in dumpJSON(object, true); the elements are never held together.
void writeJSONArrayMember(std::ostream& out, std::string_view key, size_t count,
                          const std::function<nlohmann::json(size_t)>& element, bool last);

/// The same member for elements that arrive one at a time, their number unknown in advance:
/// the key is written on construction, each element as it is added, the end by `finish`.
class JSONArrayMemberWriter {
  public:
    JSONArrayMemberWriter(std::ostream& out, std::string_view key);
    void add(const nlohmann::json& element);
    void finish(bool last);

  private:
    std::ostream& out_;
    size_t count_ = 0;
    std::string indented_;
};

/// A stream on a file descriptor with a 64 KiB buffer, so that per-item lines do not cost a
/// system call each. The buffer is written when full, on `flush()` and on destruction; when the
/// descriptor is a terminal also after every line, so that a person sees each line as it is
/// printed. Write errors are ignored, as they are for std::cout.
class BufferedFdStream : public std::ostream {
  public:
    explicit BufferedFdStream(int fd);
    ~BufferedFdStream() override;

  private:
    class Buffer : public std::streambuf {
      public:
        explicit Buffer(int fd);
        int sync() override;

      protected:
        int_type overflow(int_type c) override;
        std::streamsize xsputn(const char* s, std::streamsize n) override;

      private:
        void drain();
        int fd_;
        bool lineBuffered_;
        std::vector<char> data_;
    };
    Buffer buffer_;
};

}  // namespace velmora::cli
