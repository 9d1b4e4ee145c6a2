#!/usr/bin/env bash
# Runs one Windows test program of a build under Wine, with the SharePoint
# emulator beside it, as CTest does:
#   tests/run_one.sh build/x64 tests/test_support.exe [doctest options]
# (build/x86 runs the 32-bit program with the 32-bit loader.)
set -u
build=$1
shift
program=$1
shift
here=$(cd "$(dirname "$0")" && pwd)
. "$here/wine_env.sh" "$build" || exit 2
trap qbx_wine_stop EXIT
qbx_wine_start
case "$program" in /*) ;; *) program="$qbx_build/$program" ;; esac
"$here/with_spemu.sh" "$QBX_WINE" "$program" "$@"
