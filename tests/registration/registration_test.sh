#!/usr/bin/env bash
# Registration round trip under Wine (machine-wide and per user).
set -u
dll=$(winepath -w "$1" 2>/dev/null)
check_exe=$2
fail=0
ok() { echo "ok: $1"; }
bad() { echo "FAILED: $1"; fail=1; }
has_key() { wine reg query "$1" >/dev/null 2>&1; }
value_of() { wine reg query "$1" /v "$2" 2>/dev/null | tr -d '\r' | awk -v n="$2" '$1==n {print $NF}'; }

classes_before=$(mktemp)
classes_after=$(mktemp)
trap 'rm -f "$classes_before" "$classes_after"' EXIT
wine regedit /E "$(winepath -w "$classes_before")" 'HKEY_LOCAL_MACHINE\Software\Classes' >/dev/null 2>&1

# Machine-wide.
wine regsvr32 /s "$dll" && ok "regsvr32" || bad "regsvr32 exit code"
addin='HKLM\Software\Microsoft\Office\Outlook\Addins\Quillbox.QBXOutlookConnect'
has_key 'HKLM\Software\Classes\Quillbox.QBXOutlookConnect\CLSID' && ok "ProgID key" || bad "ProgID key missing"
[ "$(value_of "$addin" LoadBehavior)" = "0x3" ] && ok "LoadBehavior 3" || bad "LoadBehavior"
[ "$(value_of "$addin" FriendlyName)" = "Quillbox" ] && ok "FriendlyName" || bad "FriendlyName"
clsid=$(wine reg query 'HKLM\Software\Classes\Quillbox.QBXOutlookConnect\CLSID' /ve 2>/dev/null | tr -d '\r' | grep -o '{[0-9A-Fa-f-]*}')
[ "$(value_of "HKLM\\Software\\Classes\\CLSID\\$clsid\\InprocServer32" ThreadingModel)" = "Apartment" ] \
  && ok "ThreadingModel Apartment" || bad "ThreadingModel"

wine "$check_exe" || bad "connection checks"

wine regsvr32 /u /s "$dll" && ok "regsvr32 /u" || bad "regsvr32 /u exit code"
has_key 'HKLM\Software\Classes\Quillbox.QBXOutlookConnect' && bad "ProgID key left behind" || ok "ProgID key removed"
has_key "$addin" && bad "Addins key left behind" || ok "Addins key removed"
wine regedit /E "$(winepath -w "$classes_after")" 'HKEY_LOCAL_MACHINE\Software\Classes' >/dev/null 2>&1
if cmp -s "$classes_before" "$classes_after"; then ok "classes exactly as before"; else bad "classes differ after unregistering"; diff "$classes_before" "$classes_after" | head -20; fi

# Per user, without administrator rights: the same keys under HKCU.
wine regsvr32 /s /n /i:user "$dll" && ok "regsvr32 /n /i:user" || bad "per-user registration exit code"
has_key 'HKCU\Software\Classes\Quillbox.QBXOutlookConnect\CLSID' && ok "per-user ProgID key" || bad "per-user ProgID key missing"
[ "$(value_of 'HKCU\Software\Microsoft\Office\Outlook\Addins\Quillbox.QBXOutlookConnect' LoadBehavior)" = "0x3" ] \
  && ok "per-user Addins key" || bad "per-user Addins key"
has_key 'HKLM\Software\Classes\Quillbox.QBXOutlookConnect' && bad "per-user install wrote HKLM" || ok "HKLM untouched"
wine regsvr32 /s /u /n /i:user "$dll" && ok "per-user unregistration" || bad "per-user unregistration exit code"
has_key 'HKCU\Software\Classes\Quillbox.QBXOutlookConnect' && bad "per-user ProgID left" || ok "per-user ProgID removed"
has_key 'HKCU\Software\Microsoft\Office\Outlook\Addins\Quillbox.QBXOutlookConnect' && bad "per-user Addins key left" || ok "per-user Addins key removed"

[ $fail -eq 0 ] && echo "registration: all checks passed"
exit $fail
