#!/usr/bin/env bash
# Photographs the library chooser and the settings window in English, German
# and Greek, as Wine draws them on an X display of its own (Xvfb), with sample
# libraries (and, for the chooser, a file name):
#   BUILD/screenshots/chooser-en.png, chooser-de.png, chooser-el.png
#   BUILD/screenshots/settings-en.png, settings-de.png, settings-el.png
# and copies chooser-en.png and the three settings pictures to docs/.
# "walk" goes through the English settings window by the keyboard alone, as
# xdotool's keys (Tab, typing, the default box, the check box), and
# photographs each step with the focus where the keys left it:
#   BUILD/screenshots/walk-1-grid.png ... walk-7-ok.png
#
#   tools/screenshots.sh [BUILD_DIR [chooser|settings|walk|all]]   (default: build/x64 all)
#
# Needs the built test programs whose skipped cases show the windows
# (test_attachments.exe: "chooser screenshot", test_settings_ui.exe:
# "settings screenshot"), xdotool and ImageMagick's import.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/x64}
what=${2:-all}
tests="$(cd "$build" && pwd)/tests"
for need in $([ "$what" = chooser ] || [ "$what" = all ] && echo test_attachments.exe) \
            $([ "$what" != chooser ] && echo test_settings_ui.exe); do
  [ -f "$tests/$need" ] || { echo "screenshots: $tests/$need is not built" >&2; exit 2; }
done
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

# shoot PROGRAM CASE NAME COLUMN TAG TITLE: runs the skipped case that shows
# the window titled TITLE in language COLUMN and saves it as NAME-TAG.png.
shoot() {
  local exe=$tests/$1 case=$2 name=$3 column=$4 tag=$5 title=$6 wid="" pid shot=""
  rm -f "$out/$name-$tag.png"
  QBX_SHOT_COLUMN=$column QBX_SHOT_SECONDS=20 timeout 90 \
    "$QBX_WINE" "$exe" -tc="$case" --no-skip >/dev/null 2>&1 </dev/null &
  pid=$!
  # Wait for the dialog, give it time to paint, then photograph it; Wine may
  # replace a window's X window while it settles, so look it up again on a
  # failed attempt.
  for _ in $(seq 30); do
    sleep 1
    wid=$(xdotool search --onlyvisible --name "^${title}\$" 2>/dev/null | tail -n 1) || wid=""
    [ -n "$wid" ] || continue
    sleep 1
    if import -window "$wid" "$out/$name-$tag.png" 2>/dev/null; then
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
  echo "screenshots: $out/$name-$tag.png ($title)"
}

# walk: the settings window driven by keys only, a picture after each step.
walk() {
  local exe=$tests/test_settings_ui.exe wid="" pid step=0
  QBX_SHOT_COLUMN=4 QBX_SHOT_SECONDS=60 timeout 120 \
    "$QBX_WINE" "$exe" -tc="settings screenshot*" --no-skip >/dev/null 2>&1 </dev/null &
  pid=$!
  for _ in $(seq 30); do
    sleep 1
    wid=$(xdotool search --onlyvisible --name "^Quillbox\$" 2>/dev/null | tail -n 1) || wid=""
    [ -n "$wid" ] && break
  done
  [ -n "$wid" ] || { echo "screenshots: the settings window did not open" >&2; kill "$pid" 2>/dev/null; return 1; }
  sleep 2
  xdotool windowfocus --sync "$wid" 2>/dev/null || true
  # picture NAME KEYS...: presses the keys, waits for the window, photographs it.
  picture() {
    local name=$1
    shift
    [ $# -gt 0 ] && xdotool "$@"
    sleep 1
    step=$((step + 1))
    import -window "$wid" "$out/walk-$step-$name.png"
    echo "screenshots: $out/walk-$step-$name.png"
  }
  picture grid key Tab ctrl+End Down                              # the empty row under the libraries
  picture typed type "http://intranet.example/sites/new/"         # an entry typed, not yet in
  picture add key Tab                                             # Tab takes it in and moves on
  picture default key alt+d alt+Down Down                         # the default box by its key, opened
  picture chosen key Return                                       # a library chosen
  picture always key Tab space                                    # "always" switched by Space
  picture ok key Tab                                              # OK is next
  xdotool key Escape 2>/dev/null || true
  wait "$pid" || true
}

if [ "$what" = walk ]; then
  walk
  exit
fi
if [ "$what" != settings ]; then
  shoot test_attachments.exe "chooser screenshot*" chooser 4 en "$(title_of 4)"
  shoot test_attachments.exe "chooser screenshot*" chooser 7 de "$(title_of 7)"
  shoot test_attachments.exe "chooser screenshot*" chooser 8 el "$(title_of 8)"
  cp "$out/chooser-en.png" "$root/docs/chooser-en.png"
  echo "screenshots: docs/chooser-en.png updated"
fi
if [ "$what" != chooser ]; then
  # The settings window's title is the product's name in every language.
  for pair in 4:en 7:de 8:el; do
    shoot test_settings_ui.exe "settings screenshot*" settings "${pair%%:*}" "${pair##*:}" Quillbox
    cp "$out/settings-${pair##*:}.png" "$root/docs/settings-${pair##*:}.png"
  done
  echo "screenshots: docs/settings-en.png, settings-de.png, settings-el.png updated"
fi
