#!/bin/bash
# Stands in for systemctl where no service manager runs: knows the one service zentd, and does what
# its unit file says, without the sandbox; the real one (/run/systemctl) makes the links of units. Jobs
# are what the file /run/jobs holds.
unit=/lib/systemd/system/zentd.service
wants=/etc/systemd/system/multi-user.target.wants/zentd.service
pid_file="$(sed -n 's/^PIDFile=//p' $unit 2>/dev/null)"
echo "systemctl $*" >>/run/systemctl.log

# commands KEY: runs those of the unit, each as its own words; one that begins with "-" may fail.
commands() {
    local line
    while read -r line; do
        # shellcheck disable=SC1091 # a file of the package
        ( [ ! -f /etc/default/morla ] || . /etc/default/morla
          eval "exec ${line#-}" ) || [ "${line#-}" != "$line" ] || return 1
    done < <(sed -n "s/^$1=//p" $unit)
}

is_active() { [ -s "$pid_file" ] && kill -0 "$(cat "$pid_file")" 2>/dev/null; }

start() {
    is_active && return
    umask "$(sed -n 's/^UMask=//p' $unit)"
    commands ExecStartPre && commands ExecStart || return 1
    for _ in {1..100}; do
        is_active && return
        sleep 0.1
    done
    return 1
}

stop() {
    local pid
    is_active || return 0
    pid="$(cat "$pid_file")"
    commands ExecStop
    kill "$pid"
    while kill -0 "$pid" 2>/dev/null; do sleep 0.1; done
}

for verb in "$@"; do [[ "$verb" == -* ]] || break; done
case "$verb" in
    list-jobs) cat /run/jobs ;;
    start) start ;;
    stop) stop ;;
    restart) stop && start ;;
    is-active) is_active ;;
    is-enabled) if [ -L $wants ]; then echo enabled; else echo disabled; fi ;;
    preset | enable | disable) exec /run/systemctl "$@" ;; # only links
esac
