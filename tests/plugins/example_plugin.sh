#!/bin/bash
# SPDX-License-Identifier: MIT
# Tests the example plug-in in its build directory.
# Usage: example_plugin.sh SOURCE TOOL
set -euo pipefail
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
mkdir -p "$dir/mail/corp.lan" "$dir/mail/corp.example"
touch "$dir/mail/corp.lan/jdoe" "$dir/mail/corp.example/jdoe" "$dir/outside"
install -m 600 "$1/path.conf" "$dir/path.conf"
tool=$2

# expect STATUS OUTPUT ARGUMENT...
expect() {
    local status=0 output
    output=$(LD_LIBRARY_PATH=. "$tool" "${@:3}" 2>&1) || status=$?
    # shellcheck disable=SC2053  # a pattern
    if [ "$status" != "$1" ] || [[ $output != $2 ]]; then
        printf '%s: status %s, output [%s]\n  expected: %s [%s]\n' "${*:3}" "$status" "$output" "$1" "$2"
        exit 1
    fi
}

list="path:$dir/mail/\$d/\$u"
configured=(--config "$dir/path.conf")
expect 0 $'jdoe@corp.lan\ta local user' "${configured[@]}" find "$list" jdoe@corp.lan miller@corp.lan jdoe@x.lan
expect 1 '' "${configured[@]}" find "$list" jdoe@corp.example
expect 0 $'jdoe@corp.example\there' \
    "${configured[@]}" find "path:SkipDomains=|Result=here|$dir/mail/\$d/\$u" jdoe@corp.example
for text in ../../outside@corp.lan 'outside@..' '@corp.lan'; do
    expect 75 '*: this text names no file' "${configured[@]}" find "$list" "$text"
done
expect 1 '*lookup_path: this text names no file' \
    "${configured[@]}" find "path:OnError=ignore|$dir/mail/\$d/\$u" ../x@corp.lan
expect 78 '*wrong empty*' "${configured[@]}" check path:
expect 0 '*: 2 sections, 0 errors' "${configured[@]}" check
expect 75 "*unknown id 'path'*--type path" find "$list" jdoe@corp.lan
expect 0 "jdoe@corp.lan"$'\t'"$dir/mail/corp.lan/jdoe" --type path find "$list" jdoe@corp.lan
expect 0 $'*\npath\tplug-in\n*' --type path types

# Installed into the folder of plug-ins, and beside the library, the plug-in needs no LD_LIBRARY_PATH.
# A copy of the installed tree, because other tests use that one.
tree=$(mktemp -d -p .)
trap 'rm -rf "$dir" "$tree"' EXIT
prefix=$(dirname "$(dirname "$tool")")
cp -al "$prefix/." "$tree"
installed=$(find "$tree" -name libkw_lookup_regex.so -printf '%P')
[[ $installed == lib*/kwlookup/libkw_lookup_regex.so ]] || { echo "plug-ins are in $installed"; exit 1; }
DESTDIR=$dir/root cmake --install . >/dev/null
made=$dir/root$prefix/$(dirname "$installed")/libkw_lookup_path.so
tool=$tree/bin/kwlookup
unset LD_LIBRARY_PATH
for folder in "$(dirname "$installed")" "$(dirname "$(dirname "$installed")")"; do
    cp "$made" "$tree/$folder"
    [[ $("$tool" --type path types) == *$'\npath\tplug-in\n'* ]] || { echo "not found in $folder"; exit 1; }
    rm "$tree/$folder/libkw_lookup_path.so"
done
[[ $("$tool" --type path types) == *$'\npath\tnot available: '* ]]
