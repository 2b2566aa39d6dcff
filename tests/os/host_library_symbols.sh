#!/usr/bin/env bash
# What libmorla_host.so shows and needs: its public classes, `Debug` from the program, and nothing
# but the C and C++ runtime.
# usage: host_library_symbols.sh LIBRARY [sanitized]
set -euo pipefail
library="$(realpath "$1")"
sanitized="${2:-}"
failures=0

# expect_none TEXT LINES: fails when there are lines.
expect_none() {
    [ -z "$2" ] && return
    printf '%s:\n%s\n' "$1" "$2"
    failures=$((failures + 1))
}

# What the headers mark with MORLA_API is exported, and nothing else.
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
marked="$(grep -rhE --include='*.h' '(^|^class |^struct |\]\] )MORLA_API ' base os trace hardware)"
classes="$(sed -nE 's/^(class|struct) MORLA_API (\w+).*/\2/p' <<<"$marked")"
functions="$(sed -nE 's/.*MORLA_API .*[ *&](\w+)\(.*/\1/p' <<<"$marked")"
[ "$(wc -w <<<"$classes $functions")" -gt 10 ] || expect_none 'marked in the headers' "$marked"
# What tools for sanitizing and counting bring along is not ours.
defined="$(nm -DC --defined-only "$library" | cut -c18- | sed 's/^. //' | grep -Ev '^(__odr_asan|__gcov_|mangle_path$)')"
expect_none 'exported without a mark' "$(grep -Ev \
    "^((vtable|typeinfo|typeinfo name) for )?(${classes//$'\n'/|})(::.*)?\$|^([a-z_]+::)?(${functions//$'\n'/|})(\[abi:cxx11\])?(\(|\$)" \
    <<<"$defined" || true)"
for name in $classes $functions; do
    grep -qE "^((vtable|typeinfo) for |[a-z_]+::)?$name(::|\(|\[|\$)" <<<"$defined" ||
        expect_none 'marked, but not exported' "$name"
done

undefined="$(nm -DC --undefined-only "$library" | sed 's/^ *[Uw] //')"
grep -qx Debug <<<"$undefined" || expect_none 'not left to the program' Debug
if [ -z "$sanitized" ]; then
    expect_none 'left to the program beside the trace object' "$(grep -v @ <<<"$undefined" |
        grep -Ev '^(Debug|CDebug::.*|_ITM_.*|__gmon_start__)$' || true)"
    expect_none 'needed beside the C and C++ runtime' "$(readelf -d "$library" |
        sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -Ev '^(libc|libm|libgcc_s|libstdc\+\+)\.so' || true)"
fi
[ "$failures" -eq 0 ]
