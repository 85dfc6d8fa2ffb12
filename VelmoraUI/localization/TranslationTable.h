#pragma once
// One language's table: fixed texts (English -> translation), sentence templates (a regular
// expression over the whole English sentence, and the translation with "{0}", "{1}", ... for
// its captures) and keyed texts. Built once from a data file and immutable afterwards, so any
// thread may look texts up in it.
#include <QByteArray>
#include <QRegularExpression>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace velmora {

class TranslationTable {
  public:
    /// Reads a data file: a JSON object with "keys" and "fixed" (objects of texts) and
    /// "templates" (an array of {"pattern", "text"}). Faulty entries are left out and each is
    /// described, naming `fileName`, in `problems`; an unreadable file gives an empty table.
    static TranslationTable fromJson(const QByteArray& data, const std::string& fileName,
                                     std::vector<std::string>& problems);

    /// The fixed text for `english`, else the first template that matches the whole sentence
    /// with its captures put in place, else nothing.
    std::optional<std::string> translated(std::string_view english) const;

    std::optional<std::string> keyed(std::string_view key) const;

  private:
    struct StringHash {
        using is_transparent = void;
        size_t operator()(std::string_view s) const { return std::hash<std::string_view>{}(s); }
    };
    template <class T>
    using StringMap = std::unordered_map<std::string, T, StringHash, std::equal_to<>>;

    struct Template {
        QRegularExpression regex;  // compiled when the table is built
        std::string text;
        std::string prefix;        // a matching sentence starts with this ...
        std::string requiredText;  // ... and contains this
    };

    std::optional<std::string> fromTemplates(std::string_view english) const;

    StringMap<std::string> fixed_;
    StringMap<std::string> keyed_;
    std::vector<Template> templates_;
    // A miss must stay cheap: templates are indexed by the first bytes of their literal prefix,
    // and only those whose prefix is too short for the index are tried on every sentence. Both
    // lists are in the table's order.
    StringMap<std::vector<uint32_t>> byPrefix_;
    std::vector<uint32_t> unindexed_;
};

}  // namespace velmora
