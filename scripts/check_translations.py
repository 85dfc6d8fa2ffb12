#!/usr/bin/env python3
"""Checks that every language's table can translate every text the program shows.

Usage: check_translations.py SOURCE_ROOT

Reads the data files in VelmoraUI/translations/ (one per language code) and the
C++ sources (*.h, *.hpp, *.cpp, *.cc) under VelmoraUI/ and Velmora/, and fails, naming the
language and the text, when

  - a data file is malformed: not a JSON object, duplicate keys at any level, a section of the
    wrong shape, an empty translation, an unknown section or keyed text;
  - a template's pattern does not compile, or its placeholders "{0}", "{1}", ... are not
    exactly one per capture group;
  - a keyed text (the key table in VelmoraUI/localization/Localizer.h) is missing in a language;
  - an English text given at a call site, or an example sentence, has in one of the looked-up
    languages (ja, zh-Hans, zh-Hant, es, fr, de) neither a fixed entry nor a template whose
    pattern matches the whole sentence;
  - the first template that matches such a sentence (the program takes the first) captures
    more of it than a later one that also matches: a general template stands before a closer
    one and would translate the sentence with its words half in English.

Call forms whose English text is extracted (comments and string contents are skipped):

    localized("English", language)            also velmora::localized, localizer.localized("...")
    copy.text("English", "Korean")            copy declared in the same file as a VelmoraCopy
    VelmoraCopy{language}.text("English", "Korean")
    anything.text("English", "Korean")        two literal arguments: taken for a VelmoraCopy
    CopyPair{"English", "Korean"}             a text written into a table ahead of use

The English argument may be several adjacent literals ("Nothing was " "moved.") with the
usual escapes (\\", \\n, \\x41, \\u00e9), with or without a u8 prefix, or a raw literal
R"(...)". A first argument that is not made of literals only is a text built at run time; it
is translated through a template, and is checked through example sentences written in a
comment next to the code that builds it, one literal per marker:

    // i18n-example: "Sandbox limits prevent directly quitting Photo Editor."

Every marker in the scanned sources is checked like a call-site text. Patterns are checked with
Python's re module, so they must keep to what it and the program's engine (PCRE2) share.
"""
import json
import pathlib
import re
import sys

LANGUAGES = ["en", "ko", "ja", "zh-Hans", "zh-Hant", "es", "fr", "de"]
LOOKED_UP = ["ja", "zh-Hans", "zh-Hant", "es", "fr", "de"]
SECTIONS = {"language", "keys", "fixed", "templates"}
SOURCE_FOLDERS = ["VelmoraUI", "Velmora"]
SOURCE_SUFFIXES = {".h", ".hpp", ".cpp", ".cc"}
TABLES = "VelmoraUI/translations"
KEY_HEADER = "VelmoraUI/localization/Localizer.h"
KEY_ENTRY = re.compile(r'\{\s*VelmoraI18nKey::\w+\s*,\s*"([^"]+)"\s*\}')
PLACEHOLDER = re.compile(r"\{(\d+)\}")
MARKER = "i18n-example:"
IDENT = re.compile(r"[A-Za-z_]\w*")
STRING_START = re.compile(r'(?:u8|u|U|L)?R?"')


class Error(Exception):
    pass


# --- C++ tokens ------------------------------------------------------------------------------

def decode_escapes(body):
    """The value of an ordinary literal's contents, as text."""
    out = bytearray()
    i = 0
    simple = {"n": b"\n", "t": b"\t", "r": b"\r", "a": b"\a", "b": b"\b", "f": b"\f",
              "v": b"\v", "\\": b"\\", '"': b'"', "'": b"'", "?": b"?"}
    while i < len(body):
        c = body[i]
        if c != "\\":
            out += c.encode("utf-8")
            i += 1
            continue
        n = body[i + 1] if i + 1 < len(body) else ""
        if n in simple:
            out += simple[n]
            i += 2
        elif n == "x":
            m = re.match(r"[0-9A-Fa-f]+", body[i + 2:])
            out.append(int(m.group(0), 16) & 0xFF if m else 0)
            i += 2 + (len(m.group(0)) if m else 0)
        elif n in "uU":
            width = 4 if n == "u" else 8
            out += chr(int(body[i + 2:i + 2 + width], 16)).encode("utf-8")
            i += 2 + width
        elif n.isdigit():
            m = re.match(r"[0-7]{1,3}", body[i + 1:])
            out.append(int(m.group(0), 8) & 0xFF)
            i += 1 + len(m.group(0))
        else:
            out += n.encode("utf-8")
            i += 2
    return out.decode("utf-8", errors="replace")


def read_literal(text, i):
    """Reads the string literal starting at text[i]; returns (value, end index)."""
    m = STRING_START.match(text, i)
    start = m.end()
    if "R" in m.group(0):
        paren = text.index("(", start)
        delimiter = text[start:paren]
        close = text.index(")" + delimiter + '"', paren)
        return text[paren + 1:close], close + len(delimiter) + 2
    j = start
    while j < len(text) and text[j] != '"':
        j += 2 if text[j] == "\\" else 1
    return decode_escapes(text[start:j]), j + 1


def tokens(text):
    """(kind, value, line) for identifiers, strings and punctuation; ("marker", text, line) for
    the example sentences in comments. Numbers, character literals and spaces are dropped."""
    out = []
    i, line = 0, 1
    while i < len(text):
        c = text[i]
        if c == "\n":
            line += 1
            i += 1
        elif c.isspace():
            i += 1
        elif text.startswith("//", i) or text.startswith("/*", i):
            end = text.find("\n", i) if c == "/" and text[i + 1] == "/" else text.find("*/", i)
            end = len(text) if end < 0 else end
            comment = text[i:end]
            for k, part in enumerate(comment.split("\n")):
                at = part.find(MARKER)
                if at >= 0:
                    rest = part[at + len(MARKER):].lstrip()
                    if not rest.startswith('"'):
                        raise Error(f"line {line + k}: {MARKER} needs one string literal")
                    out.append(("marker", read_literal(rest, 0)[0], line + k))
            line += comment.count("\n")
            i = end
        elif STRING_START.match(text, i) and (i == 0 or not (text[i - 1].isalnum() or
                                                              text[i - 1] == "_")):
            start_line = line
            value, end = read_literal(text, i)
            line += text.count("\n", i, end)
            out.append(("string", value, start_line))
            i = end
        elif c == "'":
            j = i + 1
            while j < len(text) and text[j] != "'":
                j += 2 if text[j] == "\\" else 1
            i = j + 1
        elif c.isalpha() or c == "_":
            m = IDENT.match(text, i)
            out.append(("ident", m.group(0), line))
            i = m.end()
        elif c.isdigit():
            m = re.match(r"[0-9A-Za-z_.']+", text[i:])
            i += len(m.group(0))
        else:
            two = text[i:i + 2]
            if two in ("->", "::"):
                out.append(("punct", two, line))
                i += 2
            else:
                out.append(("punct", c, line))
                i += 1
    return out


def arguments(toks, open_index):
    """The top-level arguments of the call whose "(" is toks[open_index], as token lists."""
    args, current, depth = [], [], 0
    for t in toks[open_index + 1:]:
        if t[0] == "punct" and t[1] in "([{":
            depth += 1
        elif t[0] == "punct" and t[1] in ")]}":
            if depth == 0:
                args.append(current)
                return args
            depth -= 1
        elif t[0] == "punct" and t[1] == "," and depth == 0:
            args.append(current)
            current = []
            continue
        current.append(t)
    return args


def literal_value(arg):
    """The text of an argument made of adjacent literals only, else None."""
    if arg and all(t[0] == "string" for t in arg):
        return "".join(t[1] for t in arg)
    return None


def copy_names(source):
    names = set(re.findall(r"\bVelmoraCopy\b\s*(?:const\s*)?[&*]?\s*([A-Za-z_]\w*)", source))
    names |= set(re.findall(r"\b([A-Za-z_]\w*)\s*=\s*(?:velmora::)?VelmoraCopy\b", source))
    return names


def receiver_is_copy(toks, dot_index, names):
    before = toks[dot_index - 1] if dot_index > 0 else None
    if before is None:
        return False
    if before[0] == "ident":
        return before[1] in names
    if before[0] == "punct" and before[1] in ")}":
        opening = {")": "(", "}": "{"}[before[1]]
        depth = 0
        for k in range(dot_index - 1, -1, -1):
            t = toks[k]
            if t[0] == "punct" and t[1] == before[1]:
                depth += 1
            elif t[0] == "punct" and t[1] == opening:
                depth -= 1
                if depth == 0:
                    return k > 0 and toks[k - 1] == ("ident", "VelmoraCopy", toks[k - 1][2])
    return False


def extract(path, source):
    """(text, "file:line") for every English text given at a call site and every example."""
    found = []
    toks = tokens(source)
    names = copy_names(source)
    for k, t in enumerate(toks):
        if t[0] == "marker":
            found.append((t[1], f"{path}:{t[2]}"))
            continue
        if t[0] == "ident" and t[1] == "CopyPair" and k + 1 < len(toks) and \
                toks[k + 1][:2] == ("punct", "{"):
            args = arguments(toks, k + 1)
            if len(args) == 2 and all(literal_value(a) is not None for a in args):
                found.append((literal_value(args[0]), f"{path}:{t[2]}"))
            continue
        if t[0] != "ident" or k + 1 >= len(toks) or toks[k + 1][:2] != ("punct", "("):
            continue
        if t[1] == "localized":
            args = arguments(toks, k + 1)
        elif t[1] == "text" and k > 0 and toks[k - 1][0] == "punct" and \
                toks[k - 1][1] in (".", "->"):
            args = arguments(toks, k + 1)
            two_literals = len(args) == 2 and all(literal_value(a) is not None for a in args)
            if not (two_literals or receiver_is_copy(toks, k - 1, names)):
                continue
        else:
            continue
        if args:
            value = literal_value(args[0])
            if value is not None:
                found.append((value, f"{path}:{t[2]}"))
    return found


# --- Tables ----------------------------------------------------------------------------------

def no_duplicates(pairs):
    seen = {}
    for key, value in pairs:
        if key in seen:
            raise Error(f'the key "{key}" appears twice')
        seen[key] = value
    return seen


def read_table(path, keys, problems):
    """{"fixed": {...}, "templates": [(compiled, text)], "keys": {...}}; problems appended."""
    name = path.name
    table = {"fixed": {}, "templates": [], "keys": {}}
    try:
        data = json.loads(path.read_text(encoding="utf-8"), object_pairs_hook=no_duplicates)
    except (Error, ValueError) as e:
        problems.append(f"{name}: the data file is malformed: {e}")
        return table
    if not isinstance(data, dict):
        problems.append(f"{name}: the data file is not a JSON object")
        return table
    for section in sorted(set(data) - SECTIONS):
        problems.append(f'{name}: unknown section "{section}"')
    if data.get("language") != path.stem:
        problems.append(f'{name}: "language" must be "{path.stem}"')

    def texts(section):
        value = data.get(section, {})
        if not isinstance(value, dict):
            problems.append(f'{name}: "{section}" must be an object of texts')
            return {}
        for english, translation in value.items():
            if not isinstance(translation, str) or not translation.strip():
                problems.append(f'{name}: {section} "{english}" has no translation')
        return {k: v for k, v in value.items() if isinstance(v, str) and v.strip()}

    table["keys"] = texts("keys")
    table["fixed"] = texts("fixed")
    for key in keys:
        if key not in table["keys"]:
            problems.append(f'{path.stem}: the keyed text "{key}" is missing')
    for key in sorted(set(table["keys"]) - set(keys)):
        problems.append(f'{name}: unknown keyed text "{key}"')

    templates = data.get("templates", [])
    if not isinstance(templates, list):
        problems.append(f'{name}: "templates" must be a list')
        templates = []
    seen_patterns = set()
    for entry in templates:
        if not isinstance(entry, dict) or set(entry) != {"pattern", "text"} or \
                not all(isinstance(entry[f], str) and entry[f] for f in ("pattern", "text")):
            problems.append(f'{name}: a template must be {{"pattern": ..., "text": ...}}: {entry}')
            continue
        pattern, text = entry["pattern"], entry["text"]
        if pattern in seen_patterns:
            problems.append(f'{name}: the pattern "{pattern}" appears twice')
        seen_patterns.add(pattern)
        try:
            compiled = re.compile(pattern)
        except re.error as e:
            problems.append(f'{name}: the pattern "{pattern}" does not compile: {e}')
            continue
        used = {int(n) for n in PLACEHOLDER.findall(text)}
        stray = PLACEHOLDER.sub("", text)
        if used != set(range(compiled.groups)) or "{" in stray or "}" in stray:
            problems.append(f'{name}: the text "{text}" needs exactly the placeholders '
                            f'{{0}}..{{{compiled.groups - 1}}} for the captures of "{pattern}"')
            continue
        table["templates"].append((compiled, text))
    return table


def translates(table, english):
    return english in table["fixed"] or any(p.fullmatch(english) for p, _ in table["templates"])


def captured(match):
    return sum(len(g or "") for g in match.groups())


def shadowing(table, english):
    """The first template that matches `english` (the one the program uses) and a later one
    that fits it more closely (keeps more of it as literal text), when there is such a pair:
    the more general template was put first by mistake."""
    if english in table["fixed"]:
        return None
    matches = [(p, p.fullmatch(english)) for p, _ in table["templates"]]
    matches = [(p, m) for p, m in matches if m]
    if len(matches) < 2:
        return None
    first, first_match = matches[0]
    for later, later_match in matches[1:]:
        if captured(later_match) < captured(first_match):
            return first.pattern, later.pattern
    return None


def check(root):
    root = pathlib.Path(root)
    problems = []
    keys = KEY_ENTRY.findall((root / KEY_HEADER).read_text(encoding="utf-8"))
    if not keys:
        problems.append(f"{KEY_HEADER}: no keyed texts found")
    tables = {}
    for language in LANGUAGES:
        path = root / TABLES / f"{language}.json"
        if not path.is_file():
            problems.append(f"{language}: the data file {path.name} is missing")
            continue
        tables[language] = read_table(path, keys, problems)
    for path in sorted((root / TABLES).glob("*.json")):
        if path.stem not in LANGUAGES:
            problems.append(f"{path.name}: not a language the program offers")

    texts = []
    for folder in SOURCE_FOLDERS:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix not in SOURCE_SUFFIXES or not path.is_file():
                continue
            relative = path.relative_to(root)
            try:
                texts += extract(relative, path.read_text(encoding="utf-8"))
            except Error as e:
                problems.append(f"{relative}: {e}")
    for language in LOOKED_UP:
        if language not in tables:
            continue
        for english, where in texts:
            if not translates(tables[language], english):
                problems.append(f'{language}: no translation for "{english}" ({where})')
            elif pair := shadowing(tables[language], english):
                problems.append(f'{language}: "{english}" ({where}) is translated by the template '
                                f'"{pair[0]}", which comes before the closer "{pair[1]}"')
    for problem in problems:
        print(problem, file=sys.stderr)
    print(f"{len(set(t for t, _ in texts))} texts in {len(LOOKED_UP)} languages, "
          f"{len(keys)} keyed texts in {len(LANGUAGES)}: {len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        sys.exit(2)
    sys.exit(check(sys.argv[1]))
