#!/usr/bin/env python3
"""Checks which folder's code includes which: every #include "folder/file"
between the add-in's folders must be an edge named below, so the folders keep
one direction (the link check beside it only sees the three libraries).

    check_includes.py SOURCE_DIR

Prints each include against the direction and exits 1 if there is one.
"""
import os
import re
import sys

# Who may include whom, highest first. A folder may include itself and the
# folders listed for it; nothing else of ours. support/com.h is the toolkit's
# own umbrella header, counted as support/com.
ALLOWED = {
    "host": {"attachments", "settings_ui", "settings_ui/spreadsheet", "sharepoint", "settings", "support",
             "support/com"},
    # The mail window opens the settings window; the chooser takes its
    # colours from the settings window's colouring.
    "attachments": {"settings_ui", "sharepoint", "settings", "support", "support/com"},
    "settings_ui": {"settings_ui/spreadsheet", "sharepoint", "settings", "support", "support/com"},
    # Our spreadsheet control knows nothing of the window that hosts it.
    "settings_ui/spreadsheet": {"support", "support/com"},
    "sharepoint": {"support", "support/com"},
    "settings": {"support", "support/com"},
    "support": {"support/com"},
    "support/com": set(),
}

# Single files a lower folder may include from a higher one. The timer object
# sits with the mail window's code, but the grid wrapper holds one too; the
# file itself may include nothing above the shared services, so no loop forms.
EXCEPTIONS = {
    ("settings_ui", "attachments/frmTimer.h"),
}
LOW_ENOUGH_FOR_EXCEPTIONS = {"support", "support/com"}

# Folders the add-in never includes (the test bed, the tests, the benchmarks).
OUTSIDE = ("testbed/", "tests/", "bench/")

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def folder_of(path):
    if path == "support/com.h" or path.startswith("support/com/"):
        return "support/com"
    if path.startswith("settings_ui/spreadsheet/"):
        return "settings_ui/spreadsheet"
    top = path.split("/", 1)[0]
    return top if top in ALLOWED else None


def main(source_dir):
    wrong = []
    for top in ("host", "attachments", "sharepoint", "settings", "settings_ui", "support"):
        for root, _, files in os.walk(os.path.join(source_dir, top)):
            for name in sorted(files):
                if not name.endswith((".cpp", ".h", ".inc", ".rc")):
                    continue
                path = os.path.relpath(os.path.join(root, name), source_dir).replace(os.sep, "/")
                here = folder_of(path)
                with open(os.path.join(source_dir, path), encoding="utf-8", errors="replace") as f:
                    text = f.read()
                for included in INCLUDE.findall(text):
                    if included.startswith(OUTSIDE):
                        wrong.append(f"{path}: includes {included} (the add-in never includes {included.split('/')[0]}/)")
                        continue
                    there = folder_of(included)
                    if there is None or there == here or there in ALLOWED[here]:
                        continue
                    if (here, included) in EXCEPTIONS:
                        continue
                    wrong.append(f"{path}: includes {included} ({here} may not include {there})")
    # The files a lower folder may include must not lead back up.
    for _, allowed_file in EXCEPTIONS:
        stem = allowed_file.rsplit(".", 1)[0]
        for own in (stem + ".h", stem + ".cpp"):
            full = os.path.join(source_dir, own)
            if not os.path.exists(full):
                continue
            with open(full, encoding="utf-8", errors="replace") as f:
                for included in INCLUDE.findall(f.read()):
                    there = folder_of(included)
                    if there is not None and included != allowed_file and there not in LOW_ENOUGH_FOR_EXCEPTIONS:
                        wrong.append(f"{own}: includes {included} (a file lower folders include may only "
                                     "include the shared services)")
    for line in wrong:
        print(line)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1] if len(sys.argv) > 1 else "."))
