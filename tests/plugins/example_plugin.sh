#!/bin/bash
# SPDX-License-Identifier: MIT
# Asks the example plug-in, in the directory where it was built; $1 is its source.
set -euo pipefail
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
mkdir -p "$dir/mail/corp.lan" "$dir/mail/corp.example"
touch "$dir/mail/corp.lan/jdoe" "$dir/mail/corp.example/jdoe" "$dir/outside"
install -m 600 "$1/path.conf" "$dir/path.conf"

# expect STATUS OUTPUT LIST ADDRESS...
expect() {
    local status=0 output
    output=$(LD_LIBRARY_PATH=. ./ask "$dir/path.conf" "${@:3}" 2>&1) || status=$?
    if [ "$status" != "$1" ] || [[ $output != $2 ]]; then
        printf '%s: status %s, output [%s]\n  expected: %s [%s]\n' "${*:3}" "$status" "$output" "$1" "$2"
        exit 1
    fi
}

expect 0 $'jdoe@corp.lan: found a local user\nmiller@corp.lan: not found\njdoe@x.lan: not found' \
    "path:$dir/mail/\$d/\$u" jdoe@corp.lan miller@corp.lan jdoe@x.lan
expect 0 'jdoe@corp.example: not found' "path:$dir/mail/\$d/\$u" jdoe@corp.example
expect 0 'jdoe@corp.example: found here' \
    "path:SkipDomains=|Result=here|$dir/mail/\$d/\$u" jdoe@corp.example
expect 75 '*ask: this text names no file' "path:$dir/mail/\$d/\$u" ../../outside@corp.lan
expect 75 '*ask: this text names no file' "path:$dir/mail/\$d/\$u" 'outside@..'
expect 75 '*ask: this text names no file' "path:$dir/mail/\$d/\$u" '@corp.lan'
expect 0 $'*lookup_path: this text names no file\n../x@corp.lan: not found' \
    "path:OnError=ignore|$dir/mail/\$d/\$u" ../x@corp.lan
expect 75 '*wrong empty*Errors in lookups/storage. See above.' 'path:' jdoe@corp.lan
