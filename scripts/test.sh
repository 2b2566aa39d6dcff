#!/usr/bin/env bash
# ./dev test [FILTER]: builds and runs the tests.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
need "${build_packages[@]}" python3 binutils gzip procps make pkg-config clang abigail-tools mandoc \
    man-db systemd
configure_and_build build
ctest --test-dir build --output-on-failure -j 2 ${1:+-R "$1"}
