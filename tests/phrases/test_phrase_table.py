"""Checks on the phrase table source and on the resource generator.

Run from the repository root:  python3 -m unittest discover -s tests/phrases
"""

import contextlib
import io
import os
import subprocess
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

LANGUAGES = ("Czech", "Danish", "Dutch", "English", "Finnish", "French",
             "German", "Greek", "Italian", "Norwegian", "Portuguese",
             "Slovenian", "Spanish", "Swedish", "Turkish", "Russian")
COLUMN = {name: index + 1 for index, name in enumerate(LANGUAGES)}

# The keys the loader asks for, in order.  Kept here independently of the
# generator's own list so that an edit to either one is noticed.
EXPECTED_KEYS = """
LNGADD LNGADVANCED LNGALL LNGALWAYSUSEDEFAULT LNGANALYZE LNGCANCEL
LNGCHECKPERM LNGCHOOSE LNGCHOOSECONNECTION LNGCONNECTIONFAILED
LNGCONNECTIONSUCCEEDED LNGCREATENEWACCESSDATABASE LNGCREATESQLDATABASE
LNGDATABASE LNGDAY LNGDEFAULT LNGDELETE LNGDOWNLOADDOCLIBSFAILED LNGEDIT
LNGENABLED LNGENDAPP LNGERRCONNECTIONFAILED LNGERRINAPP LNGERRLINE
LNGERROREXECUTE LNGERRSENDREPORT LNGERRSYSTEMERROR LNGERRTHISERROR
LNGFILENAME LNGINSTALLNOW LNGINTEGRATEDSECURITY LNGLOGFILESFOUND
LNGLOGFILESPATH LNGMONTH LNGMSGDELETE LNGNAME LNGNAMEFORREPORT LNGNEW
LNGO2KNEEDED LNGOK LNGPASSWORD LNGPICKFOLDER LNGPREDEFINED LNGQUARTER
LNGRESTARTOUTLOOK LNGSELECTDATABASECONNECTION LNGSELECTEXISTINGSQLDB
LNGSENDMEEMAIL LNGSERVER LNGSETTINGS LNGSETTINGSTT
LNGSHAREPOINTSITETOFINDDOCS LNGSHOWQBXSETTING LNGSITES LNGSUBROUTINE
LNGTEST LNGUPLOADPROBLEM LNGUSERNAME LNGWEEK LNGYEAR
""".split()

# English texts that other parts of the add-in and its error report rely on;
# they stay exactly as written, including the misspelt "occured".
FIXED_ENGLISH = {
    "LNGERRINAPP": "There has been an error in this application.",
    "LNGERRTHISERROR": "This error has occured:",
    "LNGERRSYSTEMERROR": "The system error message was:",
    "LNGSUBROUTINE": "Sub routine",
    "LNGERRLINE": "Error on line",
    "LNGERRSENDREPORT": "Would you like to send an e-mail with an error report?",
    "LNGERROREXECUTE": "Error trying to run the file at",
    "LNGUPLOADPROBLEM": "There was a problem uploading the attachment to the SharePoint server.",
    "LNGO2KNEEDED": "You need Outlook 2000 or later to run this application.",
    "LNGRESTARTOUTLOOK": "You should restart MS Outlook now.",
    "LNGSETTINGSTT": "Show settings",
    "LNGENDAPP": "End application",
    "LNGSETTINGS": "Configure",
    "LNGCHECKPERM": "Check that you have the appropriate permissions!",
    "LNGCHOOSE": "Choose",
    "LNGPREDEFINED": "Predefined",
    "LNGSITES": "Document libraries",
    "LNGDEFAULT": "Default",
    "LNGNEW": "New",
    "LNGADD": "Add",
    "LNGFILENAME": "Filename",
    "LNGOK": "OK",
    "LNGCANCEL": "Cancel",
    "LNGDOWNLOADDOCLIBSFAILED": "Failed to download SharePoint document libraries from %s.",
    "LNGALWAYSUSEDEFAULT": "Always use the default",
    "LNGSHAREPOINTSITETOFINDDOCS": "Choose SharePoint Site to add document libraries from",
}

# Captions of small buttons and check boxes (about 50-60 dialog units wide).
SHORT_CAPTIONS = ("LNGOK", "LNGCANCEL", "LNGADD", "LNGNEW", "LNGDEFAULT",
                  "LNGCHOOSE", "LNGPREDEFINED", "LNGSETTINGS", "LNGDELETE",
                  "LNGEDIT", "LNGTEST")
SHORT_CAPTION_LIMIT = 16

# Greek writes its question mark as ";" (or the dedicated U+037E).
QUESTION_MARKS = {"Greek": (";", "\u037e")}


def read_source_rows():
    with open(TABLE, encoding="utf-8") as handle:
        return [line.rstrip("\r\n").split("\t") for line in handle]


def read_resource_like_the_addin(data):
    """Parse resource bytes the way the add-in does at start-up."""
    text = data.decode("utf-16-le")
    if text.startswith("\ufeff"):
        text = text[1:]
    pieces = text.split("\r\n")
    return [piece.split("\t") for piece in pieces[:-1]]


class GeneratedResourceTest(unittest.TestCase):
    """The bytes the build embeds as the "LANGUAGE" resource."""

    @classmethod
    def setUpClass(cls):
        cls.rows = read_source_rows()
        with tempfile.TemporaryDirectory() as work:
            output = os.path.join(work, "language.bin")
            gen.convert(TABLE, output)
            with open(output, "rb") as handle:
                cls.data = handle.read()

    def test_starts_with_utf16le_byte_order_mark(self):
        self.assertEqual(self.data[:2], b"\xff\xfe")
        self.assertEqual(len(self.data) % 2, 0)

    def test_every_line_ends_with_crlf_including_the_last(self):
        text = self.data[2:].decode("utf-16-le")
        self.assertTrue(text.endswith("\r\n"),
                        "the loader drops a last line without CR LF")
        bare = text.replace("\r\n", "")
        self.assertNotIn("\r", bare)
        self.assertNotIn("\n", bare)

    def test_round_trip_gives_back_the_source_table(self):
        self.assertEqual(read_resource_like_the_addin(self.data), self.rows)

    def test_output_is_deterministic(self):
        self.assertEqual(gen.encode_table(self.rows), self.data)
        with tempfile.TemporaryDirectory() as work:
            output = os.path.join(work, "again.bin")
            gen.convert(TABLE, output)
            with open(output, "rb") as handle:
                self.assertEqual(handle.read(), self.data)


class TableContentTest(unittest.TestCase):
    """What the phrase table must hold for the add-in's texts to come out right."""

    @classmethod
    def setUpClass(cls):
        cls.rows = read_source_rows()
        cls.by_key = {row[0]: row for row in cls.rows}

    def cells(self, key):
        return {name: self.by_key[key][COLUMN[name]] for name in LANGUAGES}

    def test_every_key_once_in_order(self):
        self.assertEqual([row[0] for row in self.rows], EXPECTED_KEYS)
        self.assertEqual(list(gen.KEYS), EXPECTED_KEYS)

    def test_no_empty_or_padded_cell(self):
        for row in self.rows:
            for name in LANGUAGES:
                cell = row[COLUMN[name]]
                with self.subTest(key=row[0], language=name):
                    self.assertTrue(cell, "empty cell")
                    self.assertEqual(cell, cell.strip(), "leading or trailing blank")

    def test_fixed_english_texts_are_exact(self):
        for key, text in FIXED_ENGLISH.items():
            with self.subTest(key=key):
                self.assertEqual(self.by_key[key][COLUMN["English"]], text)

    def test_download_failure_keeps_one_site_placeholder(self):
        for name, text in self.cells("LNGDOWNLOADDOCLIBSFAILED").items():
            with self.subTest(language=name):
                self.assertEqual(text.count("%s"), 1)
                self.assertEqual(text.count("%"), 1, "stray format character")

    def test_report_labels_end_in_colon(self):
        # The error report writes " :" after these two.
        for key in ("LNGERRTHISERROR", "LNGERRSYSTEMERROR"):
            for name, text in self.cells(key).items():
                with self.subTest(key=key, language=name):
                    self.assertTrue(text.endswith(":"), text)

    def test_questions_end_in_question_mark(self):
        # The error prompt appends "?" after LNGERRSENDREPORT.
        for key in ("LNGERRSENDREPORT", "LNGMSGDELETE"):
            for name, text in self.cells(key).items():
                with self.subTest(key=key, language=name):
                    self.assertTrue(text.endswith(QUESTION_MARKS.get(name, ("?",))), text)

    def test_spanish_questions_and_exclamations_open_properly(self):
        spanish = COLUMN["Spanish"]
        for row in self.rows:
            text = row[spanish]
            with self.subTest(key=row[0]):
                if text.endswith("?"):
                    self.assertIn("\u00bf", text)
                if text.endswith("!"):
                    self.assertIn("\u00a1", text)

    def test_settings_screentip_is_safe_inside_ribbon_xml(self):
        # The phrase is spliced into an XML attribute, and "*" is turned into
        # a quotation mark there.
        for name, text in self.cells("LNGSHOWQBXSETTING").items():
            with self.subTest(language=name):
                for bad in '*"<>&':
                    self.assertNotIn(bad, text)

    def test_no_ascii_apostrophes(self):
        # The loader deletes every "'", which would glue words together
        # ("lapplication"); French and Italian elisions use U+2019 instead.
        for row in self.rows:
            for name in LANGUAGES:
                with self.subTest(key=row[0], language=name):
                    self.assertNotIn("'", row[COLUMN[name]])

    def test_button_captions_stay_short(self):
        for key in SHORT_CAPTIONS:
            for name, text in self.cells(key).items():
                with self.subTest(key=key, language=name):
                    self.assertLessEqual(len(text), SHORT_CAPTION_LIMIT, text)

    def test_greek_and_russian_columns_are_in_their_own_script(self):
        # Catches shifted columns and transliterated text.
        ranges = {"Greek": ("\u0370", "\u03ff"), "Russian": ("\u0400", "\u04ff")}
        latin_only_ok = {("Greek", "LNGOK")}
        for name, (low, high) in ranges.items():
            column = COLUMN[name]
            offenders = [row[0] for row in self.rows
                         if (name, row[0]) not in latin_only_ok
                         and not any(low <= ch <= high for ch in row[column])]
            self.assertEqual(offenders, [], "%s cells without %s letters" % (name, name))

    def test_languages_differ_from_english_where_they_must(self):
        # A column pasted from English would pass every other check; long
        # messages are never the same text in another language.
        english = COLUMN["English"]
        for row in self.rows:
            if len(row[english]) < 25:
                continue
            for name in LANGUAGES:
                if name == "English":
                    continue
                with self.subTest(key=row[0], language=name):
                    self.assertNotEqual(row[COLUMN[name]], row[english])


class GeneratorRejectsTest(unittest.TestCase):
    """A broken table must stop the build with a message, never be embedded."""

    @classmethod
    def setUpClass(cls):
        with open(TABLE, encoding="utf-8") as handle:
            cls.lines = handle.read().split("\n")[:-1]

    def run_generator(self, lines):
        with tempfile.TemporaryDirectory() as work:
            source = os.path.join(work, "phrases.tsv")
            output = os.path.join(work, "language.bin")
            with open(source, "w", encoding="utf-8", newline="") as handle:
                handle.write("\n".join(lines) + "\n")
            errors = io.StringIO()
            with contextlib.redirect_stderr(errors):
                status = gen.main(["make_phrase_resource.py", source, output])
            written = os.path.exists(output)
        return status, errors.getvalue(), written

    def assertRejected(self, lines, *fragments):
        status, message, written = self.run_generator(lines)
        self.assertEqual(status, 1)
        self.assertFalse(written, "output written despite the error")
        for fragment in fragments:
            self.assertIn(fragment, message)

    def test_accepts_the_real_table_with_windows_line_ends(self):
        status, message, written = self.run_generator([l + "\r" for l in self.lines])
        self.assertEqual((status, message, written), (0, "", True))

    def test_rejects_a_short_line(self):
        lines = list(self.lines)
        lines[4] = lines[4].rsplit("\t", 1)[0]
        self.assertRejected(lines, "line 5", "16 fields")

    def test_rejects_a_duplicate_key(self):
        lines = list(self.lines)
        lines.insert(10, lines[3])
        self.assertRejected(lines, "LNGALWAYSUSEDEFAULT", "line 4")

    def test_rejects_a_missing_key(self):
        lines = [l for l in self.lines if not l.startswith("LNGSITES\t")]
        self.assertRejected(lines, "missing", "LNGSITES")

    def test_rejects_keys_out_of_order(self):
        lines = list(self.lines)
        lines[0], lines[1] = lines[1], lines[0]
        self.assertRejected(lines, "out of order")

    def test_rejects_an_unknown_key(self):
        lines = list(self.lines)
        lines[7] = "LNGTYPO" + lines[7][lines[7].index("\t"):]
        self.assertRejected(lines, "LNGTYPO")

    def test_rejects_an_empty_english_cell(self):
        lines = list(self.lines)
        fields = lines[6].split("\t")
        fields[COLUMN["English"]] = ""
        lines[6] = "\t".join(fields)
        self.assertRejected(lines, "English")

    def test_allows_an_empty_translation(self):
        # The add-in falls back to English for an empty cell.
        lines = list(self.lines)
        fields = lines[6].split("\t")
        fields[COLUMN["Turkish"]] = ""
        lines[6] = "\t".join(fields)
        status, message, written = self.run_generator(lines)
        self.assertEqual((status, written), (0, True), message)

    def test_command_line_failure_exit_status(self):
        with tempfile.TemporaryDirectory() as work:
            source = os.path.join(work, "bad.tsv")
            output = os.path.join(work, "out.bin")
            with open(source, "w", encoding="utf-8") as handle:
                handle.write("LNGADD\tonly two fields\n")
            result = subprocess.run([sys.executable, GENERATOR, source, output],
                                    capture_output=True, text=True)
            self.assertEqual(result.returncode, 1)
            self.assertIn("error", result.stderr)
            self.assertFalse(os.path.exists(output))


if __name__ == "__main__":
    unittest.main()
