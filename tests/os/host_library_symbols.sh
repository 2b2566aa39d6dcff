#!/usr/bin/env bash
# What libmorla_host.so shows and needs: its public classes, `Debug` from the program, and nothing
# but the C and C++ runtime.
# usage: host_library_symbols.sh LIBRARY [sanitized]
set -euo pipefail
library="$1"
sanitized="${2:-}"
failures=0

# expect_none TEXT LINES: fails when there are lines.
expect_none() {
    [ -z "$2" ] && return
    printf '%s:\n%s\n' "$1" "$2"
    failures=$((failures + 1))
}

public='CCriticalSection|CEvent|CIniFile|CProcess|CRegistry|CRegistryNode|CSemaphore|CStrMap|CThread|SysLogTraces'
functions='GetPrivateProfileString|WritePrivateProfileString|cpuRawRead'
defined="$(nm -DC --defined-only "$library" | cut -c18- | sed 's/^. //')"
expect_none 'exported beside the public classes' "$(grep -Ev \
    "^((vtable|typeinfo|typeinfo name) for )?($public)(::.*)?\$|^($functions)\(" <<<"$defined" || true)"
for class in CCriticalSection CEvent CIniFile CProcess CRegistry CRegistryNode CSemaphore CStrMap CThread SysLogTraces; do
    grep -q "^$class::" <<<"$defined" || expect_none 'not exported' "$class"
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
