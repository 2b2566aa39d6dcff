#!/bin/bash
# The life of an installation: install, stop, upgrade, remove, purge, with the daemon running as its
# unit file says. Everything happens in an overlay of this machine, of which nothing stays.
# usage: life.sh FOLDER_OF_PACKAGES
# Exit status 77 where the kernel allows no such overlay.
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"

# enter FOLDER: a root of its own over this machine's, with the packages and this script in /run.
enter() {
    local tree="$1/life" node
    mkdir -p "$tree"
    mount --make-rprivate / && mount -t tmpfs tmpfs "$tree" || exit 77
    mkdir "$tree"/{upper,work,root}
    mount -t overlay -o "lowerdir=/,upperdir=$tree/upper,workdir=$tree/work" overlay "$tree/root" || exit 77
    for node in dev run tmp; do mount -t tmpfs tmpfs "$tree/root/$node"; done
    for node in null zero full random urandom tty; do
        : >"$tree/root/dev/$node"
        mount --bind "/dev/$node" "$tree/root/dev/$node"
    done
    ln -s /proc/self/fd "$tree/root/dev/fd"
    mount -t proc proc "$tree/root/proc"
    mount --rbind /sys "$tree/root/sys"
    mkdir -p "$tree/root/run/"{lock,packages,systemd/system}
    mkdir "$tree/root/run/upper"
    mount --bind "$tree/upper" "$tree/root/run/upper"
    cp "$1"/morla{,-dev}_*.deb "$tree/root/run/packages"
    cp "$here"/{life,systemctl}.sh "$tree/root/run/packages"
    exec chroot "$tree/root" /bin/bash /run/packages/life.sh --inside
}

fail() {
    printf 'life: line %s: %s\n' "${BASH_LINENO[0]}" "$*" >&2
    tail -n 20 /run/dpkg.log /run/systemctl.log /var/log/quorvat/log.zentd >&2 || true
    exit 1
}
# What differs from the machine below: files, those that were removed, and folders of ours.
changes() {
    find /run/upper -mindepth 1 \( ! -type d -o -path '*morla*' -o -path '*quorvat*' -o -path '*velmor*' \) \
        -printf '/%P\n' | sort
}
package_manager() { dpkg "$@" >>/run/dpkg.log 2>&1 || fail "dpkg $*"; }
pid() { cat /run/zentd.pid 2>/dev/null; }
running() { kill -0 "$(pid)" 2>/dev/null && [ "$(readlink "/proc/$(pid)/exe")" = /usr/sbin/morla ]; }
logged() {
    for _ in {1..150}; do
        ! grep -q -- "$1" /var/log/quorvat/log.zentd || return 0
        sleep 0.1
    done
    fail "not in the log: $1"
}

# newer VERSION: the package morla as a later version.
newer() {
    dpkg-deb -R /run/packages/morla_*.deb "/run/$1"
    sed -i "s/^Version: .*/Version: $1/" "/run/$1/DEBIAN/control"
    dpkg-deb --root-owner-group -b "/run/$1" "/run/$1.deb" >/dev/null
}

install_and_run() {
    package_manager -i /run/packages/*.deb
    running || fail 'not started by the installation'
    logged 'Done initializing'
    [ "$(stat -c %a /run/lock/zentd.lock)" = 640 ] || fail 'others may open the lock'
    for _ in {1..100}; do [ ! -s /var/lib/morla/inventory/last.json ] || break; sleep 0.1; done
    [ -s /var/lib/morla/inventory/last.json ] || fail 'the module did not keep an inventory'
    morlactl --version >/dev/null || fail 'no morlactl'
}

# A shutdown is told to the daemon, which then waits for nothing; the note does not outlive a start.
shutdown_and_stop() {
    echo '7 reboot.target start waiting' >/run/jobs
    systemctl stop zentd
    logged 'Current RunLevel = 6'
    : >/run/jobs
    systemctl start zentd
    [ ! -e /etc/quorvat/RunLevel ] || fail 'the note outlived a start'
    systemctl stop zentd
    logged 'Current RunLevel = 5'
}

upgrade() {
    local before
    systemctl start zentd
    before="$(pid)"
    morlactl registry create HKEY_LOCAL_MACHINE/Kept
    sed -i 's/^FileDebugLevel=0/FileDebugLevel=2/' /etc/velmor/OskariaSuite/TraceConfig/zentd.ini
    newer 99.1
    package_manager -i /run/99.1.deb
    running || fail 'not running after the upgrade'
    [ "$(pid)" != "$before" ] || fail 'not restarted by the upgrade'
    logged 'Waiting for signals'
    [ -s /var/log/quorvat/log.zentd_a ] || fail 'the trace setting was not kept'
    # A service that is off stays off, and the note of a shutdown under way is not touched.
    systemctl stop zentd
    rm /etc/systemd/system/multi-user.target.wants/zentd.service
    echo 6 >/etc/quorvat/RunLevel
    newer 99.2
    package_manager -i /run/99.2.deb
    ! running || fail 'started although it is off'
    [ "$(cat /etc/quorvat/RunLevel)" = 6 ] || fail 'the upgrade lost the note'
    morlactl registry list HKEY_LOCAL_MACHINE/Kept >/dev/null || fail 'the upgrade lost the registry'
}

inside() {
    local before left
    : >/run/jobs
    rm -f /usr/sbin/policy-rc.d
    cp -p /usr/bin/systemctl /run
    install -m 755 /run/packages/systemctl.sh /usr/bin/systemctl
    before="$(changes)"
    install_and_run
    shutdown_and_stop
    upgrade
    systemctl start zentd
    package_manager -r morla-dev morla
    ! running || fail 'still running after the removal'
    grep -q FileDebugLevel=2 /etc/velmor/OskariaSuite/TraceConfig/zentd.ini || fail 'settings lost by the removal'
    [ -s /etc/quorvat/registry ] || fail 'registry lost by the removal'
    package_manager -P morla-dev morla
    left="$(comm -13 <(printf '%s\n' "$before") <(changes) | grep -vE \
        '^/var/(lib/dpkg/|lib/systemd/|cache/(ldconfig|man)/|log/dpkg.log)|^/etc/ld.so.cache$' || true)"
    [ -z "$left" ] || fail "left behind: $left"
    printf 'life: installed, started, stopped, upgraded, removed, purged\n'
}

case "$1" in
    --enter) enter "$2" ;;
    --inside) inside ;;
    *)
        user=()
        [ "$(id -u)" -eq 0 ] || user=(--user --map-root-user)
        exec unshare "${user[@]}" --mount --pid --ipc --fork --kill-child \
            "${BASH_SOURCE[0]}" --enter "$(realpath "$1")"
        ;;
esac
