#!/bin/sh
# Derives the browser add-on's id from the "key" of its manifest the way the
# browsers do (SHA-256 of the DER public key, the first 32 hex digits written
# a-p), independently of the build, and compares it with the id the build
# derived. Usage: addon-id.sh MANIFEST EXPECTED_ID
set -eu
key=$(sed -n 's/^ *"key": *"\([^"]*\)".*/\1/p' "$1")
id=$(printf '%s' "$key" | openssl base64 -d -A | openssl dgst -sha256 -r | cut -c1-32 | tr 0-9a-f a-p)
if [ "$id" != "$2" ]; then
    echo "the add-on's id is $id, the build has $2" >&2
    exit 1
fi
echo "add-on id $id"
