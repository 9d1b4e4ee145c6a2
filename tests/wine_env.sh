# Sourced by the scripts that run Windows programs: a Wine prefix of the
# build's own, no Wine chatter, an X display (Xvfb) for windows, a persistent
# wineserver and one long-lived Wine program so each test costs a fraction of
# a second. Call qbx_wine_stop at the end.
# Usage: . tests/wine_env.sh BUILD_DIR
# The build's architecture (x64 or x86) picks the loader for its programs
# (QBX_WINE, see wine_tools.sh); the prefix is a 64-bit (WoW64) one either
# way, as on 64-bit Windows.
qbx_build=$(cd "$1" && pwd)
. "$(dirname "${BASH_SOURCE[0]}")/wine_tools.sh"
qbx_use_arch "$(qbx_arch_of_build "$qbx_build")" || return 2 2>/dev/null || exit 2
export WINEPREFIX="$qbx_build/wineprefix"
# No Mono or Gecko installers: the add-in needs neither.
export WINEDLLOVERRIDES="mscoree=;mshtml="
export WINEARCH=win64

# What the prefix was made with: a prefix made by another Wine installation
# (wine32 added, Wine upgraded) fails to start ("could not load kernel32.dll"),
# so it is made again when this changes.
qbx_wine_installation() {
  dpkg-query -W -f='${Package}:${Architecture} ${Version}\n' wine wine64 wine32:i386 libwine:amd64 libwine:i386 2>/dev/null || true
  for f in "$QBX_WINE64" "$QBX_WINE32"; do
    stat -c '%n %s %Y' "$f" 2>/dev/null || echo "$f absent"
  done
}

qbx_wine_start() {
  # A display of our own, so the run never depends on (or disturbs) another.
  wineserver -k >/dev/null 2>&1 || true
  # Two runs starting at once may pick the same free number; the one whose
  # server lost the race (it exits at once) moves on to the next number, so
  # no run ever draws on a display another run will take down.
  for n in $(seq 90 120); do
    if [ ! -e "/tmp/.X11-unix/X$n" ] && [ ! -e "/tmp/.X$n-lock" ]; then
      Xvfb ":$n" -screen 0 1280x1024x24 -nolisten tcp >/dev/null 2>&1 &
      QBX_XVFB_PID=$!
      for _ in $(seq 50); do [ -e "/tmp/.X11-unix/X$n" ] && break; sleep 0.1; done
      sleep 0.2
      if kill -0 "$QBX_XVFB_PID" 2>/dev/null && [ "$(cat "/tmp/.X$n-lock" 2>/dev/null | tr -d ' ')" = "$QBX_XVFB_PID" ]; then
        export DISPLAY=":$n"
        break
      fi
    fi
  done
  local made_with="$WINEPREFIX/.qbx-wine-installation"
  if [ -e "$WINEPREFIX" ] && [ "$(cat "$made_with" 2>/dev/null)" != "$(qbx_wine_installation)" ]; then
    echo "wine_env: the Wine installation changed since $WINEPREFIX was made; making it again" >&2
    rm -rf "$WINEPREFIX"
  fi
  if [ ! -f "$WINEPREFIX/system.reg" ]; then
    "$QBX_WINE64" wineboot.exe -i >/dev/null 2>&1 || true
    wineserver -w
    # No window manager under Xvfb: let Wine draw the windows' frames itself.
    qbx_reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f >/dev/null 2>&1 || true
    qbx_wine_installation >"$made_with"
  fi
  # A program that crashes ends at once and fails its test, instead of
  # waiting on Wine's crash dialog until the test's time runs out.
  if ! grep -q '"ShowCrashDialog"=dword:00000000' "$WINEPREFIX/user.reg" 2>/dev/null; then
    qbx_reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f >/dev/null 2>&1 || true
    wineserver -w
  fi
  wineserver -p >/dev/null 2>&1 || true
  if [ -f "$qbx_build/testbed/host/qbxidle.exe" ]; then
    "$QBX_WINE" "$qbx_build/testbed/host/qbxidle.exe" >/dev/null 2>&1 </dev/null &
    QBX_IDLE_PID=$!
  fi
}

qbx_wine_stop() {
  wineserver -k >/dev/null 2>&1 || true
  [ -n "${QBX_IDLE_PID:-}" ] && kill "$QBX_IDLE_PID" >/dev/null 2>&1 || true
  [ -n "${QBX_XVFB_PID:-}" ] && kill "$QBX_XVFB_PID" >/dev/null 2>&1 || true
  return 0
}
