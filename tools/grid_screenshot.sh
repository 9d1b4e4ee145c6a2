#!/usr/bin/env bash
# Photographs Quillbox's spreadsheet control alone (five libraries and a
# column of check marks, staged by a test case, not the settings page), as
# Wine draws it on an X display of its own (Xvfb), for the control's
# developers:
#   BUILD/screenshots/grid-en.png
# docs/grid-en.png, the grid as the settings window shows it, comes from
# tools/screenshots.sh.
#
#   tools/grid_screenshot.sh [BUILD_DIR]        (default: build/x64)
#
# Needs a built test_control_host.exe (its skipped case "grid screenshot"
# shows the window), xdotool and ImageMagick's import.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/x64}
exe="$(cd "$build" && pwd)/tests/test_control_host.exe"
[ -f "$exe" ] || { echo "grid_screenshot: $exe is not built" >&2; exit 2; }
command -v import >/dev/null || { echo "grid_screenshot: ImageMagick's import is missing" >&2; exit 2; }

. "$root/tests/wine_env.sh" "$build"
trap qbx_wine_stop EXIT
qbx_wine_start

out="$qbx_build/screenshots"
mkdir -p "$out" "$root/docs"
rm -f "$out/grid-en.png"
QBX_SHOT_SECONDS=20 timeout 90 "$QBX_WINE" "$exe" -tc="grid screenshot*" --no-skip >/dev/null 2>&1 </dev/null &
pid=$!
shot=""
# Wait for the window, give it time to paint, then photograph it.
for _ in $(seq 30); do
  sleep 1
  wid=$(xdotool search --onlyvisible --name '^Quillbox grid$' 2>/dev/null | tail -n 1) || wid=""
  [ -n "$wid" ] || continue
  sleep 1
  if import -window "$wid" "$out/grid-en.png" 2>/dev/null; then
    shot=yes
    break
  fi
done
[ -n "${wid:-}" ] && { xdotool windowclose "$wid" 2>/dev/null || true; }
kill "$pid" 2>/dev/null || true
wait "$pid" 2>/dev/null || true
[ -n "$shot" ] || { echo "grid_screenshot: no picture of the grid" >&2; exit 1; }
echo "grid_screenshot: $out/grid-en.png"
