# Sourced by the scripts that run Windows programs: a Wine prefix of the
# build's own, no Wine chatter, an X display (Xvfb) for windows, a persistent
# wineserver and one long-lived Wine program so each test costs a fraction of
# a second. Call qbx_wine_stop at the end.
# Usage: . tests/wine_env.sh BUILD_DIR
qbx_build=$(cd "$1" && pwd)
export WINEPREFIX="$qbx_build/wineprefix"
export WINEDEBUG=-all
# No Mono or Gecko installers: the add-in needs neither.
export WINEDLLOVERRIDES="mscoree=;mshtml="
export WINEARCH=win64

qbx_wine_start() {
  # A display of our own, so the run never depends on (or disturbs) another.
  wineserver -k >/dev/null 2>&1 || true
  for n in $(seq 90 120); do
    if [ ! -e "/tmp/.X11-unix/X$n" ] && [ ! -e "/tmp/.X$n-lock" ]; then
      Xvfb ":$n" -screen 0 1280x1024x24 -nolisten tcp >/dev/null 2>&1 &
      QBX_XVFB_PID=$!
      export DISPLAY=":$n"
      for _ in $(seq 50); do [ -e "/tmp/.X11-unix/X$n" ] && break; sleep 0.1; done
      break
    fi
  done
  if [ ! -f "$WINEPREFIX/system.reg" ]; then
    wineboot -i >/dev/null 2>&1 || true
    wineserver -w
    # No window manager under Xvfb: let Wine draw the windows' frames itself.
    wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f >/dev/null 2>&1 || true
  fi
  wineserver -p >/dev/null 2>&1 || true
  if [ -f "$qbx_build/testbed/host/qbxidle.exe" ]; then
    wine "$qbx_build/testbed/host/qbxidle.exe" >/dev/null 2>&1 </dev/null &
    QBX_IDLE_PID=$!
  fi
}

qbx_wine_stop() {
  wineserver -k >/dev/null 2>&1 || true
  [ -n "${QBX_IDLE_PID:-}" ] && kill "$QBX_IDLE_PID" >/dev/null 2>&1 || true
  [ -n "${QBX_XVFB_PID:-}" ] && kill "$QBX_XVFB_PID" >/dev/null 2>&1 || true
  return 0
}
