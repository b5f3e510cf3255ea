#!/bin/sh
# SPDX-License-Identifier: MIT
# A program or plug-in that needs more than the library here has is refused before it runs, and the
# message names the version.
# usage: newer_library.sh CXX LIBRARY_DIR TOOL
set -eu
cxx=$1
libraries=$2
tool=$3

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/newer" "$work/plugins"

# expect TEXT COMMAND...: fail unless the command fails and writes TEXT.
expect() {
    text=$1
    shift
    if output=$(LD_LIBRARY_PATH=$libraries:$work/plugins "$@" 2>&1); then
        printf 'no failure of %s: %s\n' "$*" "$output"
        exit 1
    fi
    case $output in
    *"$text"*) ;;
    *)
        printf '%s: no "%s" in: %s\n' "$*" "$text" "$output"
        exit 1
        ;;
    esac
}

cat >"$work/user.cpp" <<'END'
void added();
class KwIfSharedLookup;
class LogClass;
extern "C" KwIfSharedLookup* CreateLookup(const LogClass&) { added(); return nullptr; }
int main() { added(); }
END
for name in lookup host log; do
    upper=$(echo "kw$name" | tr '[:lower:]' '[:upper:]')
    echo "void added(); void added() {}" >"$work/newer.cpp"
    echo "${upper}_1.0 { }; ${upper}_1.1 { _Z5addedv; } ${upper}_1.0;" >"$work/newer.map"
    "$cxx" -shared -fPIC -Wl,-soname,libkw$name.so.1 -Wl,--version-script="$work/newer.map" \
        "$work/newer.cpp" -o "$work/newer/libkw$name.so"
    "$cxx" "$work/user.cpp" -o "$work/user_of_$name" "$work/newer/libkw$name.so"
    expect "libkw$name.so.1: version \`${upper}_1.1' not found (required by $work/user_of_$name)" \
        "$work/user_of_$name"
    plugin=$work/plugins/libkw_lookup_of$name.so
    "$cxx" -shared -fPIC "$work/user.cpp" -o "$plugin" "$work/newer/libkw$name.so"
    expect "Cannot load shared library libkw_lookup_of$name.so because" \
        "$tool" --type of$name find of$name:x y
    expect "libkw$name.so.1: version \`${upper}_1.1' not found (required by $plugin)" \
        "$tool" --type of$name find of$name:x y
done
