#!/bin/bash
# SPDX-License-Identifier: MIT
# Tests the example host: answers, a reload, a failed reload, and its own log.
# Usage: example_host.sh, in the directory where the example was built
set -euo pipefail
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
list="ads.example reject, regex:^bulk-[0-9]+@, file:$directory/listed"

# expect QUESTION ANSWER: ask the running host.
expect() {
    local answer
    echo "$1" >&"${host[1]}"
    read -r answer <&"${host[0]}"
    [ "$answer" = "$2" ] || { echo "$1: [$answer] instead of [$2]"; exit 1; }
}

talk() {
    local program=$1 log_line=$2
    echo corp.lan >"$directory/listed"
    coproc host { "$program" "$list" 2>"$directory/log"; }
    expect jdoe@corp.lan 'jdoe@corp.lan: corp.lan'
    expect x@ads.example 'x@ads.example: reject'
    expect bulk-7@other.example 'bulk-7@other.example: ^bulk-[0-9]+@'
    expect jdoe@other.example 'jdoe@other.example: not listed'

    echo 'other.example greylist' >"$directory/listed"
    expect jdoe@corp.lan 'jdoe@corp.lan: corp.lan'
    expect reload reloaded
    expect jdoe@corp.lan 'jdoe@corp.lan: not listed'
    expect jdoe@other.example 'jdoe@other.example: greylist'

    rm "$directory/listed"
    expect reload 'reload failed: Errors in lookups/storage. See above.'
    expect jdoe@other.example 'jdoe@other.example: greylist'
    expect reload 'reload failed: Errors in lookups/storage. See above.'
    grep -Fx "$log_line" "$directory/log" >/dev/null ||
        { echo "not in the log: $log_line"; cat "$directory/log"; exit 1; }

    # shellcheck disable=SC2154  # coproc sets it
    local pid=$host_PID input=${host[1]}
    exec {input}>&-
    wait "$pid"
}

error="Error in init lookup [file:$directory/listed]: Can not load file '$directory/listed': No such file or directory"
talk ./minihost "minihost: error: $error"
talk ./minihost_own_log "<3>minihost: $error"
