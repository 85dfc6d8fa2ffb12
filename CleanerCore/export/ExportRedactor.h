#pragma once
// The tokens a redacted export writes in place of what would identify the user's files or
// words: "<path:" + 16 lower-case hexadecimal digits + ">" for a path (and for a file name, which
// is tokenized as the path of the item it names) and "<text:" + 16 hex digits + ">" for free
// text. The digits are the first eight bytes of HMAC-SHA-256 under the installation key over a
// message that names the derivation and the kind first, then the export's salt, then the input:
// a path and a text with the same bytes give different tokens.
//
// Each export draws its own 32-byte salt from the system's random source; the salt is never
// written anywhere. Within one export the same input always gives the same token, so a path that
// appears in several places of it is recognisably the same; two exports of the same files share
// no token, so exports handed to different people cannot be matched to each other. Without the
// key a token reveals nothing of its input.
//
// Numbers, dates, enumerations, categories and safety levels are never tokenized; the callers
// decide what is what. Pure after construction, thread-safe.
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "CleanerCore/platform/InstallationKey.h"

namespace velmora {

using ExportSalt = std::array<uint8_t, 32>;

class ExportRedactor {
  public:
    /// The redactor of one new export: a fresh random salt.
    static ExportRedactor forNewExport(const InstallationKey& key);
    /// A redactor under a given salt (tests and benchmarks use fixed ones).
    ExportRedactor(const InstallationKey& key, const ExportSalt& salt) : key_(key), salt_(salt) {}

    /// The token of a standardized path.
    std::string path(std::string_view standardizedPath) const;
    /// The token of free text; empty text stays empty (there is nothing in it to hide).
    std::string text(std::string_view text) const;
    /// An identifier: a UUID stays as it is (it names a history entry, not a file); "word:/path"
    /// (a candidate's or a finding's id) keeps its word and tokenizes the path; a bare absolute
    /// path becomes a path token; anything else (a content digest, ...) a text token.
    std::string identifier(std::string_view id) const;

  private:
    InstallationKey key_;
    ExportSalt salt_;
};

/// True for the canonical 8-4-4-4-12 hexadecimal form of a UUID (either case).
bool isUUIDText(std::string_view text);

}  // namespace velmora
