#!/bin/bash
# SPDX-License-Identifier: MIT
# abi/compare tells additions from changes that break programs. Here the references change instead of
# the libraries.
# Usage: compare_finds_changes.sh SOURCE_DIR BUILD_DIR
set -euo pipefail
source=$1
build=$2
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
(cd "$source" && cp -r --parents -t "$copy" abi CMakeLists.txt cmake/Install.cmake host conf lookup \
    objects sql kwlog kwhost examples/host examples/plugin)
sed -i "s/^\(project(kwlookup VERSION\) [0-9.]*/\1 1.0.0/" "$copy/CMakeLists.txt"
: >"$copy/NEWS"
"$copy/abi/compare" --update "$build"
cp -r "$copy/abi" "$copy/unchanged"

# compare STATUS PATTERN REFERENCE EDIT NEWS: compare after the edit of a reference by sed.
compare() {
    local output status=0
    printf '1.0.0 (not released yet)\n\n%s\n' "$5" >"$copy/NEWS"
    cp "$copy/unchanged"/*.abi "$copy/abi"
    sed -i "$4" "$copy/abi/$3.so.1.abi"
    output=$("$copy/abi/compare" "$build" 2>&1) || status=$?
    # shellcheck disable=SC2053  # a pattern
    if [ "$status" != "$1" ] || [[ $output != $2 ]]; then
        printf '%s\nstatus %s and output above; expected %s and %s\n' "$output" "$status" "$1" "$2"
        exit 1
    fi
}

released="0.9.0 (2026-01-01)"
added="/elf-symbol name='_ZN8kwlookup17CountLoggedErrorsEv'/d
/<function-decl name='CountLoggedErrors'/,/<\/function-decl>/d"
removed="s/name='_ZN8kwlookup17CountLoggedErrorsEv'/name='_ZN8kwlookup3OldEv'/"
larger="/<class-decl name='KwStrLookup'/s/size-in-bits='320'/size-in-bits='384'/"

compare 0 '' libkwlog 's/^$//' "$released"
compare 0 '*: an addition: kwlookup::CountLoggedErrors()' libkwlog "$added" "$released"
compare 1 '*needs a MINOR version after 1.0.0: kwlookup::CountLoggedErrors() KWLOG_1.0' \
    libkwlog "$added" "1.0.0 (2026-01-01)"
compare 1 '*libkwlog: the change above is no addition*' libkwlog "$removed" "$released"
compare 1 "*KwStrLookup*size changed*no addition*" libkwlookup "$larger" "$released"
