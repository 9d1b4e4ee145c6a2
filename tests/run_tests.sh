#!/usr/bin/env bash
# Runs the whole test suite (CTest) of a build under Wine.
set -u
build=${1:-build/x64}
. "$(dirname "$0")/wine_env.sh" "$build"
trap qbx_wine_stop EXIT
qbx_wine_start
cd "$build" && ctest --output-on-failure --timeout 300 -j 2
