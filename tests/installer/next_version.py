#!/usr/bin/env python3
"""Writes a copy of a DLL that says it is the next version: the last number of
its ProductVersion and FileVersion texts and of its fixed file version goes up
by one. The installer test packages it as version N+1.

  next_version.py DLL COPY     prints the new version text
"""
import os
import struct
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "installer"))
import dll_version  # noqa: E402


def bump_text(text):
    head, _, last = text.rpartition(".")
    return head + "." + str(int(last) + 1)


def main(source, copy):
    data = bytearray(open(source, "rb").read())
    new = None
    for name in ("ProductVersion", "FileVersion"):
        at, chars, text = dll_version.string_value(bytes(data), name)
        bumped = bump_text(text)
        if len(bumped) != chars:
            sys.exit("next_version: %s %s -> %s changes the text's length" % (name, text, bumped))
        data[at:at + 2 * chars] = bumped.encode("utf-16-le")
        new = new or bumped
    fixed = dll_version.fixed_info_offset(bytes(data))
    for field in (12, 20):  # dwFileVersionLS, dwProductVersionLS
        (ls,) = struct.unpack_from("<I", data, fixed + field)
        struct.pack_into("<I", data, fixed + field, ls + 1)
    open(copy, "wb").write(data)
    print(new)


if __name__ == "__main__":
    main(*sys.argv[1:])
