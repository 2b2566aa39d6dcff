#!/usr/bin/env bash
# ./dev corpus: walks captured firmware tables with our reader, under the address sanitizer, and
# with dmidecode, and compares. DIR: a folder with any number of pairs DMI + smbios_entry_point,
# at any depth.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
if [ $# -ne 1 ] || [ ! -d "$1" ]; then
    printf 'usage: ./dev corpus DIR\n' >&2
    exit 64
fi
need "${build_packages[@]}" dmidecode python3
export ASAN_OPTIONS=detect_leaks=1:detect_stack_use_after_return=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
configure build/address -DMORLA_SANITIZE=address -DCMAKE_BUILD_TYPE=Debug
cmake --build build/address -j 2 --target morlactl
PATH="$PATH:/usr/sbin" scripts/corpus.py build/address/tools/morlactl "$1"
