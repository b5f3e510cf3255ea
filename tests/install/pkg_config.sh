#!/bin/bash
# SPDX-License-Identifier: MIT
# Builds SOURCE against the tree installed in PREFIX, using only its pkg-config files, and runs it.
# Usage: pkg_config.sh COMPILER PREFIX SOURCE PROGRAM
set -euo pipefail
compiler=$1 prefix=$2 source=$3 program=$4

pc_file=$(find "$prefix" -name kwhost.pc)
PKG_CONFIG_PATH=$(dirname "$pc_file")
export PKG_CONFIG_PATH
pkg-config --exact-version="$(pkg-config --modversion kwlookup)" kwhost

read -ra flags <<<"$(pkg-config --cflags --libs kwhost)"
library_dir=$(realpath "$(pkg-config --variable=libdir kwhost)")
"$compiler" -std=c++17 -Wall -Wextra -Werror "$source" -o "$program" "${flags[@]}" \
    -Wl,-rpath,"$library_dir"
"$program"

plugin_dir=$(realpath "$(pkg-config --variable=plugindir kwlookup)")
[ "$plugin_dir" = "$library_dir/kwlookup" ]
