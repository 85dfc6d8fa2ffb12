#include "VelmoraUI/localization/TranslationTable.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <algorithm>

namespace velmora {
namespace {

/// Templates are indexed by this many leading bytes of their literal prefix.
constexpr size_t kIndexLength = 6;

bool isAsciiAlnum(QChar c) {
    const char16_t u = c.unicode();
    return (u >= '0' && u <= '9') || (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z');
}

struct Literals {
    QString prefix;   // the literal run the pattern starts with
    QString longest;  // the longest literal run it requires anywhere
};

/// The literal text a pattern requires at its top level. Conservative: any construct it does
/// not understand ends a run, and a top-level alternative, inline options or quoting give
/// nothing at all, so a sentence the pattern matches always passes the literal pre-checks.
Literals requiredLiterals(const QString& pattern) {
    Literals out;
    static const QRegularExpression kOptionsOrQuotes(QStringLiteral(R"(\(\?[^:]|\\Q)"));
    if (pattern.contains(kOptionsOrQuotes)) return out;
    QString run;
    bool runIsPrefix = true;
    int depth = 0;
    qsizetype i = pattern.startsWith(u'^') ? 1 : 0;
    auto endRun = [&] {
        if (runIsPrefix) out.prefix = run;
        if (run.size() > out.longest.size()) out.longest = run;
        run.clear();
        runIsPrefix = false;
    };
    // An atom followed by a quantifier is optional unless the quantifier is "+"; either way
    // the run ends there.
    auto addAtom = [&](QChar atom, qsizetype next) {
        if (next < pattern.size() && QStringView(u"*?{+").contains(pattern[next])) {
            if (pattern[next] == u'+') run += atom;
            endRun();
        } else {
            run += atom;
        }
    };
    while (i < pattern.size()) {
        const QChar c = pattern[i];
        if (c == u'\\') {
            if (i + 1 >= pattern.size()) break;
            const QChar escaped = pattern[i + 1];
            if (depth == 0) {
                if (isAsciiAlnum(escaped)) {
                    endRun();  // a class (\d), an anchor (\b) or a reference
                } else {
                    addAtom(escaped, i + 2);
                }
            }
            i += 2;
            continue;
        }
        if (c == u'[') {
            // A character class: skip to its end; "]" first in the class is a member.
            if (depth == 0) endRun();
            qsizetype j = i + 1;
            if (j < pattern.size() && pattern[j] == u'^') ++j;
            if (j < pattern.size() && pattern[j] == u']') ++j;
            while (j < pattern.size() && pattern[j] != u']') j += (pattern[j] == u'\\') ? 2 : 1;
            i = j + 1;
            continue;
        }
        if (c == u'(') {
            if (depth == 0) endRun();
            ++depth;
        } else if (c == u')') {
            if (depth > 0) --depth;
        } else if (c == u'|' && depth == 0) {
            return {};
        } else if (depth == 0) {
            if (QStringView(u".*+?{}^$").contains(c)) {
                endRun();
            } else {
                addAtom(c, i + 1);
            }
        }
        ++i;
    }
    endRun();
    return out;
}

/// One more than the highest placeholder in `text`, or -1 when a brace is not a placeholder.
int placeholderCount(std::string_view text) {
    int count = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '{') continue;
        const size_t close = text.find('}', i);
        if (close == text.npos || close == i + 1 || close - i > 4) return -1;
        int n = 0;
        for (size_t j = i + 1; j < close; ++j) {
            if (text[j] < '0' || text[j] > '9') return -1;
            n = n * 10 + (text[j] - '0');
        }
        count = std::max(count, n + 1);
        i = close;
    }
    return count;
}

/// `text` with each "{n}" replaced by capture n + 1 (placeholders were checked on reading).
std::string filled(std::string_view text, const QRegularExpressionMatch& match) {
    std::string out;
    out.reserve(text.size() + 32);
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '{') {
            out += text[i];
            continue;
        }
        const size_t close = text.find('}', i);
        int n = 0;
        for (size_t j = i + 1; j < close; ++j) n = n * 10 + (text[j] - '0');
        out += match.captured(n + 1).toStdString();
        i = close;
    }
    return out;
}

std::string utf8(const QString& s) {
    return s.toStdString();
}

}  // namespace

TranslationTable TranslationTable::fromJson(const QByteArray& data, const std::string& fileName,
                                            std::vector<std::string>& problems) {
    TranslationTable table;
    table.fileName_ = fileName;
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        problems.push_back(fileName + ": the data file is not a JSON object (" +
                           utf8(error.errorString()) + ").");
        return table;
    }
    const QJsonObject root = document.object();
    auto readTexts = [&](const char* section, StringMap<std::string>& into) {
        const QJsonObject object = root.value(QLatin1String(section)).toObject();
        for (auto it = object.begin(); it != object.end(); ++it) {
            if (!it.value().isString()) {
                problems.push_back(fileName + ": the " + section + " entry \"" + utf8(it.key()) +
                                   "\" is not a text.");
                continue;
            }
            into.emplace(utf8(it.key()), utf8(it.value().toString()));
        }
    };
    readTexts("keys", table.keyed_);
    readTexts("fixed", table.fixed_);

    for (const QJsonValue& value : root.value(u"templates").toArray()) {
        const QJsonObject entry = value.toObject();
        const QString pattern = entry.value(u"pattern").toString();
        if (pattern.isEmpty() || !entry.value(u"text").isString()) {
            problems.push_back(fileName + ": a template lacks its pattern or its text.");
            continue;
        }
        auto t = std::make_unique<Template>();
        t->pattern = pattern;
        t->text = utf8(entry.value(u"text").toString());
        const Literals literals = requiredLiterals(pattern);
        t->prefix = utf8(literals.prefix);
        t->requiredText = utf8(literals.longest);
        table.templates_.push_back(std::move(t));
    }
    for (uint32_t i = 0; i < table.templates_.size(); ++i) {
        const std::string& prefix = table.templates_[i]->prefix;
        if (prefix.size() >= kIndexLength) {
            table.byPrefix_[prefix.substr(0, kIndexLength)].push_back(i);
        } else {
            table.unindexed_.push_back(i);
        }
    }
    return table;
}

const TranslationTable::Template& TranslationTable::compiledTemplate(uint32_t i) const {
    const Template& t = *templates_[i];
    std::call_once(t.compiled, [&] {
        QRegularExpression regex(QRegularExpression::anchoredPattern(t.pattern));
        if (!regex.isValid()) {
            t.problem = fileName_ + ": the pattern \"" + utf8(t.pattern) +
                        "\" is not a valid regular expression (" + utf8(regex.errorString()) + ").";
        } else if (placeholderCount(t.text) != regex.captureCount()) {
            t.problem = fileName_ + ": the text \"" + t.text +
                        "\" does not have one placeholder for each capture of \"" +
                        utf8(t.pattern) + "\".";
        } else {
            t.regex = std::move(regex);
        }
    });
    return t;
}

std::vector<std::string> TranslationTable::templateProblems() const {
    std::vector<std::string> problems;
    for (uint32_t i = 0; i < templates_.size(); ++i) {
        const Template& t = compiledTemplate(i);
        if (!t.regex) problems.push_back(t.problem);
    }
    return problems;
}

std::optional<std::string> TranslationTable::translated(std::string_view english) const {
    if (auto it = fixed_.find(english); it != fixed_.end()) return it->second;
    return fromTemplates(english);
}

std::optional<std::string> TranslationTable::keyed(std::string_view key) const {
    if (auto it = keyed_.find(key); it != keyed_.end()) return it->second;
    return std::nullopt;
}

std::optional<std::string> TranslationTable::fromTemplates(std::string_view english) const {
    static const std::vector<uint32_t> kNone;
    const std::vector<uint32_t>* indexed = &kNone;
    if (english.size() >= kIndexLength) {
        if (auto it = byPrefix_.find(english.substr(0, kIndexLength)); it != byPrefix_.end()) {
            indexed = &it->second;
        }
    }
    // The text is converted for the regular expression engine only when a candidate's
    // literals are all present, and then only once.
    std::optional<QString> subject;
    auto attempt = [&](uint32_t i) -> std::optional<std::string> {
        const Template& candidate = *templates_[i];
        if (!english.starts_with(candidate.prefix)) return std::nullopt;
        if (english.find(candidate.requiredText) == english.npos) return std::nullopt;
        const Template& t = compiledTemplate(i);
        if (!t.regex) return std::nullopt;
        if (!subject) subject = QString::fromUtf8(english.data(), qsizetype(english.size()));
        const QRegularExpressionMatch match = t.regex->match(*subject);
        if (!match.hasMatch()) return std::nullopt;
        return filled(t.text, match);
    };
    // Both candidate lists are ordered; walking them together keeps the table's order.
    const std::vector<uint32_t>& a = *indexed;
    const std::vector<uint32_t>& b = unindexed_;
    size_t ia = 0, ib = 0;
    while (ia < a.size() || ib < b.size()) {
        const bool takeA = ib == b.size() || (ia < a.size() && a[ia] < b[ib]);
        if (auto hit = attempt(takeA ? a[ia++] : b[ib++])) return hit;
    }
    return std::nullopt;
}

}  // namespace velmora
