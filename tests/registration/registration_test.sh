#!/usr/bin/env bash
# Registration round trip under Wine, machine-wide and per user, for the DLL
# of one architecture:
#   registration_test.sh x64|x86 DLL CONNECT_CHECK
# 64-bit Windows keeps two registry views and Outlook reads the one of its own
# bitness: the x64 DLL's keys belong in the 64-bit view, the x86 DLL's in the
# 32-bit one (HKLM\Software\Wow6432Node; classes under HKLM\Software\Classes\Wow6432Node\CLSID,
# while ProgID keys are shared by both views).
# Both views are read after each step, each with the reg.exe of its bitness
# (what a 64-bit and a 32-bit program see), and unregistering must leave each
# view exactly as it was.
set -u
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../wine_tools.sh"
qbx_use_arch "$1" || exit 2
dll=$(qbx_winepath "$2")
check_exe=$3
own=$QBX_VIEW
other=$((own == 64 ? 32 : 64))
. "$here/../checks.sh"
has_key() { qbx_reg_as "$1" query "$2" >/dev/null 2>&1; }
no_key() { ! has_key "$@"; }
default_of() { qbx_reg_as "$1" query "$2" /ve 2>/dev/null | tr -d '\r' | awk '$1=="(Default)" {$1=""; $2=""; sub(/^ +/, ""); print}'; }
is() { [ "$(value_of "$1" "$2" "$3")" = "$4" ]; }

work=$(mktemp -d "${TMPDIR:-/tmp}/qbx-reg.XXXXXX")
addins='Software\Microsoft\Office\Outlook\Addins'
neighbour='Neighbour.Connect'
cleanup() {
  for v in 64 32; do
    for hive in HKLM HKCU; do qbx_reg_as "$v" delete "$hive\\$addins\\$neighbour" /f >/dev/null 2>&1; done
  done
  rm -rf "$work"
}
trap cleanup EXIT

# As on a Windows machine with Outlook of both bitnesses and another add-in
# in each view: the parent keys exist and must survive, as must the
# neighbour. (A new Wine prefix has no HKCU\Software\Classes\CLSID yet;
# Windows always has it.)
for v in 64 32; do
  for hive in HKLM HKCU; do
    qbx_reg_as "$v" add "$hive\\$addins\\$neighbour" /v LoadBehavior /t REG_DWORD /d 3 /f >/dev/null
  done
  qbx_reg_as "$v" add 'HKCU\Software\Classes\CLSID' /f >/dev/null
done

# A snapshot: each root of interest exported from each view, as UTF-8.
roots=('HKLM\Software\Classes' 'HKLM\Software\Microsoft\Office' 'HKCU\Software\Classes' 'HKCU\Software\Microsoft\Office')
snapshot() {
  mkdir -p "$work/$1"
  local v i
  for v in 64 32; do
    for i in "${!roots[@]}"; do
      if qbx_reg_as "$v" export "${roots[$i]}" "$(qbx_winepath "$work/$1/$v-$i.utf16")" /y >/dev/null 2>&1; then
        iconv -f UTF-16 -t UTF-8 "$work/$1/$v-$i.utf16" | tr -d '\r' >"$work/$1/$v-$i"
      else
        echo "absent" >"$work/$1/$v-$i"
      fi
    done
  done
}
# same SNAPSHOT VIEW ROOT_INDEX [SECTION_PREFIX]: the view of that root (or
# only its sections under the prefix) reads as it did before anything was
# registered; prints the difference when not.
same() {
  local a="$work/before/$2-$3" b="$work/$1/$2-$3"
  if [ -n "${4:-}" ]; then
    sections "$4" <"$a" >"$a.part"; sections "$4" <"$b" >"$b.part"
    a=$a.part b=$b.part
  fi
  cmp -s "$a" "$b" && return 0
  diff "$a" "$b" | head -20 | sed 's/^/    /'
  return 1
}
sections() { awk -v p="[$1" 'substr($0, 1, 1) == "[" {keep = (index($0, p) == 1)} keep'; }

# A run cut short (a time limit) may have left its registration behind.
qbx_regsvr32 /u /s "$dll" >/dev/null 2>&1
qbx_regsvr32 /u /s /n /i:user "$dll" >/dev/null 2>&1
snapshot before

# Machine-wide: the keys appear in this DLL's own view only.
check "regsvr32 ($QBX_ARCH)" qbx_regsvr32 /s "$dll"
classes='HKLM\Software\Classes'
addin="HKLM\\$addins\\Quillbox.QBXOutlookConnect"
clsid=$(default_of "$own" "$classes\\Quillbox.QBXOutlookConnect\\CLSID" | grep -o '{[0-9A-Fa-f-]*}')
check "ProgID key in the $own-bit view" [ -n "$clsid" ]
server="$classes\\CLSID\\$clsid\\InprocServer32"
check "InprocServer32 in the $own-bit view names the DLL" [ "$(default_of "$own" "$server")" = "$dll" ]
check "ThreadingModel Apartment" is "$own" "$server" ThreadingModel Apartment
check "LoadBehavior 3 in the $own-bit view" is "$own" "$addin" LoadBehavior 0x3
check "FriendlyName" is "$own" "$addin" FriendlyName Quillbox
check "CommandLineSafe 0" is "$own" "$addin" CommandLineSafe 0x0
check "no class in the $other-bit view" no_key "$other" "$classes\\CLSID\\$clsid"
check "no add-in key in the $other-bit view" no_key "$other" "$addin"
snapshot machine
check "the $other-bit view's classes unchanged" same machine "$other" 0 'HKEY_LOCAL_MACHINE\Software\Classes\CLSID\'
check "the $other-bit view's Office keys unchanged" same machine "$other" 1
for v in 64 32; do
  check "HKCU untouched in the $v-bit view" eval 'same machine $v 2 && same machine $v 3'
done

"$QBX_WINE" "$check_exe" && ok "connection checks" || bad "connection checks"

check "regsvr32 /u" qbx_regsvr32 /u /s "$dll"
check "ProgID key removed" no_key "$own" "$classes\\Quillbox.QBXOutlookConnect"
check "add-in key removed" no_key "$own" "$addin"
check "the neighbour add-in kept" is "$own" "HKLM\\$addins\\$neighbour" LoadBehavior 0x3
snapshot unregistered
for v in 64 32; do
  for i in "${!roots[@]}"; do
    check "${roots[$i]} in the $v-bit view as before" same unregistered "$v" "$i"
  done
done

# Per user, without administrator rights. HKCU\Software\Microsoft\Office is
# one key for both bitnesses, so Outlook of either finds the add-in there; the
# class lands in the DLL's own view of HKCU\Software\Classes.
user_addin="HKCU\\$addins\\Quillbox.QBXOutlookConnect"
check "regsvr32 /n /i:user" qbx_regsvr32 /s /n /i:user "$dll"
check "per-user ProgID key" has_key "$own" 'HKCU\Software\Classes\Quillbox.QBXOutlookConnect\CLSID'
check "per-user InprocServer32 names the DLL" \
  [ "$(default_of "$own" "HKCU\\Software\\Classes\\CLSID\\$clsid\\InprocServer32")" = "$dll" ]
for v in 64 32; do
  check "per-user add-in key seen in the $v-bit view" is "$v" "$user_addin" LoadBehavior 0x3
done
snapshot user
for v in 64 32; do
  check "HKLM untouched in the $v-bit view" eval 'same user $v 0 && same user $v 1'
done
check "per-user unregistration" qbx_regsvr32 /s /u /n /i:user "$dll"
check "per-user ProgID removed" no_key "$own" 'HKCU\Software\Classes\Quillbox.QBXOutlookConnect'
check "per-user add-in key removed" no_key "$own" "$user_addin"
snapshot user_unregistered
for v in 64 32; do
  for i in "${!roots[@]}"; do
    check "${roots[$i]} in the $v-bit view as before" same user_unregistered "$v" "$i"
  done
done

[ $fail -eq 0 ] && echo "registration ($QBX_ARCH): all checks passed"
exit $fail
