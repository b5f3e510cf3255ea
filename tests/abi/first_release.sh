#!/bin/bash
# SPDX-License-Identifier: MIT
# A host and plug-ins that are built with the headers of the first release work with the library of
# today, and with its plug-ins and tool.
# Usage: first_release.sh ARCHIVE BUILD_DIR CXX [OPTION...]
set -euo pipefail
archive=$1
build=$2
shift 2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
tar -xf "$archive" -C "$work"
cd "$work"

libraries=("$build"/libkw{host,lookup,log}.so)
compile=("$@" -std=c++17 -Iinclude -fvisibility=hidden)
# The second plug-in names no library, so it has no versions of symbols.
pids=()
"${compile[@]}" minihost.cpp MailList.cpp -o minihost "${libraries[@]}" -pthread & pids+=($!)
"${compile[@]}" -c -fPIC PathLookup.cpp -o path.o & pids+=($!)
for pid in "${pids[@]}"; do
    wait "$pid"
done
"$1" -shared path.o -o libkw_lookup_path.so "${libraries[@]}"
"$1" -shared path.o -o libkw_lookup_ldap.so

mkdir -p mail/corp.lan
touch mail/corp.lan/jdoe
export LD_LIBRARY_PATH=$work:$build:$build/plugins

# expect STATUS OUTPUT COMMAND...
expect() {
    local output status=0
    output=$("${@:3}" 2>&1) || status=$?
    # shellcheck disable=SC2053  # a pattern
    if [ "$status" != "$1" ] || [[ $output != $2 ]]; then
        printf '%s: status %s, output [%s]\n  expected: %s [%s]\n' "${*:3}" "$status" "$output" "$1" "$2"
        exit 1
    fi
}

for type in path ldap; do
    list="$type:Result=here|OnError=exception|$work/mail/\$d/\$u"
    expect 0 $'jdoe@corp.lan\there' "$build/kwlookup" --type path find "$list" jdoe@corp.lan
    expect 1 '' "$build/kwlookup" --type path find "$list" miller@corp.lan
    # Exceptions of the plug-in arrive in the library.
    expect 75 '*this text names no file' "$build/kwlookup" --type path find "$list" 'x@..'
done
expect 0 $'jdoe@corp.lan: here\nbulk-7@x.lan: ^bulk-\nx@.. failed: this text names no file\nreloaded\nx@x.lan: not listed' \
    ./minihost "ldap:Result=here|OnError=exception|$work/mail/\$d/\$u, regex:^bulk-" <<'END'
jdoe@corp.lan
bulk-7@x.lan
x@..
reload
x@x.lan
END
