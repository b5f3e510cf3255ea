#!/bin/sh
# SPDX-License-Identifier: MIT
# Fails if the exports of a library differ from the list.
# usage: compare_exports.sh LIST NM LIBRARY
set -eu
list=$1
nm=$2
library=$3

# Remove the version first: not every c++filt reads a name with one.
symbols=$("$nm" -D --defined-only "$library" | sed 's/@@.*//' | c++filt)
faults=$(printf '%s\n' "$symbols" | awk -v list="$list" '
    BEGIN {
        while ((getline line < list) > 0)
            if (line !~ /^#/)
                known[line] = 1
    }
    $2 == "A" { next }  # the name of the version
    {
        # The class: without address, arguments, result, "typeinfo for" and the like, and
        # the name of the member.
        name = $0
        sub(/[([].*/, "", name)
        sub(/.* /, "", name)
        sub(/-in-.*/, "", name)
        class = name
        sub(/::[^:]*$/, "", class)
        if (class in known)
            found[class] = 1
        else if (name in known)
            found[name] = 1
        else
            print "Exported, but not on the list: " $0
    }
    END {
        for (item in known)
            if (!(item in found))
                print "On the list, but not exported: " item
    }')
if [ -n "$faults" ]; then
    printf '%s\n' "$faults"
    exit 1
fi
