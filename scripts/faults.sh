#!/usr/bin/env bash
# ./dev faults [GROUP...]: makes system calls and allocations fail one by one, and kills processes at
# any moment; --help lists the groups. Exit status 1 when a case was bad.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
need "${build_packages[@]}" python3 gzip tar
configure build
cmake --build build -j 2 --target private_root fault_injector fault_scenarios allocation_faults \
    morla switch heartbeat morlactl load_module load_reader >&2
exec scripts/faults/faults.py "$@"
