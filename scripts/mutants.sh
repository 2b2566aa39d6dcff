#!/usr/bin/env bash
# ./dev mutants [FOLDER...]: gives the code small faults, one at a time, and looks whether the tests
# notice; --help lists the options.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
need "${build_packages[@]}" python3 binutils gzip procps util-linux
exec python3 -B scripts/mutants/mutants.py "$@"
