#!/usr/bin/env python3
"""Turn the readable phrase table into the bytes of the "LANGUAGE" resource.

Usage: make_phrase_resource.py INPUT.tsv OUTPUT.bin

Input: UTF-8 text, one line per phrase key, seventeen TAB-separated fields
(the key, then the sixteen language columns in the order of LANGUAGES).
Output: the same table as UTF-16LE with a byte-order mark, every line ended by
CR LF (the last one too: the loader ignores whatever follows the final CR LF).

The table is checked before anything is written; on a problem the script
names the file and line, writes nothing and exits with status 1, so the build
stops instead of embedding a table the add-in cannot load.
"""

import os
import sys

LANGUAGES = (
    "Czech", "Danish", "Dutch", "English", "Finnish", "French", "German",
    "Greek", "Italian", "Norwegian", "Portuguese", "Slovenian", "Spanish",
    "Swedish", "Turkish", "Russian",
)
FIELD_COUNT = 1 + len(LANGUAGES)
ENGLISH = 1 + LANGUAGES.index("English")

# Every key the add-in reads, in the order of the table.  The loader copies
# the phrases into its variables in this order and stops at the first key it
# cannot find, so the table must hold all of them.
KEYS = (
    "LNGADD", "LNGADVANCED", "LNGALL", "LNGALWAYSUSEDEFAULT", "LNGANALYZE",
    "LNGCANCEL", "LNGCHECKPERM", "LNGCHOOSE", "LNGCHOOSECONNECTION",
    "LNGCONNECTIONFAILED", "LNGCONNECTIONSUCCEEDED",
    "LNGCREATENEWACCESSDATABASE", "LNGCREATESQLDATABASE", "LNGDATABASE",
    "LNGDAY", "LNGDEFAULT", "LNGDELETE", "LNGDOWNLOADDOCLIBSFAILED",
    "LNGEDIT", "LNGENABLED", "LNGENDAPP", "LNGERRCONNECTIONFAILED",
    "LNGERRINAPP", "LNGERRLINE", "LNGERROREXECUTE", "LNGERRSENDREPORT",
    "LNGERRSYSTEMERROR", "LNGERRTHISERROR", "LNGFILENAME", "LNGINSTALLNOW",
    "LNGINTEGRATEDSECURITY", "LNGLOGFILESFOUND", "LNGLOGFILESPATH",
    "LNGMONTH", "LNGMSGDELETE", "LNGNAME", "LNGNAMEFORREPORT", "LNGNEW",
    "LNGO2KNEEDED", "LNGOK", "LNGPASSWORD", "LNGPICKFOLDER", "LNGPREDEFINED",
    "LNGQUARTER", "LNGRESTARTOUTLOOK", "LNGSELECTDATABASECONNECTION",
    "LNGSELECTEXISTINGSQLDB", "LNGSENDMEEMAIL", "LNGSERVER", "LNGSETTINGS",
    "LNGSETTINGSTT", "LNGSHAREPOINTSITETOFINDDOCS", "LNGSHOWQBXSETTING",
    "LNGSITES", "LNGSUBROUTINE", "LNGTEST", "LNGUPLOADPROBLEM",
    "LNGUSERNAME", "LNGWEEK", "LNGYEAR",
)


class TableError(Exception):
    """A problem in the phrase table; the message says where and what."""


def parse_table(text, source="phrase table"):
    """Split the UTF-8 source text into rows of fields and check them.

    Accepts LF or CR LF line ends and one final line end.  Returns a list of
    rows, each a list of FIELD_COUNT strings, in the order of KEYS.
    """
    if text.startswith("\ufeff"):
        text = text[1:]
    lines = text.split("\n")
    if lines and lines[-1] == "":
        lines.pop()

    rows = []
    seen = {}
    for number, line in enumerate(lines, start=1):
        if line.endswith("\r"):
            line = line[:-1]
        where = "%s, line %d" % (source, number)
        if "\r" in line:
            raise TableError("%s: stray carriage return inside the line" % where)
        fields = line.split("\t")
        if len(fields) != FIELD_COUNT:
            raise TableError(
                "%s: %d fields, expected %d (key and %d languages, TAB-separated)"
                % (where, len(fields), FIELD_COUNT, len(LANGUAGES)))
        key = fields[0]
        if key in seen:
            raise TableError("%s: key %s already defined on line %d"
                             % (where, key, seen[key]))
        if key not in KEYS:
            raise TableError("%s: unknown key %r" % (where, key))
        seen[key] = number
        if not fields[ENGLISH].strip():
            raise TableError("%s: %s has no English text (English is the fallback "
                             "for every empty cell)" % (where, key))
        rows.append(fields)

    missing = [key for key in KEYS if key not in seen]
    if missing:
        raise TableError("%s: missing key(s): %s" % (source, ", ".join(missing)))
    for row, expected in zip(rows, KEYS):
        if row[0] != expected:
            raise TableError(
                "%s, line %d: %s is out of order, expected %s at this position"
                % (source, seen[row[0]], row[0], expected))
    return rows


def encode_table(rows):
    """Resource bytes: BOM, UTF-16LE, TAB between fields, CR LF after every line."""
    text = "".join("\t".join(fields) + "\r\n" for fields in rows)
    return b"\xff\xfe" + text.encode("utf-16-le")


def convert(input_path, output_path):
    try:
        with open(input_path, "rb") as handle:
            raw = handle.read()
    except OSError as error:
        raise TableError("cannot read %s: %s" % (input_path, error.strerror))
    try:
        text = raw.decode("utf-8")
    except UnicodeDecodeError as error:
        raise TableError("%s: not valid UTF-8 at byte %d" % (input_path, error.start))

    data = encode_table(parse_table(text, input_path))

    # Write beside the target and rename, so a failed run never leaves a
    # half-written resource behind for the resource compiler.
    directory = os.path.dirname(os.path.abspath(output_path))
    os.makedirs(directory, exist_ok=True)
    temporary = output_path + ".tmp"
    with open(temporary, "wb") as handle:
        handle.write(data)
    os.replace(temporary, output_path)


def main(argv):
    if len(argv) != 3:
        sys.stderr.write("usage: %s INPUT.tsv OUTPUT.bin\n" % os.path.basename(argv[0]))
        return 2
    try:
        convert(argv[1], argv[2])
    except TableError as error:
        sys.stderr.write("make_phrase_resource: error: %s\n" % error)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
