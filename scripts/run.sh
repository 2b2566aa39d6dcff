#!/usr/bin/env bash
# ./dev run: builds, then runs the real daemon in a private root and shows its log and its rings.
# Ctrl-C, SIGTERM or the end of the time stop it in its orderly way. Nothing of the machine is
# touched; exits as the daemon does.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

usage() {
    printf 'usage: ./dev run [--for SECONDS] [DAEMON ARGUMENTS]\n' >&2
    exit 64
}

# Refused before the build, which may take its time.
seconds=()
arguments=()
while [ $# -gt 0 ]; do
    case "$1" in
        --for)
            [[ "${2:-}" =~ ^[1-9][0-9]{0,6}$ ]] || usage
            seconds=(--for "$2")
            shift 2
            ;;
        --for*) usage ;;
        *)
            arguments+=("$1")
            shift
            ;;
    esac
done

need "${build_packages[@]}" gzip
configure build
cmake --build build -j 2 --target run_daemon >&2
exec build/tests/support/private_root --program="$(command -v gzip)" -- \
    build/scripts/run_daemon/run_daemon "${seconds[@]}" "${arguments[@]}"
