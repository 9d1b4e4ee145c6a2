#!/usr/bin/env bash
# The MSI packages of one architecture, built from the build's DLL and put
# through their life under Wine in a fresh prefix of their own:
#   installer_test.sh BUILD_DIR VERSION
# The packages are signed with a throw-away certificate, as `make dist` signs
# them with a real one. For the per-machine and the per-user package in turn:
#  - the package has no self-registration, says VERSION, and its Registry
#    table holds exactly the values regsvr32 (or regsvr32 /n /i:user) writes;
#  - msiexec /i /qn writes in each registry view exactly what regsvr32 writes,
#    the package's DLL lands in the install folder with its signature intact,
#    Add/Remove Programs shows one entry with publisher, version, icon, help
#    link and no "modify";
#  - the emulated Outlook loads the add-in from the registry (no regsvr32)
#    and plays the demo scenario to its end;
#  - a repair brings back a deleted DLL; version N+1 installed over N leaves
#    one entry and N+1's DLL in place; N over N+1 is refused;
#  - msiexec /x /qn leaves the registry as exported before anything was done
#    (bar the empty keys Windows Installer keeps for itself) and no folder.
set -u
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
. "$root/tests/wine_env.sh" "$1" || exit 2
version=$2
dll="$qbx_build/quillbox.dll"
host="$qbx_build/qbxhost.exe"
work=$(mktemp -d "${TMPDIR:-/tmp}/qbx-msi.XXXXXX")
# A fresh prefix, so nothing another test registered can make a check pass.
export WINEPREFIX="$work/prefix"
cleanup() { qbx_wine_stop; rm -rf "$work"; }
trap cleanup EXIT
qbx_wine_start
# Windows has this set from the start; Wine writes it on the first use of the
# internet functions (the demo's uploads), which is no concern of the packages.
qbx_reg add 'HKCU\Software\Microsoft\Windows\CurrentVersion\Internet Settings' /v ProxyEnable /t REG_DWORD /d 0 /f >/dev/null
local_appdata=$("$QBX_WINE64" 'C:\windows\system32\cmd.exe' /c echo %LOCALAPPDATA% | tr -d '\r')

own=$QBX_VIEW
other=$((own == 64 ? 32 : 64))
. "$root/tests/checks.sh"
# same WHAT FILE_A FILE_B: the two lists agree; prints the difference when not.
same() {
  if cmp -s "$2" "$3"; then ok "$1"; else bad "$1"; diff "$2" "$3" | head -20 | sed 's/^/    /'; fi
}
# The msiexec of the package's bitness, beside the regsvr32 of that bitness.
msiexec() { "$QBX_WINE" "${QBX_REGSVR32%regsvr32.exe}msiexec.exe" "$@"; }
entries() { python3 "$here/reg_entries.py" "$@"; }

# The registry roots the add-in writes to, from each view: a snapshot is one
# file per view.
roots=('HKLM\Software\Classes' 'HKLM\Software\Microsoft\Office' 'HKCU\Software\Classes' 'HKCU\Software\Microsoft\Office')
snapshot() {
  local v r
  for v in 64 32; do
    : >"$work/$1-$v"
    for r in "${roots[@]}"; do
      qbx_reg_as "$v" export "$r" "$(qbx_winepath "$work/export.reg")" /y >/dev/null 2>&1 || continue
      iconv -f UTF-16 -t UTF-8 "$work/export.reg" | tr -d '\r' >>"$work/$1-$v"
    done
  done
}
# The whole of HKLM\Software and HKCU\Software (both views live inside them).
export_all() {
  local r
  : >"$work/$1"
  for r in HKLM HKCU; do
    qbx_reg export "$r\\Software" "$(qbx_winepath "$work/export.reg")" /y >/dev/null
    iconv -f UTF-16 -t UTF-8 "$work/export.reg" | tr -d '\r' >>"$work/$1"
  done
}
# The Add/Remove Programs entries named Quillbox, from both places the list
# is read from (Wine keeps per-user entries under HKLM too).
uninstall_entries() {
  local w
  for w in '' 'Wow6432Node\'; do
    qbx_reg query "HKLM\\Software\\${w}Microsoft\\Windows\\CurrentVersion\\Uninstall" /s 2>/dev/null | tr -d '\r' |
      awk '/^HKEY_/ {key = $0} $1 == "DisplayName" && $3 == "Quillbox" && NF == 3 {print key}'
  done
}

# The packages: this build's DLL as version N, and a copy that says N+1.
next_dll="$work/next/quillbox.dll"
mkdir -p "$work/next" "$work/files"
next=$(python3 "$here/next_version.py" "$dll" "$next_dll") || exit 1
"$here/throwaway_cert.sh" "$work/cert" || { echo "FAILED: making the throw-away certificate"; exit 1; }
for scope in machine user; do
  for d in "$dll" "$next_dll"; do
    SIGN_CERT="$work/cert/signer.pem" SIGN_KEY="$work/cert/signer.key" \
      python3 "$root/installer/make_msi.py" --dll "$d" --arch "$QBX_ARCH" --scope "$scope" --out-dir "$work/msi" >/dev/null ||
      { echo "FAILED: building the $scope packages"; exit 1; }
  done
done
# The DLL a package installs (signed, so no longer the build's bytes).
packaged_dll() {
  rm -rf "$work/$2" && mkdir -p "$work/$2" && (cd "$work/$2" && msiextract "$1" >/dev/null) && find "$work/$2" -name quillbox.dll
}
for name in "Quarterly report.txt" "Costs & budget 2024.csv" notes.txt; do
  printf 'The file %s.\r\n' "$name" >"$work/files/$name"
done
# The top keys of the add-in's classes (CLSID\{...} and ProgID), for the
# per-user demo below.
class_keys=$(awk -F'\t' '!/^#/ && $1 ~ /^Software\\Classes\\/ {
  n = split($1, p, "\\"); print p[1] "\\" p[2] "\\" p[3] (p[3] == "CLSID" ? "\\" p[4] : "") }' \
  "$root/installer/registry_keys.txt" | sort -u)

for scope in machine user; do
  suffix=$([ $scope = user ] && echo -user)
  msi="$work/msi/Quillbox-$version-$QBX_ARCH$suffix.msi"
  msi_next="$work/msi/Quillbox-$next-$QBX_ARCH$suffix.msi"
  regsvr32_args=()
  [ $scope = user ] && regsvr32_args=(/n /i:user)
  if [ $scope = machine ]; then
    hive=HKLM hive_key=hkey_local_machine
    [ "$QBX_ARCH" = x64 ] && folder="C:\\Program Files\\Quillbox" || folder="C:\\Program Files (x86)\\Quillbox"
  else
    hive=HKCU hive_key=hkey_current_user
    [ "$QBX_ARCH" = x64 ] && folder="Quillbox" || folder="Quillbox (32-bit)"
    folder="$local_appdata\\Programs\\$folder"
  fi
  folder_unix="$WINEPREFIX/drive_c/$(echo "${folder#C:\\}" | tr '\\' /)"
  echo "=== $scope package $(basename "$msi") ($QBX_ARCH, $own-bit view)"
  signed_dll=$(packaged_dll "$msi" "dll-$scope")
  signed_next_dll=$(packaged_dll "$msi_next" "next-dll-$scope")

  # The package itself.
  check "$scope: the package is there" [ -f "$msi" ]
  check "$scope: no SelfReg entries" [ -z "$(msiinfo export "$msi" SelfReg 2>/dev/null | tail -n +4)" ]
  check "$scope: ProductVersion $version" eval 'msiinfo export "$msi" Property | tr -d "\r" | grep -qx "ProductVersion	$version"'
  # msidump writes the streams (the icon) into the working folder.
  rm -rf "$work/dump" && mkdir -p "$work/dump" && (cd "$work/dump" && msidump -d . "$msi" >/dev/null)
  entries table "$work/dump/Registry.idt" >"$work/table"

  # What regsvr32 writes, in each view, for comparison.
  export_all all-before
  snapshot before
  check "$scope: regsvr32 ${regsvr32_args[*]:-(machine-wide)}" qbx_regsvr32 /s "${regsvr32_args[@]}" "$(qbx_winepath "$dll")"
  snapshot regsvr32
  qbx_regsvr32 /s /u "${regsvr32_args[@]}" "$(qbx_winepath "$dll")"
  for v in $own $other; do
    entries added "$work/before-$v" "$work/regsvr32-$v" "$(qbx_winepath "$dll")" >"$work/by-regsvr32-$v"
  done
  check "$scope: regsvr32 wrote under $hive" grep -q "^$hive_key\\\\" "$work/by-regsvr32-$own"
  # The table names keys as the package's view shows them; the 32-bit reg.exe
  # lists the 32-bit view's own keys both so and by where they are kept
  # (under Wow6432Node).
  sed 's/\\wow6432node\\/\\/' "$work/by-regsvr32-$own" | sort -u >"$work/by-regsvr32-in-view"
  same "$scope: the Registry table holds exactly what regsvr32 writes" "$work/by-regsvr32-in-view" "$work/table"

  # Installed.
  check "$scope: msiexec /i /qn" msiexec /i "$(qbx_winepath "$msi")" /qn
  snapshot installed
  for v in $own $other; do
    entries added "$work/before-$v" "$work/installed-$v" "$folder\\quillbox.dll" >"$work/by-msi-$v"
    same "$scope: the $v-bit view holds what regsvr32 writes there" "$work/by-regsvr32-$v" "$work/by-msi-$v"
  done
  check "$scope: the package's DLL in $folder" cmp -s "$signed_dll" "$folder_unix/quillbox.dll"
  check "$scope: its signature verifies" eval \
    'osslsigncode verify -CAfile "$work/cert/ca.pem" -in "$folder_unix/quillbox.dll" >/dev/null 2>&1'
  arp=$(uninstall_entries)
  check "$scope: one Add/Remove Programs entry" [ "$(echo "$arp" | grep -c .)" = 1 ]
  check "$scope: its name, publisher, version, help link, no modify" eval '
    [ "$(value_of 64 "$arp" DisplayName)" = Quillbox ] && [ "$(value_of 64 "$arp" Publisher)" = Quillbox ] &&
    [ "$(value_of 64 "$arp" DisplayVersion)" = "$version" ] &&
    [ "$(value_of 64 "$arp" HelpLink)" = https://www.quillbox.example/ ] && [ "$(value_of 64 "$arp" NoModify)" = 0x1 ]'
  icon=$(qbx_reg query 'HKCR\Installer\Products' /s /v ProductIcon 2>/dev/null | tr -d '\r' | awk '$1=="ProductIcon" {$1=""; $2=""; sub(/^ +/, ""); print}')
  [ -n "$icon" ] || icon=$(qbx_reg query 'HKCU\Software\Microsoft\Installer\Products' /s /v ProductIcon 2>/dev/null |
                             tr -d '\r' | awk '$1=="ProductIcon" {$1=""; $2=""; sub(/^ +/, ""); print}')
  check "$scope: the product icon is kept for the entry" [ -f "$WINEPREFIX/drive_c/$(echo "${icon#C:\\}" | tr '\\' /)" ]

  # The emulated Outlook finds the add-in in the registry and plays the demo.
  # Windows shows HKCU\Software\Classes inside HKEY_CLASSES_ROOT; Wine does
  # not, so for the per-user package the classes it installed are copied to
  # HKLM for this run only (the add-in key stays in HKCU, where the host
  # looks first) and deleted after.
  if [ $scope = user ]; then
    for k in $class_keys; do qbx_reg_as "$own" copy "HKCU\\$k" "HKLM\\$k" /s /f >/dev/null; done
  fi
  QBX_DEMO_FILES="$work/files" timeout 300 "$root/tests/with_spemu.sh" "$QBX_WINE" "$host" --version 11 \
    --mailbox "$work/mailbox-$scope.txt" "$root/testbed/scenarios/demo.txt" >"$work/demo-$scope.txt" 2>&1
  rc=$?
  if [ $scope = user ]; then
    for k in $class_keys; do qbx_reg_as "$own" delete "HKLM\\$k" /f >/dev/null; done
  fi
  check "$scope: the host loaded the add-in from the registry" \
    grep -q "add-in Quillbox.QBXOutlookConnect: OnConnection" "$work/demo-$scope.txt"
  check "$scope: the demo scenario played to its end" eval '[ $rc -eq 0 ] && grep -q "RESULT: all" "$work/demo-$scope.txt"'
  [ $rc -eq 0 ] || sed -n '/FAILED/p' "$work/demo-$scope.txt" | head -10 | sed 's/^/    /'

  # A repair brings back a lost DLL. (Wine's msiexec /f does not repair; its
  # documented equivalent, the REINSTALL properties, does.)
  rm -f "$folder_unix/quillbox.dll"
  check "$scope: a repair" msiexec /i "$(qbx_winepath "$msi")" REINSTALL=ALL REINSTALLMODE=omus /qn
  check "$scope: the deleted DLL is back" cmp -s "$signed_dll" "$folder_unix/quillbox.dll"

  # Version N+1 over N: a major upgrade.
  check "$scope: msiexec /i of $next over $version" msiexec /i "$(qbx_winepath "$msi_next")" /qn
  arp=$(uninstall_entries)
  check "$scope: still one Add/Remove Programs entry" [ "$(echo "$arp" | grep -c .)" = 1 ]
  check "$scope: the entry says $next" [ "$(value_of 64 "$arp" DisplayVersion)" = "$next" ]
  check "$scope: the DLL of $next in place" cmp -s "$signed_next_dll" "$folder_unix/quillbox.dll"
  check "$scope: $version over $next is refused" eval '! msiexec /i "$(qbx_winepath "$msi")" /qn'
  check "$scope: and changes nothing" eval '[ "$(uninstall_entries)" = "$arp" ] && cmp -s "$signed_next_dll" "$folder_unix/quillbox.dll"'

  # Removed: the registry as it was, and no folder.
  check "$scope: msiexec /x /qn" msiexec /x "$(qbx_winepath "$msi_next")" /qn
  export_all all-after
  entries leftovers "$work/all-before" "$work/all-after" >"$work/leftovers"
  same "$scope: HKLM\\Software and HKCU\\Software as exported before" /dev/null "$work/leftovers"
  check "$scope: the install folder is gone" [ ! -e "$folder_unix" ]
done

[ $fail -eq 0 ] && echo "installer ($QBX_ARCH): all checks passed"
exit $fail
