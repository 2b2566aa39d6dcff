#!/usr/bin/env bash
# ./dev corpus: walks captured machines with our readers, under the address sanitizer, and with
# dmidecode and lspci, and compares. DIR: a folder with any number of pairs DMI + smbios_entry_point
# and of trees proc/bus/pci, at any depth. Exit status: 0 without unexplained difference, 1 with
# one, 66 when there is nothing to compare.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
if [ $# -ne 1 ] || [ ! -d "$1" ]; then
    printf 'usage: ./dev corpus DIR\n' >&2
    exit 64
fi
need "${build_packages[@]}" dmidecode pciutils python3
export ASAN_OPTIONS=detect_leaks=1:detect_stack_use_after_return=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
configure build/address -DMORLA_SANITIZE=address -DCMAKE_BUILD_TYPE=Debug
cmake --build build/address -j 2 --target morlactl
export PATH="$PATH:/usr/sbin"
result=66
for comparison in smbios slots pci; do
    status=0
    # Without /proc, as in the root of a captured tree, the search for leaks would fail.
    [ "$comparison" = smbios ] || ASAN_OPTIONS=detect_leaks=0
    "scripts/corpus_$comparison.py" build/address/tools/morlactl "$1" || status=$?
    case "$status" in
        0) [ "$result" -ne 66 ] || result=0 ;;
        66) ;;
        *) result=1 ;;
    esac
done
exit "$result"
