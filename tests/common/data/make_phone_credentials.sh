#!/bin/sh
# Makes phone-credentials.pem, the fixed keys and certificates the phone tests hand the emulated
# phones (--phone-credentials, UsbmuxdConfig::credentialsFile) so that no test run pays for
# RSA key generation. Made once and checked in; the program itself always makes fresh
# ones. Order: root certificate and key, host certificate and key, device certificate and key.
set -eu
out=$(cd "$(dirname "$0")" && pwd)/phone-credentials.pem
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
days=36500
for who in root host device; do
  openssl genrsa -traditional -out "$who.key" 2048 2>/dev/null
done
openssl req -x509 -new -key root.key -subj /CN=Root -days "$days" -sha256 \
  -addext "basicConstraints=critical,CA:TRUE" -addext "keyUsage=critical,keyCertSign,cRLSign" \
  -out root.crt
printf 'basicConstraints=critical,CA:FALSE\nkeyUsage=critical,digitalSignature,keyEncipherment\nsubjectKeyIdentifier=hash\n' > leaf.ext
serial=2
for who in host device; do
  name=$(echo "$who" | sed 's/./\U&/')
  openssl req -new -key "$who.key" -subj "/CN=$name" -out "$who.csr"
  openssl x509 -req -in "$who.csr" -CA root.crt -CAkey root.key -set_serial "$serial" \
    -days "$days" -sha256 -extfile leaf.ext -out "$who.crt" 2>/dev/null
  serial=$((serial + 1))
done
cat root.crt root.key host.crt host.key device.crt device.key > "$out"
