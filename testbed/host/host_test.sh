#!/usr/bin/env bash
# The host program end to end under Wine: registers the add-in DLL with the
# regsvr32 of its bitness (machine-wide, as Wine needs), plays the check
# scenarios with the host program of the same bitness, and unregisters the
# DLL whatever happens. The attachment flow scenarios need the SharePoint
# emulator (QBX_SP_URL, tests/with_spemu.sh).
#   host_test.sh x64|x86 DLL QBXHOST SCENARIO_DIR
set -u
. "$(cd "$(dirname "$0")/../.." && pwd)/tests/wine_tools.sh"
qbx_use_arch "$1" || exit 2
dll=$(qbx_winepath "$2")
host=$3
scenarios=$4
work=$(mktemp -d "${TMPDIR:-/tmp}/qbx-host.XXXXXX")
trap 'qbx_regsvr32 /u /s "$dll" >/dev/null 2>&1; rm -rf "$work"' EXIT
qbx_regsvr32 /s "$dll" || { echo "FAILED: regsvr32 $dll"; exit 1; }
mkdir -p "$work/files"
for name in one.txt "Q&A #2.txt" three.txt; do
  printf 'The file %s.\r\n' "$name" >"$work/files/$name"
done
export QBX_FLOW_FILES="$work/files"
rc=0
for name in check-outlook2003 check-outlook2007 check-flow-2003 check-flow-2007; do
  echo "=== $name"
  "$QBX_WINE" "$host" --mailbox "$work/$name.mailbox" "$scenarios/$name.txt" || rc=1
done
# Nested message loops, windows closing mid-flow and the end of the session:
# Outlook 2003 (Word as the editor, in its own process), 2007 and today's
# (fast shutdown).
for v in 11 12 16; do
  echo "=== check-loops on $v"
  "$QBX_WINE" "$host" --version "$v" --mailbox "$work/loops-$v.mailbox" "$scenarios/check-loops.txt" || rc=1
done
for v in 11 16; do
  echo "=== check-quit-settings on $v"
  "$QBX_WINE" "$host" --version "$v" --mailbox "$work/quit-settings-$v.mailbox" "$scenarios/check-quit-settings.txt" || rc=1
done
# A new user's first run through the settings window, then a restart on the
# same mailbox: Outlook 2000, 2003, 2007 and today's.
for v in 9 11 12 16; do
  echo "=== check-settings-$v"
  "$QBX_WINE" "$host" --mailbox "$work/settings-$v.mailbox" "$scenarios/check-settings-$v.txt" || rc=1
  echo "=== check-settings-restart on $v"
  "$QBX_WINE" "$host" --version "$v" --mailbox "$work/settings-$v.mailbox" "$scenarios/check-settings-restart.txt" || rc=1
done
exit $rc
