#!/bin/sh
# SPDX-License-Identifier: MIT
# Fails if the exports of a library, or their versions, differ from the list.
# usage: compare_exports.sh LIST NM LIBRARY
set -eu
list=$1
nm=$2
library=$3

# Put the version before the name: not every c++filt reads a name with one.
symbols=$("$nm" -D --defined-only "$library" |
    sed -E -e 's/^([^ ]*) (.) ([^@]*)$/\1 \2 - \3/' -e 's/^([^ ]*) (.) ([^@]*)@@(.*)/\1 \2 \4 \3/' |
    c++filt)
faults=$(printf '%s\n' "$symbols" | awk -v list="$list" '
    BEGIN {
        version = "-"
        while ((getline line < list) > 0)
            if (line ~ /^version /)
                version = substr(line, 9)
            else if (line !~ /^#/)
                known[version " " line] = 1
    }
    $2 == "A" { next }  # the name of the version
    {
        version = $3
        $1 = $2 = $3 = ""
        sub(/^ +/, "")
        # The class: without address, arguments, result, "typeinfo for" and the like, and
        # the name of the member.
        name = $0
        sub(/[([].*/, "", name)
        sub(/.* /, "", name)
        sub(/-in-.*/, "", name)
        name = version " " name
        class = name
        sub(/::[^:]*$/, "", class)
        if (class in known)
            found[class] = 1
        else if (name in known)
            found[name] = 1
        else
            print "Exported, but not on the list: " version " " $0
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
