#!/bin/bash
# SPDX-License-Identifier: MIT
# The archive that CPack makes works where it is unpacked, and rpmlint finds no fault in the packages.
# Usage: check_cpack.sh CPACK BUILD_DIR RPMLINTRC
set -euo pipefail
cpack=$1 build=$2 rpmlintrc=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
make_packages() { "$cpack" --config "$build/CPackConfig.cmake" -G "$1" -B "$scratch/$1" >"$scratch/log" 2>&1 || { cat "$scratch/log"; exit 1; }; }

make_packages TZST
mkdir "$scratch/unpacked"
tar -C "$scratch/unpacked" --zstd -xf "$scratch"/TZST/*.tar.zst
(cd "$scratch/TZST" && sha256sum --quiet -c -- *.sha256)
tool=$(echo "$scratch"/unpacked/*/bin/kwlookup)
answer=$("$tool" find 'regex:^bounce-' bounce-1@corp.lan)
[ "$answer" = $'bounce-1@corp.lan\t^bounce-' ] || { echo "the unpacked tool answered: $answer"; exit 1; }

make_packages RPM
packages=("$scratch"/RPM/*.rpm)
[ ${#packages[@]} -ge 17 ] || { echo "only ${#packages[@]} packages: ${packages[*]}"; exit 1; }
rpmlint --rpmlintrc "$rpmlintrc" "${packages[@]}" >"$scratch/found" 2>&1 || true
grep -q ' 0 errors, 0 warnings' "$scratch/found" || { cat "$scratch/found"; exit 1; }
