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
# It also makes the guide's pictures (docs/guide/*.png) and docs/grid-en.png
# from the host program (see the guide's section below).
#
#   tools/screenshots.sh [BUILD_DIR [chooser|settings|walk|all]]   (default: build/x64 all)
#   tools/screenshots.sh BUILD_DIR guide                      (the guide's pictures only)
#
# Needs the built test programs whose skipped cases show the windows
# (test_attachments.exe: "chooser screenshot", test_settings_ui.exe:
# "settings screenshot"), xdotool and ImageMagick's import.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/x64}
what=${2:-all}
tests="$(cd "$build" && pwd)/tests"
# The guide's pictures need the DLL and the host program only.
if [ "$what" = guide ]; then
  for need in quillbox.dll qbxhost.exe; do
    [ -f "$build/$need" ] || { echo "screenshots: $build/$need is not built" >&2; exit 2; }
  done
else
for need in $([ "$what" = chooser ] || [ "$what" = all ] && echo test_attachments.exe) \
            $([ "$what" != chooser ] && echo test_settings_ui.exe); do
  [ -f "$tests/$need" ] || { echo "screenshots: $tests/$need is not built" >&2; exit 2; }
done
fi
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

# ---------------------------------------------------------------------------
# The guide's pictures (docs/guide/*.png) and docs/grid-en.png: the add-in in
# the test bed's Outlook (qbxhost.exe, the DLL registered in the build's
# prefix) against the SharePoint emulator, playing the scenarios of
# tools/guide/. With --show-prompts the host leaves the add-in's message
# boxes, input box and chooser to a person: they are the add-in's real
# windows, photographed here and answered by keyboard as a person would.
#   tools/screenshots.sh [BUILD_DIR] guide     only these; "all" makes them too
guide_dir="$root/docs/guide"
guide_work=""

# guide_window TITLE smallest|largest: the visible window titled TITLE (a
# message box or input box is the smallest of the add-in's "Quillbox"
# windows, the settings window the largest).
guide_window() {
  local best="" best_area=0 id area WIDTH HEIGHT
  for id in $(xdotool search --onlyvisible --name "^$1\$" 2>/dev/null); do
    eval "$(xdotool getwindowgeometry --shell "$id" 2>/dev/null | grep -E '^(WIDTH|HEIGHT)=')" || continue
    area=$((WIDTH * HEIGHT))
    if [ -z "$best" ] || { [ "$2" = smallest ] && [ "$area" -lt "$best_area" ]; } ||
      { [ "$2" = largest ] && [ "$area" -gt "$best_area" ]; }; then
      best=$id best_area=$area
    fi
  done
  echo "$best"
}

# guide_await TEXT [N]: waits until the transcript holds TEXT N times (default 1).
guide_await() {
  local _
  for _ in $(seq 160); do
    [ "$(grep -cF -- "$1" "$guide_transcript" 2>/dev/null)" -ge "${2:-1}" ] && return 0
    kill -0 "$guide_pid" 2>/dev/null || break
    sleep 0.25
  done
  echo "screenshots: the host never got to \"$1\" (${2:-1}); transcript: $guide_transcript" >&2
  return 1
}

# guide_shot NAME TITLE smallest|largest [DEST]: photographs that window as
# BUILD/screenshots/guide/NAME.png and copies it to DEST (default docs/guide/).
guide_shot() {
  local id="" _
  sleep 1.5  # let it paint
  for _ in $(seq 20); do
    id=$(guide_window "$2" "$3")
    [ -n "$id" ] && import -window "$id" "$out/guide/$1.png" 2>/dev/null && break
    id=""
    sleep 0.5
  done
  if [ -z "$id" ]; then
    echo "screenshots: no window \"$2\" for $1.png" >&2
    return 1
  fi
  cp "$out/guide/$1.png" "${4:-$guide_dir}/"
  echo "screenshots: ${4:-$guide_dir}/$1.png ($2)"
}

# guide_keys WINDOW_ID KEYS...: gives the window the keyboard and presses KEYS.
guide_keys() {
  local id=$1
  shift
  xdotool windowactivate "$id" 2>/dev/null || xdotool windowfocus "$id" 2>/dev/null || true
  sleep 0.3
  xdotool key --delay 80 "$@"
}

# guide_type WINDOW_ID TEXT: types TEXT into the window, then Enter.
guide_type() {
  xdotool windowactivate "$1" 2>/dev/null || xdotool windowfocus "$1" 2>/dev/null || true
  sleep 0.3
  xdotool type --delay 60 "$2"
  sleep 0.5
  xdotool key Return
}

# guide_start VERSION SCENARIO [HOST OPTIONS]: plays tools/guide/SCENARIO.txt
# in the background with a mailbox of its own; guide_url is then the
# SharePoint emulator's address.
guide_start() {
  local version=$1 name=$2 _
  shift 2
  guide_transcript="$guide_work/$name.transcript"
  rm -f "$guide_work/url"
  QBX_GUIDE_FILES="$guide_work/files" timeout 300 "$root/tests/with_spemu.sh" \
    bash -c 'echo "$QBX_SP_URL" >"$0"; exec "$@"' "$guide_work/url" \
    "$QBX_WINE" "$qbx_build/qbxhost.exe" --show-prompts --version "$version" \
    --mailbox "$guide_work/$name.mailbox" "$@" "$root/tools/guide/$name.txt" >"$guide_transcript" 2>&1 </dev/null &
  guide_pid=$!
  for _ in $(seq 40); do [ -s "$guide_work/url" ] && break; sleep 0.25; done
  guide_url=$(cat "$guide_work/url" 2>/dev/null)
}

guide_end() {
  local _
  for _ in $(seq 60); do kill -0 "$guide_pid" 2>/dev/null || break; sleep 0.5; done
  kill "$guide_pid" 2>/dev/null || true
  wait "$guide_pid" 2>/dev/null || true
}

guide_pictures() {
  local dll rc=0
  dll=$(qbx_winepath "$qbx_build/quillbox.dll")
  guide_work=$(mktemp -d "${TMPDIR:-/tmp}/qbx-guide.XXXXXX")
  mkdir -p "$out/guide" "$guide_dir" "$guide_work/files"
  printf 'Revenue 1.2m, costs 0.9m.\r\n' >"$guide_work/files/figures.txt"
  printf 'Milestones for 2024.\r\n' >"$guide_work/files/Project plan 2024.txt"
  qbx_regsvr32 /s "$dll" || { echo "screenshots: regsvr32 could not register $dll" >&2; return 1; }

  # The first run: Outlook 2003 with its own editor, whose mail text is on screen.
  guide_start 11 first-run --editor rich
  { guide_await "pause 4 s" 1 && guide_shot settings-empty Quillbox largest &&
    guide_await "showing the input box" && guide_shot add-question Quillbox smallest &&
    guide_type "$(guide_window Quillbox smallest)" "${guide_url}sites/team" &&
    guide_await "pause 4 s" 2 && guide_shot libraries-found Quillbox largest &&
    guide_await "pause 4 s" 3 && guide_shot default-always Quillbox largest &&
    guide_await "> note shoot mail-link" && guide_shot mail-link "Quarterly figures - Message" largest; } || rc=1
  guide_end

  # The chooser, "always use the default" being off.
  guide_start 11 chooser --editor rich
  { guide_await "library chooser shown" && guide_shot chooser Choose largest &&
    guide_keys "$(guide_window Choose largest)" Escape; } || rc=1
  guide_end

  # Five libraries on the grid: the README's picture of the grid.
  guide_start 11 five-libraries --editor rich
  { guide_await "pause 4 s" && guide_shot grid-en Quillbox largest "$root/docs"; } || rc=1
  guide_end

  # A mailbox that refuses the settings folder: the error report (Yes), its
  # mail, then the start-up failure.
  guide_start 11 startup-failure --editor rich
  { guide_await "showing the message" 1 && guide_shot error-report Quillbox smallest &&
    guide_keys "$(guide_window Quillbox smallest)" y &&
    guide_await "showing the message" 2 && guide_shot startup-failure Quillbox smallest &&
    guide_keys "$(guide_window Quillbox smallest)" Return &&
    guide_shot error-mail "Error in Quillbox.*" largest; } || rc=1
  guide_end

  # No spreadsheet control can be started: Quillbox's own is taken out of the
  # registry for this run (as a damaged installation would have it).
  qbx_reg delete 'HKLM\Software\Classes\Quillbox.Spreadsheet' /f >/dev/null 2>&1
  guide_start 16 components
  { guide_await "showing the message" 1 && guide_shot components-question Quillbox smallest &&
    guide_keys "$(guide_window Quillbox smallest)" n &&
    guide_await "showing the message" 2 && guide_keys "$(guide_window Quillbox smallest)" Return; } || rc=1
  guide_end

  qbx_regsvr32 /u /s "$dll" >/dev/null 2>&1
  [ $rc -eq 0 ] && rm -rf "$guide_work"
  return $rc
}

if [ "$what" = guide ] || [ "$what" = all ]; then
  guide_pictures || echo "screenshots: some pictures of the guide were not made (see above)" >&2
  [ "$what" = guide ] && exit 0
fi

# shown_area: WIDTHxHEIGHT+X+Y of the smallest rectangle holding every window
# shown on the display (Wine's helpers, windows of a pixel or two or as large
# as the screen, left out).
shown_area() {
  local id X Y WIDTH HEIGHT screen
  screen=$(xdotool getdisplaygeometry 2>/dev/null | tr ' ' x)
  for id in $(xdotool search --onlyvisible --name '' 2>/dev/null); do
    eval "$(xdotool getwindowgeometry --shell "$id" 2>/dev/null | grep -E '^(X|Y|WIDTH|HEIGHT)=')" || continue
    [ "${WIDTH:-0}x${HEIGHT:-0}" = "$screen" ] && continue
    [ "${WIDTH:-0}" -gt 2 ] && [ "${HEIGHT:-0}" -gt 2 ] && echo "$X $Y $WIDTH $HEIGHT"
  done | awk 'NR == 1 || $1 < l { l = $1 } NR == 1 || $2 < t { t = $2 }
              NR == 1 || $1 + $3 > r { r = $1 + $3 } NR == 1 || $2 + $4 > b { b = $2 + $4 }
              END { if (NR) printf "%dx%d+%d+%d\n", r - l, b - t, l, t }'
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
    # The screen, cut to every window shown: an open drop-down list is a
    # window of its own, which a picture of the dialog's window alone leaves
    # black. The display is this run's own, so all it shows is ours.
    import -window root -crop "$(shown_area)" +repage "$out/walk-$step-$name.png"
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
