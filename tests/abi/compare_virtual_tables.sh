#!/bin/sh
# SPDX-License-Identifier: MIT
# Compares the virtual tables that clang lays out with the list of them.
# usage: compare_virtual_tables.sh LIST CLANG [OPTION...] VirtualTables.cpp
set -eu
list=$1
shift

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

sed -e '/^#/d' -e '/^$/d' "$list" >"$work/expected"
"$@" -std=c++17 -Xclang -fdump-vtable-layouts -c -o /dev/null >"$work/dump"
awk '
    /^Vtable for / { inside = /^Vtable for .Probe/; named = 0 }
    /^$/ { inside = 0 }
    !inside || !/^ *[0-9]+ \| / { next }
    { sub(/^ *[0-9]+ \| (\[unused\] )?/, "") }
    /^offset_to_top/ && named { print "  --" }
    /^(offset_to_top|vbase_offset|vcall_offset)/ || / RTTI$/ { next }
    /^Probe</ {
        if (!named)
            print substr($0, 7, index($0, ">::") - 7)
        named = 1
        sub(/.*~Probe\(\)/, "destructor")
    }
    { print "  " $0 }' "$work/dump" >"$work/found"
diff -u --label expected --label found "$work/expected" "$work/found"
