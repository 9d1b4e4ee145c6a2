#!/usr/bin/env bash
# Authenticode signing of one architecture's DLL and packages, with a
# throw-away certificate authority made for the run:
#   signing_test.sh BUILD_DIR ARCH
#  - with a certificate and key (per-machine package) and with a PKCS#12 file
#    whose password comes from the environment (per-user package): the
#    package's signature and that of the DLL inside it verify against the
#    throw-away CA, and name its signer; the password never reaches a
#    command line;
#  - without a certificate: the package is built, unsigned, and says so;
#  - a certificate without its key, or with another's key: it stops, and
#    leaves no package behind that could pass for a signed one.
# No timestamp server is asked (no network here).
set -u
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
dll=$1/quillbox.dll
arch=$2
work=$(mktemp -d "${TMPDIR:-/tmp}/qbx-sign.XXXXXX")
trap 'rm -rf "$work"' EXIT
. "$root/tests/checks.sh"
make_msi() { python3 "$root/installer/make_msi.py" --dll "$dll" --arch "$arch" "$@"; }
verifies() { osslsigncode verify -CAfile "$work/cert/ca.pem" -in "$1" >"$work/verify.txt" 2>&1 &&
               grep -q 'Subject: /CN=Quillbox throw-away signer' "$work/verify.txt"; }
# The DLL the package installs, taken out of it.
packaged_dll() { rm -rf "$work/x" && mkdir "$work/x" && (cd "$work/x" && msiextract "$1" >/dev/null) &&
                   find "$work/x" -name quillbox.dll; }

password='pass word & "quote"'
"$here/throwaway_cert.sh" "$work/cert" "$password" || { echo "FAILED: making the throw-away certificate"; exit 1; }
# osslsigncode as the scripts call it, its command lines written down.
mkdir "$work/bin"
printf '#!/bin/sh\nprintf "%%s\\n" "$*" >>"%s"\nexec %s "$@"\n' "$work/argv" "$(command -v osslsigncode)" >"$work/bin/osslsigncode"
chmod +x "$work/bin/osslsigncode"
export PATH="$work/bin:$PATH"
unset SIGN_CERT SIGN_KEY SIGN_PKCS12 SIGN_PASSWORD SIGN_PASSWORD_FILE SIGN_TIMESTAMP

echo "=== certificate and key"
msi=$(SIGN_CERT="$work/cert/signer.pem" SIGN_KEY="$work/cert/signer.key" make_msi --scope machine --out-dir "$work/pem" 2>"$work/err")
check "the package is built" [ -f "$msi" ]
check "the package's signature verifies" verifies "$msi"
check "the DLL inside is signed, and verifies" verifies "$(packaged_dll "$msi")"
check "nothing said about an unsigned package" eval '! grep -q "not signed" "$work/err"'

echo "=== PKCS#12 with a password"
msi=$(SIGN_PKCS12="$work/cert/signer.p12" SIGN_PASSWORD="$password" make_msi --scope user --out-dir "$work/p12" 2>&1)
check "the package is built" [ -f "$msi" ]
check "the package's signature verifies" verifies "$msi"
check "the DLL inside is signed, and verifies" verifies "$(packaged_dll "$msi")"
check "the password on no command line" eval '[ -s "$work/argv" ] && ! grep -qF "pass word" "$work/argv"'
printf '%s' "$password" >"$work/password"
msi=$(make_msi --scope user --out-dir "$work/p12-file" --sign-pkcs12 "$work/cert/signer.p12" \
        --sign-password-file "$work/password" 2>&1)
check "the password from a file, as an option" verifies "$msi"

echo "=== no certificate"
msi=$(make_msi --scope machine --out-dir "$work/none" 2>"$work/err")
check "the package is built" [ -f "$msi" ]
check "it says the package is not signed" grep -q "Quillbox-.*-$arch.msi: not signed" "$work/err"
check "and it is not" eval '! osslsigncode verify -CAfile "$work/cert/ca.pem" -in "$msi" >/dev/null 2>&1'

echo "=== a certificate that can't sign"
check "a certificate without its key is refused" eval \
  '! SIGN_CERT="$work/cert/signer.pem" make_msi --scope machine --out-dir "$work/nokey" >/dev/null 2>&1'
check "another's key is refused" eval \
  '! SIGN_CERT="$work/cert/signer.pem" SIGN_KEY="$work/cert/ca.key" make_msi --scope machine --out-dir "$work/badkey" >/dev/null 2>&1'
check "a wrong PKCS#12 password is refused" eval \
  '! SIGN_PKCS12="$work/cert/signer.p12" SIGN_PASSWORD=wrong make_msi --scope machine --out-dir "$work/badpass" >/dev/null 2>&1'
check "and no package is left behind" eval \
  '[ -z "$(find "$work/nokey" "$work/badkey" "$work/badpass" -name "*.msi" 2>/dev/null)" ]'

[ $fail -eq 0 ] && echo "signing ($arch): all checks passed"
exit $fail
