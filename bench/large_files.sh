#!/usr/bin/env bash
# Large attachments in the emulated Outlook 2007 (the host program with the
# registered DLL, as Outlook loads it), against the SharePoint emulator:
# each size is attached once to a new mail with the default library, and the
# outcome and the process's memory are read from the transcript. Run inside
# tests/with_spemu.sh with Wine started (bench/run_bench.sh does both):
#   bench/large_files.sh BUILD_DIR SIZE_MB...
# Prints one line per size:
#   size_mb=N outcome=moved|kept|lost|ended seconds=S private_before=B peak_private=P
#   working_before=W peak_working=H prompts=K report_names_upload=0|1 temp_left=0|1
# "moved": the link is in the mail and the attachment gone, the library has
# every byte; "kept": the attachment and the mail are as they were (with the
# error report if prompts=1); "lost": neither; "ended": the host program
# ended on its own (a crash).
set -u
here=$(cd "$(dirname "$0")" && pwd)
repo=$(dirname "$here")
build=$(cd "$1" && pwd)
shift
. "$repo/tests/wine_tools.sh"
qbx_use_arch "$(qbx_arch_of_build "$build")" || exit 2
work=$(mktemp -d "${TMPDIR:-/tmp}/qbx-large.XXXXXX")
dll=$(qbx_winepath "$build/quillbox.dll")
trap 'qbx_regsvr32 /u /s "$dll" >/dev/null 2>&1; rm -rf "$work"' EXIT
qbx_regsvr32 /s "$dll" || { echo "FAILED: regsvr32 $dll"; exit 1; }
wintemp=$(WINEDEBUG=-all "$QBX_WINE" cmd /c echo %TEMP% 2>/dev/null | tr -d '\r')
temp_unix=$("$QBX_WINE64" 'C:\windows\system32\winepath.exe' -u "$wintemp" 2>/dev/null | tr -d '\r')

for size in "$@"; do
    file=$work/big-$size.bin
    # Not sparse: every byte is read and sent for real.
    head -c $((size * 1024 * 1024)) /dev/urandom >"$file" 2>/dev/null ||
        dd if=/dev/urandom of="$file" bs=1M count="$size" status=none
    curl -sS -o /dev/null -X POST "${QBX_SP_URL}_emu/reset?documents=1"
    cat >"$work/large.txt" <<EOF
version 12
settings "${QBX_SP_URL}sites/team/Shared Documents" on "${QBX_SP_URL}sites/team/Shared Documents" "${QBX_SP_URL}sites/team/Proposals"
start
compose "Large file"
type "See: "
memory
attach "$file"
memory
wait 700
show
EOF
    before_temp=$(ls "$temp_unix" 2>/dev/null | grep -c . || true)
    start=$(date +%s.%N)
    timeout "${QBX_LARGE_TIMEOUT:-600}" "$QBX_WINE" "$build/qbxhost.exe" --mailbox "$work/large.mailbox" "$work/large.txt" >"$work/out.txt" 2>"$work/err.txt"
    rc=$?
    seconds=$(echo "$(date +%s.%N) - $start" | bc)
    after_temp=$(ls "$temp_unix" 2>/dev/null | grep -c . || true)
    stored=$(curl -sS "${QBX_SP_URL}_emu/documents" | python3 -c '
import json, sys
docs = [d for lib in json.load(sys.stdin)["libraries"] for d in lib["documents"]]
print(docs[0]["size"] if docs else -1)')
    python3 - "$work/out.txt" "$size" "$rc" "$seconds" "$stored" "$before_temp" "$after_temp" <<'PY'
import re, sys
text = open(sys.argv[1], encoding="utf-8", errors="replace").read()
size, rc, seconds, stored = int(sys.argv[2]), int(sys.argv[3]), float(sys.argv[4]), int(sys.argv[5])
mem = [dict(re.findall(r"([a-z-]+)=(\d+)", l)) for l in text.splitlines() if "memory working=" in l]
start = text.find("> show")
shown = text[start:text.find("> quit", start)] if start >= 0 else ""
has_attachment = bool(shown) and "attachments: none" not in shown
linked = "/big-%d.bin" % size in shown
prompts = text.count('message "Quillbox"')
if rc not in (0, 1) or len(mem) < 2 or not shown:
    outcome = "ended"
elif linked and not has_attachment and stored == size * 1024 * 1024:
    outcome = "moved"
elif has_attachment and not linked:
    outcome = "kept"
else:
    outcome = "lost"
b, a = (mem + [{}, {}])[:2]
print("size_mb=%d outcome=%s seconds=%.1f private_before=%s peak_private=%s working_before=%s peak_working=%s "
      "prompts=%d report_names_upload=%d temp_left=%d exit=%d stored=%d"
      % (size, outcome, seconds, b.get("private", 0), a.get("peak-private", 0), b.get("working", 0),
         a.get("peak-working", 0), prompts, int("Uploading " in text), int(int(sys.argv[7]) > int(sys.argv[6])), rc, stored))
PY
    [ -n "${QBX_LARGE_KEEP:-}" ] && cp "$work/out.txt" "${QBX_LARGE_KEEP}-$size.txt"
    rm -f "$file"
    curl -sS -o /dev/null -X POST "${QBX_SP_URL}_emu/reset?documents=1"
done
