# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2034  # the sourcing scripts use what is set here
# Functions of quickstart and check: messages, steps, packages. Source it from the root of the tree.

# To build the library and the tool.
build_packages=(cmake firebird-dev g++ libboost-dev libcdb-dev libcli11-dev libhiredis-dev libidn2-dev
    libinih-dev libldap-dev liblmdb-dev libmariadb-dev libpcre2-dev libpq-dev libre2-dev libspdlog-dev
    libsqlite3-dev libssl-dev ninja-build nlohmann-json3-dev pkg-config unixodbc-dev)

# To build and run the tests.
test_packages=(abigail-tools bash clang clang-format-14 clang-tidy-14 cmark-gfm codespell cppcheck
    db5.3-util doxygen fish g++-i686-linux-gnu g++-s390x-linux-gnu git googletest iproute2
    libclang-rt-14-dev libdb5.3-dev libgmock-dev libgtest-dev man-db mandoc openssl python3
    qemu-user reuse rpm rpmlint sqlite3 tinycdb xz-utils zsh zstd)

# To make packages and check them.
package_packages=(apt-utils autopkgtest binutils build-essential debhelper dpkg-dev
    lintian mmdebstrap mount python3)

jobs=$(nproc)
log_dir=build/log

say() {
    printf '== %s\n' "$*"
}

stop() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# run_step TITLE LOG COMMAND...: run a command, and show its output only if it fails.
run_step() {
    local title=$1 log=$log_dir/$2.log start=$SECONDS
    shift 2
    say "$title"
    if "$@" >"$log" 2>&1 </dev/null; then
        printf '   done in %d s\n' $((SECONDS - start))
        return
    fi
    tail -n 60 "$log" >&2
    stop "\"$title\" failed; above is the end of $log."
}

make_log_dir() {
    if ! mkdir -p "$log_dir" 2>/dev/null || [ ! -w build ] || [ ! -w "$log_dir" ]; then
        stop "cannot write to $PWD/build: remove it, or run as the user who made it."
    fi
}

is_installed() {
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# install_packages NAME...: install those that are missing. If none is, this needs neither root nor
# the network.
install_packages() {
    local name as_root=()
    local missing=()
    if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
        stop "this is not a Debian system (no apt-get); docs/dependencies.md says how to build without this script."
    fi
    for name in "$@"; do
        is_installed "$name" || missing+=("$name")
    done
    if [ ${#missing[@]} -eq 0 ]; then
        say "All packages needed are installed"
        return
    fi
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null || { [ ! -t 0 ] && ! sudo -n true 2>/dev/null; }; then
            stop "packages are missing and only root can install them; as root, run: apt-get install --no-install-recommends ${missing[*]}"
        fi
        as_root=(sudo)
    fi
    as_root+=(env DEBIAN_FRONTEND=noninteractive LC_ALL=C apt-get
        -o Acquire::Retries=2 -o Acquire::http::Timeout=30 -o DPkg::Lock::Timeout=300)
    say "Installing ${missing[*]}"
    # Some mirror may be out of reach, so only the installation has to succeed.
    "${as_root[@]}" update </dev/null >"$log_dir/apt.log" 2>&1 || true
    if ! "${as_root[@]}" install -y --no-install-recommends "${missing[@]}" \
        </dev/null >>"$log_dir/apt.log" 2>&1; then
        grep -E '^(E|W|Err):?' "$log_dir/apt.log" | tail -n 10 >&2
        stop "apt-get could not install ${missing[*]}: is there a network, and does /etc/apt name a Debian 12 mirror? Its output is in $log_dir/apt.log."
    fi
}

# need_version PROGRAM LEAST: stop unless PROGRAM's version is LEAST or later.
need_version() {
    local version
    command -v "$1" >/dev/null || stop "$1 is not installed, although its package is."
    version=$("$1" --version | grep -oE '[0-9]+\.[0-9]+(\.[0-9]+)?' | head -n 1)
    [ "$(printf '%s\n' "$2" "$version" | sort -V | head -n 1)" = "$2" ] ||
        stop "$1 $2 or later is needed; this one is $version. Debian 12 has it."
}
