#!/usr/bin/env bash
# Compares what others are built against (the SDK's types, the daemon's exported symbols, the host
# library) with the descriptions in sdk/abi/, or writes these anew.
# usage: abi_gate.sh check|update DAEMON HOST_LIBRARY SDK_TYPES_LIBRARY WORK_FOLDER
# Exits with 77 where abidw (Debian: abigail-tools) is not installed.
set -euo pipefail
action="$1" daemon="$2" host="$3" types="$4" work="$5"
source_folder="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
stored="$source_folder/sdk/abi"
command -v abidw >/dev/null || { echo 'abidw is not installed: skipped'; exit 77; }
rm -rf "$work"
mkdir -p "$work"

# describe NAME BINARY SUPPRESSIONS [OPTIONS]: nothing of this machine or of one build gets into the
# description: no folders, and not the size of `Debug`, which is the daemon's own affair.
describe() {
    local name="$1" binary="$2" suppressions="$3"
    shift 3
    abidw --exported-interfaces-only --drop-undefined-syms --no-corpus-path --no-comp-dir-path \
        --no-show-locs --no-parameter-names --no-elf-needed --no-write-default-sizes \
        --type-id-style hash \
        --suppressions "$stored/$suppressions" "$@" --out-file "$work/$name.full" "$binary"
    sed -E -e "s| path='([^']*/)?([^/']+/[^/']+)'| path='\2'|" \
        -e "/<elf-symbol name='Debug' /s| size='[0-9]*'||" "$work/$name.full" >"$work/$name.abi"
}

cmake -DCMAKE_INSTALL_PREFIX="$work" -Dsource="$source_folder" -Dfolder=include \
    -P "$source_folder/cmake/install_host_headers.cmake" >"$work/install.log"
describe daemon "$daemon" symbols_only.ini
describe sdk "$types" ignored.ini
describe host "$host" ignored.ini --headers-dir "$work/include" --drop-private-types

if grep "class-decl.* is-declaration-only='yes'" "$work"/*.abi; then
    printf 'These classes have no layout that others could depend on: name them in %s\n' \
        sdk/abi/ignored.ini
    exit 1
fi
changed=0
for name in daemon sdk host; do
    if [ "$action" = update ]; then
        cp "$work/$name.abi" "$stored/$name.abi"
    elif ! abidiff "$stored/$name.abi" "$work/$name.abi"; then
        printf '%s: the ABI is not that of sdk/abi/%s.abi (see CONTRIBUTING.md)\n' "$name" "$name"
        changed=1
    fi
done
exit "$changed"
