#!/usr/bin/env bash
# The development files as an author meets them: installed alone into a folder, headers read by the
# compilers that are there, the examples built by both ways and run in the daemon.
# usage: sdk.sh BUILD_FOLDER WORK_FOLDER PRIVATE_ROOT DAEMON SWITCH_LIBRARY
set -euo pipefail

fail() {
    printf '%s\n' "$*"
    exit 1
}

# --- Inside the private root ---

# runs FOLDER NAME TEXT...: the daemon with the switch in FOLDER; its trace has every TEXT when it
# has stopped.
runs() {
    local folder="$1" name="$2" text log=/var/log/quorvat/log.zentd
    shift 2
    rm -rf /var/log/quorvat
    mkdir -p /var/log/quorvat
    LD_LIBRARY_PATH="$folder:$stage/lib" "$daemon" -n -agentless &
    local pid=$!
    for text in "$@"; do
        until grep -qF "$text" /var/log/quorvat/* 2>/dev/null; do
            kill -0 "$pid" 2>/dev/null || fail "$name: the daemon is gone before \"$text\""
            sleep 0.05
        done
    done
    kill -TERM "$pid"
    wait "$pid" || fail "$name: the daemon ended with $?"
    grep -qE '## ERROR|FAILED' "$log"* && fail "$name: $(grep -E '## ERROR|FAILED' "$log"*)"
    printf 'ok: %s\n' "$name"
}

inside() {
    stage="$1" daemon="$2" switch_folder="$3"
    local config=/etc/velmor/OskariaSuite/TraceConfig by
    mkdir -p "$config" /etc/quorvat /var/modules
    printf '[zentd]\nFileDebugLevel=3\nRingBufferSizeFactor=1\nRingBufferSizeWeight=1\n[EndOfFile]\n' \
        >"$config/zentd.ini"
    printf '[Modules]\nDirectory=/var/modules\n[watch]\nProcess=zentd-none\n' >/etc/quorvat/switch.ini
    for by in cmake make; do
        runs "$stage/$by" "example switch, built by $by" \
            'EXAMPLE SWITCH      : load, run mode 5' 'EXAMPLE SWITCH      : start'
        cp "$stage/$by"/{uptime,watch}.so /var/modules
        chmod 755 /var/modules/*
        runs "$switch_folder" "example modules, built by $by" \
            'UPTIME              : 0 s' 'WATCH               : no process "zentd-none"'
    done
}

if [ "$1" = --inside ]; then
    shift
    inside "$@"
    exit 0
fi

# --- On the machine ---

build="$1" work="$2" private_root="$3" daemon="$4" switch_folder="$(dirname "$5")"
rm -rf "$work"
mkdir -p "$work"
for component in development runtime; do
    cmake --install "$build" --prefix "$work/usr" --component "$component" >"$work/install.log" ||
        fail "$(cat "$work/install.log")"
done
PKG_CONFIG_PATH="$(dirname "$(find "$work/usr" -name morla.pc)")"
export PKG_CONFIG_PATH
examples="$work/usr/share/doc/morla-dev/examples"
readarray -t compilers < <(command -v g++; command -v clang++ || command -v clang++-14)
[ "${#compilers[@]}" -eq 2 ] || printf 'only %s: g++ or clang++ is not installed\n' "${compilers[*]}"

warnings=(-Wall -Wextra -Wpedantic -Wold-style-cast -Wnon-virtual-dtor -Werror -fsyntax-only)
read -ra sdk_flags < <(pkg-config --cflags morla)
read -ra host_flags < <(pkg-config --cflags morla-host)
find "$work/usr/include/morla/host" -name '*.h' -printf '#include "%P"\n' >"$work/host.cpp"
[ "$(wc -l <"$work/host.cpp")" -gt 30 ] || fail 'hardly a header of the host services'
find "$work/usr/include/morla" -maxdepth 1 -name '*.h' -printf '#include "morla/%P"\n' >"$work/sdk.cpp"
for compiler in "${compilers[@]}"; do
    for standard in 11 14 17 20; do
        "$compiler" "-std=c++$standard" "${warnings[@]}" "${sdk_flags[@]}" "$work/sdk.cpp" \
            "$examples"/{module,switch}.cpp || fail "$compiler, C++$standard"
    done
    # The headers of the host services use what C++20 brought.
    "$compiler" -std=c++20 "${warnings[@]}" "${host_flags[@]}" "$work/host.cpp" ||
        fail "$compiler, host services"
done

# g++ by the CMake package, the other compiler by the package file.
cmake -S "$examples" -B "$work/cmake" -DCMAKE_CXX_COMPILER="${compilers[0]}" \
    -DCMAKE_PREFIX_PATH="$work/usr" >"$work/cmake.log" || fail "$(cat "$work/cmake.log")"
cmake --build "$work/cmake" >"$work/cmake.log" || fail "$(cat "$work/cmake.log")"
cp -r "$examples" "$work/make"
make -C "$work/make" CXX="${compilers[-1]}" CXXFLAGS='-O1 -Wall -Wextra -Werror' >"$work/make.log" ||
    fail "$(cat "$work/make.log")"

ln -sf "$(dirname "$(find "$work/usr" -name 'libmorla_host.so.4')")" "$work/lib"
"$private_root" -- /bin/bash "${BASH_SOURCE[0]}" --inside "$work" "$daemon" "$switch_folder"
