#!/usr/bin/env bash
# ./dev coverage [FILTER]: which lines and branches the tests run, by folder.
#
# A process that is killed writes no counts: what only a killed daemon does is missing.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
need "${build_packages[@]}" python3 binutils gzip procps gcovr
configure_and_build build/coverage -DMORLA_COVERAGE=ON -DCMAKE_BUILD_TYPE=Debug >&2
find build/coverage -name '*.gcda' -delete
ctest --test-dir build/coverage --output-on-failure -j 2 ${1:+-R "$1"} >&2
folders=(base trace daemon os hardware inventory switch tools trace_reader)
gcovr --root . --object-directory build/coverage --json build/coverage/counts.json -j 2 \
    "${folders[@]/#/--filter=}"
scripts/coverage_branches.py build/coverage "${folders[@]}" >build/coverage/branches.json
scripts/coverage_table.py build/coverage/counts.json build/coverage/branches.json
