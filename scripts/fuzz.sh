#!/usr/bin/env bash
# ./dev fuzz: builds one fuzz target with clang and the sanitizers under build/fuzz/ and runs it.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

usage() {
    cat >&2 <<'TEXT'
usage: ./dev fuzz --list             the targets, one a line
       ./dev fuzz TARGET SECONDS [LENGTH]
                                     runs a target with inputs of up to LENGTH bytes (4096); exit
                                     status 0 when nothing was found, otherwise the input that shows
                                     it is in build/fuzz/findings/TARGET/
       ./dev fuzz --keep TARGET      writes the fewest inputs that reach all that was reached so far
                                     to fuzz/kept/TARGET.tar.gz
       ./dev fuzz --seeds            writes fuzz/corpus/ anew
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

# learnt TARGET: the folder with what runs added to the corpus; at first what is kept of earlier ones.
learnt() {
    local folder="build/fuzz/corpus/$1" kept="fuzz/kept/$1.tar.gz"
    if [ ! -d "$folder" ]; then
        mkdir -p "$folder"
        [ ! -f "$kept" ] || tar -xzf "$kept" -C "$folder"
    fi
    printf '%s' "$folder"
}

run_target() {
    local target="$1" seconds="$2" length="$3" status=0
    local found="build/fuzz/findings/$target" grown
    mkdir -p "$found"
    build_target "fuzz_$target"
    grown="$(learnt "$target")"
    # The seeds are only read.
    "build/fuzz/targets/fuzz_$target" "$grown" "fuzz/corpus/$target" \
        -dict="fuzz/$target.dict" -artifact_prefix="$found/" -max_total_time="$seconds" \
        -max_len="$length" -timeout=10 -rss_limit_mb=1024 -print_final_stats=1 || status=$?
    if [ "$status" -ne 0 ]; then
        printf '%s: exit status %d; reproducer in %s/, run it with\n  build/fuzz/targets/fuzz_%s FILE\n' \
            "$target" "$status" "$found" "$target" >&2
    fi
    return "$status"
}

keep_target() {
    local target="$1" least="build/fuzz/least/$1" grown
    build_target "fuzz_$target"
    grown="$(learnt "$target")"
    rm -rf "$least"
    mkdir -p "$least" fuzz/kept
    "build/fuzz/targets/fuzz_$target" -merge=1 -max_len=4096 -rss_limit_mb=1024 \
        "$least" "fuzz/corpus/$target" "$grown"
    find "$least" -type f -printf '%P\0' | LC_ALL=C sort -z |
        tar -c -C "$least" --null -T - --mtime=@0 --owner=0 --group=0 --numeric-owner --mode=644 |
        gzip -9n >"fuzz/kept/$target.tar.gz"
}

known() { targets | grep -Fxq -- "$1"; }

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
    --keep)
        [ $# -eq 2 ] || usage
        known "$2" || usage
        keep_target "$2"
        ;;
    *)
        [ $# -eq 2 ] || [ $# -eq 3 ] || usage
        known "$1" || usage
        [[ "$2" =~ ^[1-9][0-9]{0,5}$ && "${3:-4096}" =~ ^[1-9][0-9]{0,5}$ ]] || usage
        run_target "$1" "$2" "${3:-4096}"
        ;;
esac
