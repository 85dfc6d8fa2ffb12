#pragma once
// The tokens a redacted export writes in place of what would identify the user's files or
// words: "<path:" + 16 lower-case hexadecimal digits + ">" for a path (and for a file name, which
// is tokenized as the path of the item it names) and "<text:" + 16 hex digits + ">" for free
// text. The digits are the first eight bytes of HMAC-SHA-256 under the installation key over a
// message that names the kind first, so a path and a text with the same bytes give different
// tokens. Without the key a token reveals nothing of its input; with it, the same input always
// gives the same token, so a path that appears in several places of one export (and in another
// export of this installation) is recognisably the same.
//
// Numbers, dates, enumerations, categories and safety levels are never tokenized; the callers
// decide what is what. Pure, thread-safe.
#include <string>
#include <string_view>

#include "CleanerCore/platform/InstallationKey.h"

namespace velmora {

class ExportRedactor {
  public:
    explicit ExportRedactor(const InstallationKey& key) : key_(key) {}

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
};

/// True for the canonical 8-4-4-4-12 hexadecimal form of a UUID (either case).
bool isUUIDText(std::string_view text);

}  // namespace velmora
