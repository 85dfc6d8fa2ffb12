#!/usr/bin/env python3
"""Runs scripts/check_translations.py on small source trees it builds in a temporary folder."""
import contextlib
import io
import json
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
import check_translations  # noqa: E402

KEYS = ["language.title", "home.access.granted.status"]
HEADER = "\n".join(f'{{VelmoraI18nKey::k{i}, "{k}"}},' for i, k in enumerate(KEYS))
QUIT = {"pattern": r"^Sandbox limits prevent directly quitting (.+?)\.$", "text": "Quit {0}."}


def table(language, fixed=None, templates=None, keys=None):
    return json.dumps({"language": language, "keys": keys or {k: k + "!" for k in KEYS},
                       "fixed": fixed or {}, "templates": templates or [QUIT]})


def run(source, tables=None):
    """The problems reported for `source` (one file in Velmora/) and the given tables."""
    with tempfile.TemporaryDirectory() as root:
        base = pathlib.Path(root)
        (base / "VelmoraUI/translations").mkdir(parents=True)
        (base / "VelmoraUI/localization").mkdir()
        (base / "Velmora").mkdir()
        (base / "VelmoraUI/localization/Localizer.h").write_text(HEADER)
        (base / "Velmora/Main.cpp").write_text(source)
        for language in check_translations.LANGUAGES:
            text = (tables or {}).get(language, table(language, fixed={"Scan": language}))
            if text is not None:
                (base / f"VelmoraUI/translations/{language}.json").write_text(text)
        err = io.StringIO()
        with contextlib.redirect_stderr(err), contextlib.redirect_stdout(io.StringIO()):
            code = check_translations.check(root)
        problems = err.getvalue().splitlines()
        assert (code == 0) == (not problems)
        return problems


class CallSites(unittest.TestCase):
    def test_extracted_texts_must_be_in_every_looked_up_table(self):
        cases = [
            ('localized("Scan", l);', 0),
            ('localized("Sc" "an", l);', 0),
            ('localized(u8"Scan", l);', 0),
            ('localized(R"(Scan)", l);', 0),
            ('localized("Sandbox limits prevent directly quitting Mail.", l);', 0),
            ('localized("Missing \\"quoted\\"", l);', 6),
            ('localized("Scan" "ned", l);', 6),
            ('velmora::localized(\n  "Missing",\n  l);', 6),
            ('loc.localized("Missing");', 6),
            ('VelmoraCopy copy{l}; copy.text("Missing", "k");', 6),
            ('const VelmoraCopy& c = x; f(c.text("Mis" "sing", k));', 6),
            ('VelmoraCopy{l}.text("Missing", korean);', 6),
            ('label.text("Missing", "k");', 6),  # two literals: taken for a copy
            ('label.text("Not a copy", k);', 0),
            ('constexpr CopyPair kA[] = {CopyPair{"Missing", "k"}};', 6),
            ('CopyPair{"Miss" "ing", u8"k"}.in(l);', 6),
            ('CopyPair{english, "k"};', 0),
            ('localized(name + "Missing", l);', 0),  # built at run time: needs an example
            ('// localized("Missing", l);\n/* localized("Missing", l); */', 0),
            ('auto s = "localized(\\"Missing\\", l)";', 0),
            ('// i18n-example: "Sandbox limits prevent directly quitting Mail."', 0),
            ('// i18n-example: "Sandbox limits prevent quitting Mail."', 6),
        ]
        for source, count in cases:
            with self.subTest(source=source):
                problems = run(source)
                self.assertEqual(len(problems), count, problems)
                for p in problems:
                    self.assertIn("no translation for", p)
                    self.assertIn("Velmora/Main.cpp:", p)

    def test_a_general_template_must_not_stand_before_a_closer_one(self):
        general = {"pattern": r"^(.+) can be reclaimed\.$", "text": "G {0}"}
        closer = {"pattern": r"^Last scan: (\d+) items, (.+) can be reclaimed\.$",
                  "text": "C {0} {1}"}
        source = '// i18n-example: "Last scan: 3 items, 1 MB can be reclaimed."'
        for order, count in [([closer, general], 0), ([general, closer], 6)]:
            with self.subTest(first=order[0]["text"]):
                tables = {l: table(l, templates=[QUIT] + order)
                          for l in check_translations.LOOKED_UP}
                problems = run(source, tables)
                self.assertEqual(len(problems), count, problems)
                for p in problems:
                    self.assertIn("comes before the closer", p)

    def test_names_the_language_and_the_text(self):
        tables = {"de": table("de", fixed={}), "es": table("es", fixed={"Scan": "Análisis"})}
        problems = run('localized("Scan", l);', tables)
        self.assertEqual(problems, ['de: no translation for "Scan" (Velmora/Main.cpp:1)'])


class Tables(unittest.TestCase):
    def test_faulty_tables_are_reported(self):
        bad_quit = {"pattern": r"^Quit (.+) and (.+)\.$", "text": "{0}"}
        cases = [
            ('{"language": "fr", "fixed": {"A": "a", "A": "b"}}', "appears twice"),
            ('{"language": "fr", "keys": ', "malformed"),
            ('[]', "not a JSON object"),
            (table("de"), '"language" must be "fr"'),
            (table("fr", templates=[QUIT, bad_quit]), "needs exactly the placeholders"),
            (table("fr", templates=[{"pattern": "^Quit {0}$", "text": "{0} {1}"}]),
             "needs exactly the placeholders"),
            (table("fr", templates=[{"pattern": "^(Quit$", "text": "{0}"}]), "does not compile"),
            (table("fr", templates=[QUIT, QUIT]), "appears twice"),
            (table("fr", templates=[{"pattern": "^x$"}]), "a template must be"),
            (table("fr", fixed={"Scan": ""}), "has no translation"),
            (table("fr", keys={KEYS[0]: "Langue"}), 'fr: the keyed text "home.access'),
            (table("fr", keys={**{k: k for k in KEYS}, "extra": "x"}), "unknown keyed text"),
            (None, "fr: the data file fr.json is missing"),
        ]
        for text, expected in cases:
            with self.subTest(expected=expected):
                problems = run("", {"fr": text})
                self.assertTrue(any(expected in p for p in problems), problems)

    def test_korean_and_english_need_only_the_keyed_texts(self):
        lean = {lang: json.dumps({"language": lang, "keys": {k: k for k in KEYS}})
                for lang in ("en", "ko")}
        self.assertEqual(run('localized("Scan", l);', lean), [])


if __name__ == "__main__":
    unittest.main()
