#!/bin/sh
# Makes a certificate authority and a code-signing certificate for the sample drivers.
# usage: make-certificates.sh <folder>
#   ca.cer      the authority, in the form that Windows imports
#   signer.pem  the signing certificate followed by the authority
#   signer.key  its private key
set -eu

[ $# -eq 1 ] || { echo "usage: make-certificates.sh <folder>" >&2; exit 2; }
mkdir -p "$1"
cd "$1"

days=9000
new_key="-newkey rsa:2048 -noenc -sha256"

openssl req -x509 $new_key -days $days -keyout ca.key -out ca.pem -subj "/CN=driverSteward Sample CA" \
    -addext "basicConstraints=critical,CA:TRUE" -addext "keyUsage=critical,keyCertSign,cRLSign" 2>openssl.log ||
    { cat openssl.log >&2; exit 1; }
openssl req -x509 $new_key -days $days -CA ca.pem -CAkey ca.key -keyout signer.key -out leaf.pem \
    -subj "/CN=driverSteward Sample Signer" \
    -addext "basicConstraints=critical,CA:FALSE" -addext "keyUsage=critical,digitalSignature" \
    -addext "extendedKeyUsage=codeSigning" 2>openssl.log ||
    { cat openssl.log >&2; exit 1; }
rm -f ca.key openssl.log

openssl x509 -in ca.pem -outform DER -out ca.cer
cat leaf.pem ca.pem >signer.pem
