#!/usr/bin/env bash
# Makes a throw-away code-signing certificate for the tests:
#   throwaway_cert.sh DIR [PASSWORD]
# DIR/ca.pem          a certificate authority of its own (trust anchor for verifying)
# DIR/signer.pem      a code-signing certificate it issued, DIR/signer.key its key
# DIR/signer.p12      the same as PKCS#12 with the chain, under PASSWORD (default "throw-away")
# Valid for two days; nothing is kept anywhere else.
set -eu
dir=$1
password=${2:-throw-away}
mkdir -p "$dir"
cat >"$dir/openssl.cnf" <<'CNF'
[req]
distinguished_name = dn
prompt = no
[dn]
CN = Quillbox throw-away test CA
[ca]
basicConstraints = critical, CA:true
keyUsage = critical, keyCertSign, cRLSign
subjectKeyIdentifier = hash
[signer]
basicConstraints = critical, CA:false
keyUsage = critical, digitalSignature
extendedKeyUsage = codeSigning
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid
CNF
openssl req -x509 -newkey rsa:2048 -nodes -keyout "$dir/ca.key" -out "$dir/ca.pem" -days 2 \
  -config "$dir/openssl.cnf" -extensions ca 2>/dev/null
openssl req -newkey rsa:2048 -nodes -keyout "$dir/signer.key" -out "$dir/signer.csr" \
  -subj "/CN=Quillbox throw-away signer" 2>/dev/null
openssl x509 -req -in "$dir/signer.csr" -CA "$dir/ca.pem" -CAkey "$dir/ca.key" -CAcreateserial \
  -out "$dir/signer.pem" -days 2 -extfile "$dir/openssl.cnf" -extensions signer 2>/dev/null
openssl pkcs12 -export -in "$dir/signer.pem" -inkey "$dir/signer.key" -certfile "$dir/ca.pem" \
  -out "$dir/signer.p12" -passout "pass:$password"
