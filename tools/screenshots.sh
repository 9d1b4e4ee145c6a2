#!/usr/bin/env bash
# Photographs the library chooser in English, German and Greek, as Wine draws
# it on an X display of its own (Xvfb), with sample libraries and a file name:
#   BUILD/screenshots/chooser-en.png, chooser-de.png, chooser-el.png
# and copies the English one to docs/chooser-en.png.
#
#   tools/screenshots.sh [BUILD_DIR]        (default: build/x64)
#
# Needs a built test_attachments.exe (its skipped case "chooser screenshot"
# shows the dialog), xdotool and ImageMagick's import.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/x64}
exe="$(cd "$build" && pwd)/tests/test_attachments.exe"
[ -f "$exe" ] || { echo "screenshots: $exe is not built" >&2; exit 2; }
command -v import >/dev/null || { echo "screenshots: ImageMagick's import is missing" >&2; exit 2; }

. "$root/tests/wine_env.sh" "$build"
trap qbx_wine_stop EXIT
qbx_wine_start

out="$qbx_build/screenshots"
mkdir -p "$out" "$root/docs"

# The dialog's title in a language column (1-16) of the phrase table.
title_of() {
  awk -F '\t' -v col="$1" '$1 == "LNGCHOOSE" { print $(col + 1) }' "$root/support/phrases/phrases.tsv"
}

shoot() {
  local column=$1 tag=$2 title wid="" pid shot=""
  title=$(title_of "$column")
  rm -f "$out/chooser-$tag.png"
  QBX_SHOT_COLUMN=$column QBX_SHOT_SECONDS=20 timeout 90 \
    wine "$exe" -tc="chooser screenshot*" --no-skip >/dev/null 2>&1 </dev/null &
  pid=$!
  # Wait for the dialog, give it time to paint, then photograph it; Wine may
  # replace a window's X window while it settles, so look it up again on a
  # failed attempt.
  for _ in $(seq 30); do
    sleep 1
    wid=$(xdotool search --onlyvisible --name "^${title}\$" 2>/dev/null | tail -n 1) || wid=""
    [ -n "$wid" ] || continue
    sleep 1
    if import -window "$wid" "$out/chooser-$tag.png" 2>/dev/null; then
      shot=yes
      break
    fi
  done
  # Close it as a user would; it also ends itself after QBX_SHOT_SECONDS.
  [ -n "$wid" ] && { xdotool key Escape 2>/dev/null || true; }
  wait "$pid" || true
  if [ -z "$shot" ]; then
    echo "screenshots: no picture of the window \"$title\"" >&2
    return 1
  fi
  echo "screenshots: $out/chooser-$tag.png ($title)"
}

shoot 4 en
shoot 7 de
shoot 8 el
cp "$out/chooser-en.png" "$root/docs/chooser-en.png"
echo "screenshots: docs/chooser-en.png updated"
