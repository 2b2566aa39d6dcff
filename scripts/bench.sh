#!/usr/bin/env bash
# ./dev bench: builds what is shipped (optimised, NDEBUG) under build/bench/ and runs the comparisons in a private
# root; the plots of the cost as work grows go to build/bench/plots/.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

usage() {
    cat >&2 <<'TEXT'
usage: ./dev bench [--quick] [--json FILE] [NAME]
  --quick      fewer pairs and smaller sizes: under five minutes
  --json FILE  the results as JSON as well
  NAME         one comparison, one group, or a row of docs/performance.md (./dev bench 13)
TEXT
    exit 64
}

json=""
arguments=()
while [ $# -gt 0 ]; do
    case "$1" in
        --quick) arguments+=("$1") ;;
        --json)
            [ -n "${2:-}" ] || usage
            json="$2"
            shift
            ;;
        -*) usage ;;
        *) arguments+=("$1") ;;
    esac
    shift
done

need "${build_packages[@]}" pkg-config python3 libspdlog-dev libgoogle-glog-dev libboost-log-dev \
    liblog4cplus-dev libinih-dev libglib2.0-dev libsqlite3-dev dmidecode pciutils
configure build/bench -DMORLA_BENCH=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build/bench -j 2 --target morla_bench >&2

# The private root lets programs write below the build folder only.
results="$MORLA_SOURCE/build/bench/results.json"
status=0
build/bench/tests/support/private_root --program="$(PATH="$PATH:/usr/sbin" command -v dmidecode)" \
    --program="$(PATH="$PATH:/usr/sbin" command -v lspci)" -- \
    build/bench/bench/morla_bench --json "$results" "${arguments[@]}" || status=$?
[ -f "$results" ] && [ "$status" -ne 64 ] || exit "$status"
scripts/bench_plots.py "$results" build/bench/plots
[ -z "$json" ] || cp "$results" "$json"
exit "$status"
