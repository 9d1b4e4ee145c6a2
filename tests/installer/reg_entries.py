#!/usr/bin/env python3
"""Registry values as comparable lines, for the installer test.

  reg_entries.py added BEFORE AFTER DLLPATH  values AFTER has and BEFORE has not
                                             (and "removed:" for the reverse), leaving
                                             out Windows Installer's records of products
  reg_entries.py table REGISTRY.idt          the values of a package's Registry table
  reg_entries.py leftovers BEFORE AFTER      keys and values that differ, apart from the
                                             empty bookkeeping keys of Windows Installer

BEFORE and AFTER are `reg export` files converted to UTF-8. A line is
"KEY<TAB>NAME<TAB>DATA", the key lower-cased (the registry ignores case), @ for
a key's default value, DLLPATH (any case) in the data written as <dll>, as in
installer/registry_keys.txt.
"""
import sys

ROOTS = {"1": "HKEY_CURRENT_USER", "2": "HKEY_LOCAL_MACHINE"}
# Windows Installer's own registry: its records of the installed products, and
# the empty container keys it keeps after the last product has gone, as on Windows.
INSTALLER_KEYS = ("hkey_local_machine\\software\\classes\\installer",
                  "hkey_local_machine\\software\\microsoft\\windows\\currentversion\\installer",
                  "hkey_current_user\\software\\microsoft\\installer")


def read_export(path):
    """{lower-cased key: {(name, data)}} of a .reg export."""
    keys, current, pending = {}, None, ""
    with open(path, encoding="utf-8") as f:
        for line in f:
            line = pending + (line.strip() if pending else line.rstrip("\n"))
            if line.endswith("\\") and not line.startswith("["):  # a value continued on the next line
                pending = line[:-1].strip()
                continue
            pending = ""
            if line.startswith("[") and line.endswith("]"):
                current = line[1:-1].lower()
                keys.setdefault(current, set())
            elif current is not None and "=" in line:
                keys[current].add(split_value(line))
    return keys


def split_value(line):
    if line.startswith("@="):
        name, data = "@", line[2:]
    else:  # "name"=data, the name with \\ and \" escapes
        i, name = 1, ""
        while line[i] != '"':
            if line[i] == "\\":
                i += 1
            name += line[i]
            i += 1
        data = line[i + 2:]
    if data.startswith('"'):
        data = data[1:-1].replace('\\"', '"').replace("\\\\", "\\")
    elif data.startswith("dword:"):
        data = "dword:%d" % int(data[6:], 16)
    return name.lower(), data


def lines(keys, dll=None):
    out = []
    for key, values in keys.items():
        for name, data in values:
            if dll and data.lower() == dll.lower():
                data = "<dll>"
            out.append("%s\t%s\t%s" % (key, name, data))
    return sorted(out)


def added(before, after, dll):
    b, a = read_export(before), read_export(after)
    # Windows Installer's records of the installed product are its own, not the add-in's.
    new = {k: v - b.get(k, set()) for k, v in a.items() if not k.startswith(INSTALLER_KEYS)}
    gone = {k: v - a.get(k, set()) for k, v in b.items() if not k.startswith(INSTALLER_KEYS)}
    return lines(new, dll) + ["removed: " + x for x in lines(gone, dll)]


def table(path):
    keys = {}
    with open(path, encoding="utf-8") as f:
        rows = f.read().split("\n")[3:]  # column names, types, table name
    for row in rows:
        if not row:
            continue
        _, root, key, name, value, _ = row.split("\t")
        if value.startswith("#"):
            value = "dword:%d" % int(value[1:])
        elif value.startswith("[#") and value.endswith("]"):
            value = "<dll>"
        keys.setdefault((ROOTS[root] + "\\" + key).lower(), set()).add((name.lower() or "@", value))
    return lines(keys)


def leftovers(before, after):
    b, a = read_export(before), read_export(after)
    out = []
    for key in sorted(set(a) | set(b)):
        if key not in b and not a[key] and key.startswith(INSTALLER_KEYS):
            continue
        if key not in a:
            out.append("key gone: " + key)
        elif key not in b:
            out.append("key left: " + key)
        else:
            out += ["value left: %s\t%s\t%s" % (key, *v) for v in sorted(a[key] - b[key])]
            out += ["value gone: %s\t%s\t%s" % (key, *v) for v in sorted(b[key] - a[key])]
    return out


if __name__ == "__main__":
    command, args = sys.argv[1], sys.argv[2:]
    result = {"added": added, "table": table, "leftovers": leftovers}[command](*args)
    sys.stdout.write("".join(x + "\n" for x in result))
