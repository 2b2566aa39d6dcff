#!/usr/bin/env bash
# Drives the service's run-level program in a private root, with a systemctl that answers as told.
# usage: run_level.sh PROGRAM
set -uo pipefail
program="$1"
[ -e /run/morla-private-root ] || { echo 'only in a private root: it writes to /etc' >&2; exit 1; }
mkdir -p /etc/quorvat
failures=0

# expect LEVEL ARGUMENT JOBS: the note that stands there afterwards and nothing beside it (LEVEL
# "": no file), whether or not an old note was there before.
expect() {
    local old found
    printf '%s\n' "$3" >/tmp/jobs
    for old in '' 5; do
        rm -f /etc/quorvat/*
        [ -z "$old" ] || echo "$old" >/etc/quorvat/RunLevel
        found=''
        "$program" "$2" || found='a failure'
        found+="$(cd /etc/quorvat && grep -H '' -- * 2>/dev/null)"
        [ "$found" = "${1:+RunLevel:$1}" ] && continue
        printf '%s, jobs "%s": found "%s", expected "%s"\n' "$2" "$3" "$found" "$1"
        failures=$((failures + 1))
    done
}

# shellcheck disable=SC2016 # the stub's own words
printf '#!/bin/sh\n[ "$1" = list-jobs ] && cat /tmp/jobs\n' >/usr/bin/systemctl
chmod +x /usr/bin/systemctl
expect 6 note $'  1 zentd.service stop running\n 12 reboot.target start waiting'
expect 6 note '12 kexec.target   start waiting'
expect 0 note $'12 poweroff.target start waiting\n13 final.target start waiting'
expect 0 note '12 halt.target start waiting'
expect '' note '1 zentd.service stop running'
expect '' note $'1 zentd.service restart running\n12 reboot.target.wants start waiting'
expect '' note '12 reboot.target stop waiting'
expect '' note ''
expect '' clear '12 reboot.target start waiting'

# A service manager that does not answer, or with an error, holds nothing up.
printf '#!/bin/sh\nexec sleep 30\n' >/usr/bin/systemctl
before=$SECONDS
expect '' note ''
[ $((SECONDS - before)) -lt 15 ] || failures=$((failures + 1))
rm /usr/bin/systemctl
expect '' note ''
[ "$failures" -eq 0 ]
