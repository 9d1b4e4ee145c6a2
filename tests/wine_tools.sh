# Sourced by every script that starts Windows programs or tools: names the
# Wine loader of each bitness, so no script depends on which one Debian's
# `wine` launcher picks (with wine32 installed it starts the 32-bit loader,
# whose reg, regedit and regsvr32 are the 32-bit tools and see the 32-bit
# registry view).
#   QBX_WINE64  64-bit programs; C:\windows\system32 holds the 64-bit tools
#   QBX_WINE32  32-bit programs; C:\windows\syswow64 holds the 32-bit tools
# qbx_use_arch x64|x86 then sets QBX_ARCH, QBX_WINE (the loader for that
# build's programs), QBX_VIEW (the registry view its DLL registers in: 64 or
# 32) and QBX_REGSVR32 (the regsvr32 of that bitness, a Windows path).
QBX_WINE64=${QBX_WINE64:-/usr/lib/wine/wine64}
QBX_WINE32=${QBX_WINE32:-/usr/lib/wine/wine}
export WINEDEBUG=${WINEDEBUG:--all}

qbx_use_arch() {
  QBX_ARCH=$1
  case "$1" in
    x64) QBX_WINE=$QBX_WINE64 QBX_VIEW=64 QBX_REGSVR32='C:\windows\system32\regsvr32.exe' ;;
    x86) QBX_WINE=$QBX_WINE32 QBX_VIEW=32 QBX_REGSVR32='C:\windows\syswow64\regsvr32.exe' ;;
    *) echo "wine_tools: unknown architecture '$1' (x64 or x86)" >&2; return 2 ;;
  esac
  if [ ! -x "$QBX_WINE" ]; then
    echo "wine_tools: $QBX_WINE is missing: the $1 programs need it (make deps installs Wine)" >&2
    return 2
  fi
}

# The architecture of a build folder, from the tools its cache names.
qbx_arch_of_build() {
  if grep -q '^CMAKE_LINKER:FILEPATH=.*i686-w64-mingw32-' "$1/CMakeCache.txt" 2>/dev/null; then
    echo x86
  else
    echo x64
  fi
}

# The 64-bit reg.exe.
qbx_reg() { "$QBX_WINE64" 'C:\windows\system32\reg.exe' "$@"; }
# The registry as a program of one bitness sees it: qbx_reg_as 64|32 ARGS runs
# the reg.exe of that bitness. (reg.exe's /reg:32 switch is not the same under
# Wine: it redirects the shared ProgID keys of HKLM\Software\Classes too.)
qbx_reg_as() {
  case "$1" in
    64) shift; "$QBX_WINE64" 'C:\windows\system32\reg.exe' "$@" ;;
    32) shift; "$QBX_WINE32" 'C:\windows\syswow64\reg.exe' "$@" ;;
    *) echo "qbx_reg_as: view 64 or 32, not '$1'" >&2; return 2 ;;
  esac
}
# regsvr32 of the chosen build's bitness.
qbx_regsvr32() { "$QBX_WINE" "$QBX_REGSVR32" "$@"; }
# A Unix path as Windows sees it.
qbx_winepath() { "$QBX_WINE64" 'C:\windows\system32\winepath.exe' -w "$1" 2>/dev/null; }
