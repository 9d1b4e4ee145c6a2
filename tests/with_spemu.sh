#!/bin/sh
# Run a command next to a fresh SharePoint emulator.
#
#   tests/with_spemu.sh COMMAND [ARGS...]
#
# Starts testbed/sharepoint/spemu.py on a free loopback port with a temporary
# root and the built-in sample sites, waits until it answers, exports
#   QBX_SP_URL   http://127.0.0.1:<port>/
#   QBX_SP_ROOT  the emulator's root folder
#   QBX_SP_PORT  the port
# runs the command (Wine hands these variables on to Windows programs), then
# stops the emulator, removes the temporary folder and exits with the
# command's exit status.
#
# Optional: QBX_SPEMU_ARGS   extra emulator arguments (split on blanks),
#           QBX_SPEMU_MAX_SECONDS  emulator lifetime cap (default 3600).

if [ "$#" -eq 0 ]; then
    echo "usage: $0 COMMAND [ARGS...]" >&2
    exit 2
fi

here=$(cd "$(dirname "$0")" && pwd)
emu="$here/../testbed/sharepoint/spemu.py"
python=${PYTHON:-python3}

work=$(mktemp -d "${TMPDIR:-/tmp}/qbx-spemu.XXXXXX") || exit 2
emu_pid=

cleanup() {
    if [ -n "$emu_pid" ]; then
        kill "$emu_pid" 2>/dev/null
        # An emulator stuck in its own shutdown must not hold the run: it
        # gets five seconds, then it is killed outright.
        i=0
        while kill -0 "$emu_pid" 2>/dev/null && [ "$i" -lt 50 ]; do
            sleep 0.1
            i=$((i + 1))
        done
        kill -9 "$emu_pid" 2>/dev/null
        wait "$emu_pid" 2>/dev/null
    fi
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# shellcheck disable=SC2086
"$python" "$emu" --root "$work/root" --port 0 --port-file "$work/port" \
    --max-seconds "${QBX_SPEMU_MAX_SECONDS:-3600}" ${QBX_SPEMU_ARGS:-} \
    >"$work/stdout" 2>"$work/stderr" &
emu_pid=$!

# Wait (at most about 10 s) for the port file, then for a reply.
port=
i=0
while [ "$i" -lt 100 ]; do
    if [ -s "$work/port" ]; then
        port=$(cat "$work/port")
        if "$python" -c 'import sys, urllib.request
urllib.request.urlopen("http://127.0.0.1:%s/_emu/info" % sys.argv[1], timeout=2).read()' "$port" 2>/dev/null; then
            break
        fi
    fi
    if ! kill -0 "$emu_pid" 2>/dev/null; then
        echo "with_spemu: the emulator exited early:" >&2
        cat "$work/stderr" >&2
        emu_pid=
        exit 2
    fi
    sleep 0.1
    i=$((i + 1))
    port=
done
if [ -z "$port" ]; then
    echo "with_spemu: the emulator did not answer" >&2
    cat "$work/stderr" >&2
    exit 2
fi

QBX_SP_URL="http://127.0.0.1:$port/"
QBX_SP_ROOT="$work/root"
QBX_SP_PORT=$port
export QBX_SP_URL QBX_SP_ROOT QBX_SP_PORT

"$@"
rc=$?
exit "$rc"
