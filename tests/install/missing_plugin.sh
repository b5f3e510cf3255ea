#!/bin/bash
# SPDX-License-Identifier: MIT
# Tests that the tool and the daemon name the package of a plug-in that is not installed.
# Usage: missing_plugin.sh PREFIX
set -euo pipefail
tree=$(mktemp -d -p .)
trap 'rm -rf "$tree"' EXIT
cp -al "$1/." "$tree" # other tests use the installed tree
find "$tree" -name libkw_lookup_regex.so -delete
loader=': cannot open shared object file: No such file or directory'
error="Cannot load shared library libkw_lookup_regex.so because libkw_lookup_regex.so$loader"
hint='install the package libkwlookup1-regex'

# expect NAME WANTED GOT
expect() {
    [ "$2" = "$3" ] || { printf '%s:\n%s\ninstead of\n%s\n' "$1" "$3" "$2"; exit 1; }
}

expect find "kwlookup: error: Error in init lookup [regex:x|y]: $error
kwlookup: hint: $hint" "$("$tree/bin/kwlookup" find 'regex:x|y' x 2>&1 || true)"
expect types "regex"$'\t'"not available: $error; $hint" "$("$tree/bin/kwlookup" types | grep ^regex)"

printf '%s\n' '[list a]' 'Objects = Regex:x' '[door b]' 'Protocol = socketmap' \
    "Address = unix:$PWD/$tree/socket" >"$tree/kwlookupd.conf"
expect kwlookupd "kwlookupd: error: Error in init lookup [Regex:x]: $error
kwlookupd: info: $hint" "$("$tree/bin/kwlookupd" --check --config "$tree/kwlookupd.conf" 2>&1 | head -n 2)"

# No package helps when the plug-in is there.
expect damaged '' "$(: >"$(dirname "$(find "$tree" -name libkw_lookup_cdb.so)")/libkw_lookup_regex.so"
    "$tree/bin/kwlookup" find regex:x x 2>&1 | grep hint: || true)"
