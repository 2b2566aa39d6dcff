# shellcheck shell=bash disable=SC2034
# Shared by the scripts behind ./dev: packages, configuration and builds. Sourced, not run.
set -euo pipefail
: "${MORLA_SOURCE:?run ./dev instead}"
cd "$MORLA_SOURCE"
export CCACHE_BASEDIR="$MORLA_SOURCE"

# need PACKAGE...: installs the Debian packages that are missing when root, else says which are.
need() {
    local package missing=()
    for package in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
            missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    if [ "$(id -u)" -ne 0 ]; then
        printf 'These Debian packages are missing; install them as root:\n  apt-get install %s\n' \
            "${missing[*]}" >&2
        exit 69
    fi
    printf 'Installing: %s\n' "${missing[*]}"
    apt-get update -qq || true
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
        "${missing[@]}" >/dev/null
}

# configure FOLDER [CMAKE OPTIONS]: with ccache where it is installed.
configure() {
    local folder="$1" launcher=()
    mkdir -p "$folder"
    shift
    if command -v ccache >/dev/null; then
        launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
    fi
    cmake -S . -B "$folder" -G Ninja "${launcher[@]}" "$@" >"$folder/configure.log" 2>&1 ||
        { cat "$folder/configure.log" >&2; return 1; }
}

# configure_and_build FOLDER [CMAKE OPTIONS]: configures and builds everything.
configure_and_build() {
    configure "$@"
    cmake --build "$1" -j 2
}

build_packages=(g++ cmake ninja-build ccache libgtest-dev libinih-dev libcli11-dev
    libarchive-dev nlohmann-json3-dev)
