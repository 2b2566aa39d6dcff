#!/usr/bin/env bash
# ./dev fuzz: builds one fuzz target with clang and the sanitizers under build/fuzz/ and runs it.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

usage() {
    cat >&2 <<'TEXT'
usage: ./dev fuzz --list           the targets, one a line
       ./dev fuzz TARGET SECONDS   runs a target; exit status 0 when nothing was found, otherwise
                                   the input that shows it is in build/fuzz/findings/TARGET/
       ./dev fuzz --seeds          writes fuzz/corpus/ anew
TEXT
    exit 64
}

targets() { sed -n 's/^morla_fuzz_target(\([a-z0-9_]*\).*/\1/p' fuzz/CMakeLists.txt | sort; }

build_target() {
    need "${build_packages[@]}" clang libclang-rt-14-dev
    configure build/fuzz -DMORLA_FUZZ=ON -DMORLA_TESTS=OFF \
        -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++
    cmake --build build/fuzz -j 2 --target "$1"
}

run_target() {
    local target="$1" seconds="$2" status=0
    local found="build/fuzz/findings/$target" grown="build/fuzz/corpus/$target"
    mkdir -p "$found" "$grown"
    build_target "fuzz_$target"
    # What the run adds to the corpus stays in build/; the seeds are only read.
    "build/fuzz/targets/fuzz_$target" "$grown" "fuzz/corpus/$target" \
        -dict="fuzz/$target.dict" -artifact_prefix="$found/" -max_total_time="$seconds" \
        -max_len=4096 -timeout=10 -rss_limit_mb=1024 -print_final_stats=1 || status=$?
    if [ "$status" -ne 0 ]; then
        printf '%s: exit status %d; reproducer in %s/, run it with\n  build/fuzz/targets/fuzz_%s FILE\n' \
            "$target" "$status" "$found" "$target" >&2
    fi
    return "$status"
}

case "${1:-}" in
    --list)
        [ $# -eq 1 ] || usage
        targets
        ;;
    --seeds)
        [ $# -eq 1 ] || usage
        build_target make_seeds
        build/fuzz/targets/make_seeds fuzz/corpus
        ;;
    *)
        [ $# -eq 2 ] || usage
        targets | grep -Fxq -- "$1" || usage
        [[ "$2" =~ ^[1-9][0-9]{0,5}$ ]] || usage
        run_target "$1" "$2"
        ;;
esac
