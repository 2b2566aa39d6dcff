#!/usr/bin/env bash
# Lets `morlactl doctor` look at the real daemon in a private root: before its first start, running,
# killed, and kept from starting.
# usage: doctor.sh MORLACTL MORLA LIBSWITCH
set -uo pipefail
morlactl="$1"
morla="$2"
library="$3"
[ -e /run/morla-private-root ] || { echo 'only in a private root: it writes to /etc' >&2; exit 1; }
failures=0
config=/etc/velmor/OskariaSuite/TraceConfig

# diagnose CODE PATTERN...: the exit code, and a line that matches for each pattern.
diagnose() {
    local code="$1" output status pattern
    shift
    output="$("$morlactl" doctor 2>&1)"
    status=$?
    for pattern in "$@"; do
        grep -qE -- "$pattern" <<<"$output" && continue
        printf 'no line matches "%s"\n' "$pattern"
        failures=$((failures + 1))
    done
    if [ "$status" -ne "$code" ]; then
        printf 'exit code %s, expected %s\n' "$status" "$code"
        failures=$((failures + 1))
    fi
    [ "$failures" -eq 0 ] || { printf '%s\n' "$output"; exit 1; }
}

wait_for() { # FILE
    local i
    for ((i = 0; i < 500; ++i)); do
        [ -s "$1" ] && return
        sleep 0.02
    done
    printf '%s did not appear\n' "$1"
    exit 1
}

diagnose 1 '^error .* /var/log/quorvat is not there.* install -d' \
    '^error .*libswitch.so is not found' '^error .* no module is loaded.* install -d' \
    '^ok .* no daemon runs' '^warning .*gzip'

mkdir -p /opt/switch /usr/lib/morla/modules /etc/quorvat /var/log/quorvat "$config" 2>/dev/null
chmod 755 /etc/quorvat /var/log/quorvat "$config"
cp "$library" /opt/switch/libswitch.so
mkdir -p /opt/modules
printf '[Modules]\nDirectory=/opt/modules\n' >/etc/quorvat/switch.ini
export LD_LIBRARY_PATH=/opt/switch
diagnose 0 'holds no .ini file' 'no trace variable is read' '^ok +modules +/opt/modules holds 0' \
    '^ok +switch +/opt/switch/libswitch.so \(by LD_LIBRARY_PATH\)' '^warning +run-level|^ok +run-level'

printf '[zentd]\nRingBufferSizeFactor=1\nRingBufferSizeWeight=1\n[EndOfFile]\n' >"$config/zentd.ini"
HX_LOG_DEBUG_LEVEL=3 "$morla" || exit 1
wait_for /var/run/zentd.pid
pid="$(cat /var/run/zentd.pid)"
unset LD_LIBRARY_PATH
diagnose 0 "^ok +lock .*held by the daemon, process $pid " '^ok +pid-file .* names it' \
    "^ok +environment +judged from the running daemon, process $pid" \
    '^ok +environment +HX_LOG_DEBUG_LEVEL=3 overrides FileDebugLevel' '^ok +level +3' \
    '^ok +ring +1.0 MB in /var/log/quorvat, the start-up ring 4.0 MB' \
    '^ok +switch +/opt/switch/libswitch.so \(loaded by the daemon\)'

touch -d '+5 seconds' "$config/zentd.ini"
diagnose 0 '^warning +trace-files +zentd.ini was changed after'

kill -KILL "$pid"
while kill -0 "$pid" 2>/dev/null; do sleep 0.02; done
diagnose 1 '^warning +lock .*says "zentd#[0-9]+", but nobody holds it' \
    "^warning +pid-file .*stale: process $pid " '^error +switch'

flock /var/lock/zentd.lock sleep 1000 &
until grep -qE '^error +lock ' <<<"$("$morlactl" doctor)"; do sleep 0.02; done
diagnose 1 '^error +lock .*held by process [0-9]+ \((flock|sleep), user 0\).* -> .*kill [0-9]+'

chmod 777 /var/log/quorvat
printf '6\n' >/etc/quorvat/RunLevel
touch /usr/bin/systemctl
diagnose 1 '^error +directory .*quorvat can be written by everybody' \
    '^warning +run-level .*the next stop is told as a reboot -> rm /etc/quorvat/RunLevel'
grep -q '^  "verdict": "error"' <<<"$("$morlactl" doctor --json)" || exit 1
kill %1
exit 0
