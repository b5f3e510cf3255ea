#!/bin/bash
# SPDX-License-Identifier: MIT
# Tests the example host that stores.
# Usage: ministore.sh MINISTORE SQLITE3
set -euo pipefail
program=$1 sqlite=$2
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
database=$directory/seen.db
"$sqlite" "$database" 'create table seen (address unique, at)'
list="\"sqlite:OnError=exception|Database=$database|insert into seen values (:address<varchar>, :at<timestamp>)\""

fail() {
    echo "$1"
    exit 1
}

"$program" "$list" jdoe@corp.lan news@bulk.example || fail "status $?"
status=0
error=$("$program" "$list" jdoe@corp.lan other@corp.lan 2>&1) || status=$?
[ "$status" = 75 ] || fail "an address that is there already: status $status"
[[ $error == "jdoe@corp.lan is not stored: $database: "* ]] || fail "$error"
stored=$("$sqlite" "$database" \
    "select group_concat(address) from seen where at > datetime('now', '-1 hour')")
[ "$stored" = jdoe@corp.lan,news@bulk.example,other@corp.lan ] || fail "stored: $stored"
status=0
error=$("$program" "sqlite:x" a 2>&1) || status=$?
[ "$status" = 78 ] || fail "an item that is none: status $status, $error"
