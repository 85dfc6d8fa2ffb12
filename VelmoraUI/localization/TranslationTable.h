#pragma once
// One language's table: fixed texts (English -> translation), sentence templates (a regular
// expression over the whole English sentence, and the translation with "{0}", "{1}", ... for
// its captures) and keyed texts. Built once from a data file and immutable afterwards, so any
// thread may look texts up in it.
//
// Each template's pattern is compiled once, the first time a sentence could match it: the
// engine compiles to machine code, which for a whole table costs more than a scan spends on
// everything else it translates, while a run tries only a handful of templates.
#include <QByteArray>
#include <QRegularExpression>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
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
    /// A template whose pattern does not compile, or whose placeholders do not fit its
    /// captures, is found out when it is compiled: it never matches, and `templateProblems`
    /// describes it.
    static TranslationTable fromJson(const QByteArray& data, const std::string& fileName,
                                     std::vector<std::string>& problems);

    /// Compiles every template not compiled yet and describes each faulty one, naming the
    /// file, in the table's order. For checks; a lookup never needs it.
    std::vector<std::string> templateProblems() const;

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
        QString pattern;
        std::string text;
        std::string prefix;        // a matching sentence starts with this ...
        std::string requiredText;  // ... and contains this
        // Set once, under `compiled`, before any thread matches with it.
        mutable std::once_flag compiled;
        mutable std::optional<QRegularExpression> regex;  // empty when the template is faulty
        mutable std::string problem;                      // why it is faulty
    };

    /// The template at `i`, compiled.
    const Template& compiledTemplate(uint32_t i) const;

    std::optional<std::string> fromTemplates(std::string_view english) const;

    StringMap<std::string> fixed_;
    StringMap<std::string> keyed_;
    std::string fileName_;
    std::vector<std::unique_ptr<Template>> templates_;  // a once_flag never moves
    // A miss must stay cheap: templates are indexed by the first bytes of their literal prefix,
    // and only those whose prefix is too short for the index are tried on every sentence. Both
    // lists are in the table's order.
    StringMap<std::vector<uint32_t>> byPrefix_;
    std::vector<uint32_t> unindexed_;
};

}  // namespace velmora
