#!/usr/bin/env bash
# ./dev abi [--update]: builds what others are built against, and compares it with sdk/abi/.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
action=check
case "${1:-}" in
    '') ;;
    --update) action=update ;;
    *)
        printf 'usage: ./dev abi [--update]\n' >&2
        exit 64
        ;;
esac
need "${build_packages[@]}" abigail-tools
configure build
cmake --build build -j 2 --target morla morla_host_shared sdk_types
exec scripts/abi_gate.sh "$action" build/daemon/morla build/libmorla_host.so \
    build/tests/switch/libsdk_types.so build/tests/switch/abi
