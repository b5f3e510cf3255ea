#!/bin/bash
# SPDX-License-Identifier: MIT
# Tests ./release in a small repository.
# Usage: release_test.sh SOURCE_DIR
set -euo pipefail
source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work GIT_CONFIG_NOSYSTEM=1
git config --global user.name Developer
git config --global user.email developer@corp.lan

mkdir "$work/tree"
cd "$work/tree"
mkdir .ci abi debian
cp "$source/release" "$source/CMakeLists.txt" "$source/.gitignore" .
cp "$source/.ci/common.sh" .ci
touch abi/reference
echo 'Maintainer: Developers <developers@corp.lan>' >debian/control
printf 'kwlookup (0.9.0) unstable; urgency=medium\n' >debian/changelog
printf 'News.\n\n0.9.1 (not released yet)\n\n* Something new.\n\n0.9.0 (2026-01-01)\n\n* All.\n' >NEWS
# The real one takes minutes.
printf '#!/bin/sh\necho packages of $(git log -1 --format=%%s)\nmkdir -p dist/sub\necho p >dist/sub/p.deb\n' >package
chmod +x package
git init --quiet
git add --all
git commit --quiet --message begin
git tag v0.9.0

# expect STATUS PATTERN ARGUMENT...: run the script.
expect() {
    local output status=0
    output=$(./release "${@:3}" 2>&1) || status=$?
    # shellcheck disable=SC2053  # a pattern
    if [ "$status" != "$1" ] || [[ $output != $2 ]]; then
        printf '%s: status %s, output [%s]\n  expected: %s [%s]\n' "${*:3}" "$status" "$output" "$1" "$2"
        exit 1
    fi
}

# unchanged: nothing is left of what the script did.
unchanged() {
    [ -z "$(git status --porcelain)" ] && [ "$(git log -1 --format=%s)" = "$1" ] &&
        [ "$(git tag | wc -l)" = "$2" ] || { git status; git log --oneline; git tag; exit 1; }
}

for arguments in '' 'abc' '1.0' '1.0.0.0' '01.0.0' '1.0.0 1.0.1' '--fast 1.0.0'; do
    # shellcheck disable=SC2086  # words
    expect 1 'release: usage:*' $arguments
done
expect 1 '*0.9.0 is not later than the last release, 0.9.0.' 0.9.0
expect 1 '*0.8.9 is not later than*' 0.8.9
expect 1 '*a new MAJOR version begins with 1.0.0.' 1.2.0
echo >unknown
expect 1 '*not committed*' 1.0.0
rm unknown
expect 0 "*+project(kwlookup VERSION 7.0.0 *+7.0.0 ($(date -u +%Y)-*Nothing was changed*" --dry-run 7.0.0
unchanged begin 1

# A failure undoes the release.
sed -i '2i exit 1' package
git commit --quiet --all --message broken
expect 1 '*NOT CHECKED*the release failed, and was undone.' --skip-checks 1.0.0
unchanged broken 1
sed -i 2d package
git commit --quiet --all --message mended

expect 0 '*NOT CHECKED*packages of Release 1.0.0*Released 1.0.0*' --skip-checks 1.0.0
unchanged 'Release 1.0.0' 2
[ "$(git cat-file -t v1.0.0)" = tag ]
[ "$(git rev-parse v1.0.0^{})" = "$(git rev-parse HEAD)" ]
grep -qF 'project(kwlookup VERSION 1.0.0 ' CMakeLists.txt
sed -n 3p NEWS | grep -qE '^1\.0\.0 \(20[0-9-]{8}\)$'
[ "$(sed -n 5p NEWS)" = '* Something new.' ]
head -n 1 debian/changelog | grep -qF 'kwlookup (1.0.0) unstable'
grep -qE '^ -- Developers <developers@corp.lan>  ' debian/changelog
(cd dist && sha256sum --quiet --check SHA256SUMS)
[ "$(wc -l <dist/SHA256SUMS)" = 2 ]
tar -xf dist/kwlookup-1.0.0.tar.xz -C "$work"
diff -r -x .git -x dist -x build . "$work/kwlookup-1.0.0"

# The archive depends on the tag only.
git archive --format=tar --prefix=kwlookup-1.0.0/ v1.0.0 | xz -9 --threads=1 |
    cmp - dist/kwlookup-1.0.0.tar.xz

expect 1 '*NEWS has no section that is not released yet.' 1.0.1
sed -i '2a 1.0.1 (not released yet)\n\n' NEWS
git commit --quiet --all --message next
expect 1 '*the first section of NEWS is empty.' 1.0.1
sed -i '4a * A fix.' NEWS
git rm --quiet package
git commit --quiet --all --message fix
expect 1 '*there is no ./package*' 1.0.1
expect 0 '*NOT CHECKED*NO PACKAGES*Released 1.0.1*' --skip-checks --skip-packages 1.0.1
[ "$(ls dist)" = $'SHA256SUMS\nkwlookup-1.0.1.tar.xz' ]
unchanged 'Release 1.0.1' 3
