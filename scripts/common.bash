# common.bash - what ./run and ./test share: finding packages, configuring, building. Sourced with `root` (the top of
# the checkout) and `program` (the name to speak under) set.

# One line about what is being done; on standard error, so that a program's own output stays clean.
say() { printf '%s: %s\n' "$program" "$*" >&2; }

fail() {
    say "$*"
    exit 1
}

# quietly LOG COMMAND...   runs the command with its output in LOG, and shows that when it fails.
quietly() {
    local log=$1
    shift
    mkdir -p "$(dirname "$log")"
    local status=0
    "$@" >"$log" 2>&1 </dev/null || status=$?
    [ $status -eq 0 ] || cat "$log" >&2
    return $status
}

# packages_for GROUP...   the packages of the groups, from scripts/packages.
packages_for() {
    local group line
    for group in "$@"; do
        while read -r line; do
            # shellcheck disable=SC2086  # a list of words
            set -- $line
            [ "${1:-}" != "$group" ] || printf '%s\n' "${@:2}"
        done <"$root/scripts/packages"
    done
}

# need_packages GROUP...   installs those packages of the groups that are missing; runs nothing when all are here.
need_packages() {
    local wanted installed package
    local missing=()
    mapfile -t wanted < <(packages_for "$@")
    if ! command -v dpkg-query >/dev/null; then
        [ -e "$root/build/packages-noted" ] || say "this is no Debian; it needs what Debian calls: ${wanted[*]}"
        mkdir -p "$root/build" && touch "$root/build/packages-noted"
        return 0
    fi
    installed=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' "${wanted[@]}" 2>/dev/null || true)
    for package in "${wanted[@]}"; do
        grep -qx "installed $package" <<<"$installed" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0

    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null ||
            fail "packages are missing and neither root nor sudo is here to install them: ${missing[*]}"
        as_root=(sudo)
    fi
    say "installing ${missing[*]}"
    local install=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive
        apt-get install -y --no-install-recommends "${missing[@]}")
    quietly "$root/build/packages.log" "${as_root[@]}" apt-get update ||
        say "the package lists could not be brought up to date; trying with those that are here"
    if ! quietly "$root/build/packages.log" "${install[@]}"; then
        say "trying once more"
        quietly "$root/build/packages.log" "${as_root[@]}" apt-get update || true
        quietly "$root/build/packages.log" "${install[@]}" || fail "these packages could not be installed: ${missing[*]}"
    fi
}

# The compiler cache answers for every checkout and build directory alike, whatever the machine's own settings are.
export CCACHE_BASEDIR=$root
export CCACHE_NOHASHDIR=1
export CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime

# configure DIRECTORY OPTION...   configures build/DIRECTORY.
configure() {
    local directory=$1 build=$root/build/$1
    shift
    # A checkout that was moved or copied brings a cache that names its old place.
    if [ -f "$build/CMakeCache.txt" ] && ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$build/CMakeCache.txt"; then
        rm -rf "$build"
    fi
    [ -f "$build/build.ninja" ] || say "configuring build/$directory"
    quietly "$build/configure.log" cmake -S "$root" -B "$build" -G Ninja --log-level=NOTICE \
        -DHVK_WARNINGS_AS_ERRORS=ON "$@" || fail "configuring build/$directory failed"
}

# build DIRECTORY TARGET...   builds the targets in build/DIRECTORY.
build() {
    local directory=$1 build=$root/build/$1
    shift
    say "building $* in build/$directory"
    quietly "$build/build.log" "${launcher[@]}" ninja -C "$build" -j "$(nproc)" "$@" || fail "building $* failed"
}

# A command that other commands are started through; empty as a rule.
launcher=(env)
