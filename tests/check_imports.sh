#!/usr/bin/env bash
# Fails when the DLL imports anything but Windows' own system DLLs.
set -eu
objdump=$1
dll=$2
allowed='^(kernel32|user32|gdi32|advapi32|ole32|oleaut32|shell32|comctl32|shlwapi|msvcrt|api-ms-win-crt-[a-z0-9-]+|version|uuid)\.dll$'
bad=0
while read -r name; do
  lower=$(printf '%s' "$name" | tr 'A-Z' 'a-z')
  if ! printf '%s\n' "$lower" | grep -Eq "$allowed"; then
    echo "unexpected import: $name"
    bad=1
  fi
done < <("$objdump" -p "$dll" | sed -n 's/^[[:space:]]*DLL Name: //p')
[ "$bad" -eq 0 ] && echo "imports: only Windows system DLLs"
exit $bad
