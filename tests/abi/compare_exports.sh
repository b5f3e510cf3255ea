#!/bin/sh
# SPDX-License-Identifier: MIT
# Fails when a library exports what is not on the list.
# usage: compare_exports.sh LIST NM LIBRARY
set -eu
list=$1
nm=$2
library=$3

# The version goes first: not every c++filt reads a name with one.
symbols=$("$nm" -D --defined-only "$library" | sed 's/@@.*//' | c++filt)
strangers=$(printf '%s\n' "$symbols" | awk -v list="$list" '
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
        ++count
        if (!(class in known) && !(name in known))
            print
    }
    END {
        if (count < 100)
            print "only " count + 0 " symbols were found"
    }')
if [ -n "$strangers" ]; then
    printf 'Exported, but not on the list:\n%s\n' "$strangers"
    exit 1
fi
