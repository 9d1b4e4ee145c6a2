"""Checks on the phrase table source and on the resource generator.

Run from the repository root:  python3 -m unittest discover -s tests/phrases
"""

import contextlib
import io
import os
import sys
import tempfile
import unittest

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
TABLE = os.path.join(ROOT, "support", "phrases", "phrases.tsv")
GENERATOR = os.path.join(ROOT, "cmake", "make_phrase_resource.py")

# Import the generator without leaving a bytecode cache in cmake/.
sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(GENERATOR))
import make_phrase_resource as gen  # noqa: E402

LANGUAGES = ("Czech", "Danish", "Dutch", "English", "Finnish", "French", "German", "Greek", "Italian", "Norwegian",
             "Portuguese", "Slovenian", "Spanish", "Swedish", "Turkish", "Russian")
COLUMN = {name: index + 1 for index, name in enumerate(LANGUAGES)}
ENGLISH = COLUMN["English"]

# The keys the loader asks for, in order.  Kept here independently of the
# generator's own list so that an edit to either one is noticed.
EXPECTED_KEYS = """
LNGADD LNGADVANCED LNGALL LNGALWAYSUSEDEFAULT LNGANALYZE LNGCANCEL LNGCHECKPERM LNGCHOOSE LNGCHOOSECONNECTION
LNGCONNECTIONFAILED LNGCONNECTIONSUCCEEDED LNGCREATENEWACCESSDATABASE LNGCREATESQLDATABASE LNGDATABASE LNGDAY
LNGDEFAULT LNGDELETE LNGDOWNLOADDOCLIBSFAILED LNGEDIT LNGENABLED LNGENDAPP LNGERRCONNECTIONFAILED LNGERRINAPP
LNGERRLINE LNGERROREXECUTE LNGERRSENDREPORT LNGERRSYSTEMERROR LNGERRTHISERROR LNGFILENAME LNGINSTALLNOW
LNGINTEGRATEDSECURITY LNGLOGFILESFOUND LNGLOGFILESPATH LNGMONTH LNGMSGDELETE LNGNAME LNGNAMEFORREPORT LNGNEW
LNGO2KNEEDED LNGOK LNGPASSWORD LNGPICKFOLDER LNGPREDEFINED LNGQUARTER LNGRESTARTOUTLOOK LNGSELECTDATABASECONNECTION
LNGSELECTEXISTINGSQLDB LNGSENDMEEMAIL LNGSERVER LNGSETTINGS LNGSETTINGSTT LNGSHAREPOINTSITETOFINDDOCS
LNGSHOWQBXSETTING LNGSITES LNGSUBROUTINE LNGTEST LNGUPLOADPROBLEM LNGUSERNAME LNGWEEK LNGYEAR
""".split()

# English texts that other parts of the add-in and its error report rely on;
# they stay exactly as written, including the misspelt "occured".
FIXED_ENGLISH = {
    "LNGERRINAPP": "There has been an error in this application.",
    "LNGERRTHISERROR": "This error has occured:",
    "LNGERRSYSTEMERROR": "The system error message was:",
    "LNGERRSENDREPORT": "Would you like to send an e-mail with an error report?",
    "LNGERROREXECUTE": "Error trying to run the file at",
    "LNGUPLOADPROBLEM": "There was a problem uploading the attachment to the SharePoint server.",
    "LNGO2KNEEDED": "You need Outlook 2000 or later to run this application.",
    "LNGRESTARTOUTLOOK": "You should restart MS Outlook now.",
    "LNGCHECKPERM": "Check that you have the appropriate permissions!",
    "LNGSUBROUTINE": "Sub routine", "LNGERRLINE": "Error on line", "LNGSETTINGSTT": "Show settings",
    "LNGENDAPP": "End application", "LNGSETTINGS": "Configure", "LNGCHOOSE": "Choose", "LNGPREDEFINED": "Predefined",
    "LNGSITES": "Document libraries", "LNGDEFAULT": "Default", "LNGNEW": "New", "LNGADD": "Add",
    "LNGFILENAME": "Filename", "LNGOK": "OK", "LNGCANCEL": "Cancel",
    "LNGDOWNLOADDOCLIBSFAILED": "Failed to download SharePoint document libraries from %s.",
    "LNGALWAYSUSEDEFAULT": "Always use the default",
    "LNGSHAREPOINTSITETOFINDDOCS": "Choose SharePoint Site to add document libraries from",
}

# What the texts of some keys must satisfy in every language, and why.
KEY_RULES = [
    (("LNGDOWNLOADDOCLIBSFAILED",), lambda lang, text: text.count("%") == text.count("%s") == 1,
     "exactly one %s, where the site address goes"),
    (("LNGERRTHISERROR", "LNGERRSYSTEMERROR"), lambda lang, text: text.endswith(":"),
     "a label in the error report, ends in a colon"),
    (("LNGERRSENDREPORT", "LNGMSGDELETE"),   # Greek writes its question mark as ";" (or U+037E)
     lambda lang, text: text.endswith((";", "\u037e") if lang == "Greek" else "?"), "a question"),
    (("LNGSHOWQBXSETTING",), lambda lang, text: not set('*"<>&') & set(text),
     "spliced into a ribbon XML attribute, where '*' becomes a quotation mark"),
    (("LNGOK", "LNGCANCEL", "LNGADD", "LNGNEW", "LNGDEFAULT", "LNGCHOOSE", "LNGPREDEFINED", "LNGSETTINGS",
      "LNGDELETE", "LNGEDIT", "LNGTEST"), lambda lang, text: len(text) <= 16,
     "a caption of a small button or check box (50-60 dialog units)"),
]
SCRIPTS = {"Greek": ("\u0370", "\u03ff"), "Russian": ("\u0400", "\u04ff")}


def run_generator(lines):
    """Generate from the given source lines; returns (status, messages, output bytes or None)."""
    with tempfile.TemporaryDirectory() as work:
        source, output = os.path.join(work, "phrases.tsv"), os.path.join(work, "language.bin")
        with open(source, "w", encoding="utf-8", newline="") as handle:
            handle.write("\n".join(lines) + "\n")
        errors = io.StringIO()
        with contextlib.redirect_stderr(errors):
            status = gen.main(["make_phrase_resource.py", source, output])
        if not os.path.exists(output):
            return status, errors.getvalue(), None
        with open(output, "rb") as handle:
            return status, errors.getvalue(), handle.read()


class PhraseTableTest(unittest.TestCase):

    @classmethod
    def setUpClass(cls):
        with open(TABLE, encoding="utf-8") as handle:
            cls.lines = handle.read().split("\n")[:-1]
        cls.rows = [line.rstrip("\r").split("\t") for line in cls.lines]
        cls.by_key = {row[0]: row for row in cls.rows}

    def test_resource_bytes_give_back_the_table(self):
        # Windows line ends in the source are fine.
        status, message, data = run_generator([line + "\r" for line in self.lines])
        self.assertEqual((status, message), (0, ""))
        self.assertEqual(data[:2], b"\xff\xfe")
        text = data[2:].decode("utf-16-le")
        # The loader splits on CR LF and drops whatever follows the last one.
        self.assertTrue(text.endswith("\r\n"))
        self.assertNotRegex(text.replace("\r\n", ""), "[\r\n]")
        self.assertEqual([piece.split("\t") for piece in text.split("\r\n")[:-1]], self.rows)

    def test_every_key_once_in_order(self):
        self.assertEqual([row[0] for row in self.rows], EXPECTED_KEYS)
        self.assertEqual(list(gen.KEYS), EXPECTED_KEYS)

    def test_fixed_english_texts_are_exact(self):
        self.assertEqual({key: self.by_key[key][ENGLISH] for key in FIXED_ENGLISH}, FIXED_ENGLISH)

    def test_every_cell(self):
        for row in self.rows:
            for lang in LANGUAGES:
                text = row[COLUMN[lang]]
                with self.subTest(key=row[0], language=lang):
                    self.assertTrue(text and text == text.strip(), "empty or padded cell")
                    # The loader deletes every "'", gluing words together; elisions use U+2019.
                    self.assertNotIn("'", text)
                    if lang == "Spanish" and text[-1] in "?!":   # Spanish opens questions and exclamations too
                        self.assertIn({"?": "\u00bf", "!": "\u00a1"}[text[-1]], text)
                    if lang in SCRIPTS and (lang, row[0]) != ("Greek", "LNGOK"):   # catches shifted columns
                        self.assertTrue(any(SCRIPTS[lang][0] <= ch <= SCRIPTS[lang][1] for ch in text), text)
                    if lang != "English" and len(row[ENGLISH]) >= 25:   # a column pasted from English
                        self.assertNotEqual(text, row[ENGLISH])

    def test_key_rules(self):
        for keys, rule, why in KEY_RULES:
            for key in keys:
                for lang in LANGUAGES:
                    with self.subTest(key=key, language=lang):
                        self.assertTrue(rule(lang, self.by_key[key][COLUMN[lang]]), why)

    def test_generator_rejects_a_broken_table(self):
        def blank(line, lang):   # the line with one language's cell emptied
            fields = line.split("\t")
            return "\t".join(fields[:COLUMN[lang]] + [""] + fields[COLUMN[lang] + 1:])

        ls = self.lines
        for broken, fragments in (
                (ls[:4] + [ls[4].rsplit("\t", 1)[0]] + ls[5:], ("line 5", "16 fields")),
                (ls[:10] + [ls[3]] + ls[10:], ("LNGALWAYSUSEDEFAULT", "line 4")),
                ([line for line in ls if not line.startswith("LNGSITES\t")], ("missing", "LNGSITES")),
                ([ls[1], ls[0]] + ls[2:], ("out of order",)),
                (ls[:7] + ["LNGTYPO" + ls[7][ls[7].index("\t"):]] + ls[8:], ("LNGTYPO",)),
                (ls[:6] + [blank(ls[6], "English")] + ls[7:], ("English",))):
            with self.subTest(fragments[0]):
                status, message, data = run_generator(broken)
                self.assertEqual((status, data is None), (1, True), "accepted, or output written despite the error")
                for fragment in fragments:
                    self.assertIn(fragment, message)
        # An empty translation is fine: the add-in falls back to English.
        self.assertEqual(run_generator(ls[:6] + [blank(ls[6], "Turkish")] + ls[7:])[:2], (0, ""))


if __name__ == "__main__":
    unittest.main()
