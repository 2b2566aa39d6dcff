#!/usr/bin/env bash
# ./dev sanitize [address|thread]: the tests under the sanitizers; both by default.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
need "${build_packages[@]}" python3 binutils gzip procps mandoc man-db
# Without an alternate signal stack: looking at it while a cancelled thread unwinds, the runtime of
# g++ 12 stumbles over its own marks.
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0:detect_stack_use_after_return=1:use_sigaltstack=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
for sanitizer in ${1:-address thread}; do
    printf '== %s sanitizer\n' "$sanitizer"
    configure_and_build "build/$sanitizer" -DMORLA_SANITIZE="$sanitizer" -DCMAKE_BUILD_TYPE=Debug
    ctest --test-dir "build/$sanitizer" --output-on-failure -j 2
done
