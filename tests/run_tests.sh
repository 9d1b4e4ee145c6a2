#!/usr/bin/env bash
# Runs the whole test suite (CTest) of one or more builds under Wine, each in
# its own Wine prefix and display:
#   tests/run_tests.sh build/x64 build/x86
# The x86 build's tests carry names ending in _x86. The exit status is 0 only
# when every build passed.
set -u
here=$(cd "$(dirname "$0")" && pwd)
[ $# -gt 0 ] || set -- build/x64
rc=0
summary=()
for build in "$@"; do
  (
    . "$here/wine_env.sh" "$build" || exit 2
    trap qbx_wine_stop EXIT
    qbx_wine_start
    echo "=== Tests of $build ($QBX_ARCH programs, loader $QBX_WINE)"
    cd "$qbx_build" && ctest --output-on-failure --timeout 300 -j 2
  )
  status=$?
  [ $status -eq 0 ] || rc=1
  summary+=("$build: $([ $status -eq 0 ] && echo passed || echo FAILED)")
done
printf '%s\n' "${summary[@]}"
exit $rc
