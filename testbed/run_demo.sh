#!/usr/bin/env bash
# make demo: the emulated Outlook loads the add-in from the registry, a user
# writes a mail and attaches three files, and the transcript shows what the
# add-in did: the mail text, the attachments left on the mail, the prompts,
# and the documents that arrived in the SharePoint emulator's libraries.
#   testbed/run_demo.sh BUILD_DIR        (build/x64, or build/x86 for 32-bit Outlook)
# The host program and the DLL of the build's bitness are used together, with
# the regsvr32 of that bitness, as 32-bit or 64-bit Outlook would load it.
# QBX_DEMO_VERSION picks the Outlook version (default 11; 12 for Outlook 2007).
set -u
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/.." && pwd)
build=${1:-$root/build/x64}
. "$root/tests/wine_env.sh" "$build" || exit 2
host="$qbx_build/qbxhost.exe"
dll="$qbx_build/quillbox.dll"
for f in "$host" "$dll"; do
  [ -f "$f" ] || { echo "run_demo: $f is missing; build first (make build-$QBX_ARCH)" >&2; exit 2; }
done

files=$(mktemp -d "${TMPDIR:-/tmp}/qbx-demo.XXXXXX")
registered=
cleanup() {
  [ -n "$registered" ] && qbx_regsvr32 /u /s "$registered" >/dev/null 2>&1
  qbx_wine_stop
  rm -rf "$files"
}
trap cleanup EXIT
qbx_wine_start

# The sample files, one with blanks and an ampersand in its name.
printf 'Quarterly report\r\nRevenue: 1.2m\r\nCosts: 0.9m\r\n' >"$files/Quarterly report.txt"
printf 'item;amount\r\nrent;1200\r\ntravel;340\r\n' >"$files/Costs & budget 2024.csv"
printf 'Notes for the meeting on Friday.\r\n' >"$files/notes.txt"

dllw=$(qbx_winepath "$dll")
if ! qbx_regsvr32 /s "$dllw"; then
  echo "run_demo: regsvr32 could not register $dllw" >&2
  exit 1
fi
registered=$dllw

echo "Quillbox demo: emulated Outlook ${QBX_DEMO_VERSION:-11} ($QBX_VIEW-bit) with the add-in against the SharePoint emulator"
echo
export QBX_DEMO_FILES="$files"
timeout 300 "$root/tests/with_spemu.sh" "$QBX_WINE" "$host" --version "${QBX_DEMO_VERSION:-11}" \
  --mailbox "$files/mailbox.txt" "$here/scenarios/demo.txt"
rc=$?
[ $rc -eq 124 ] && echo "run_demo: the host program did not finish within 300 s" >&2
exit $rc
