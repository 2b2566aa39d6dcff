#!/usr/bin/env bash
# Drives `morlactl inventory` on a machine of files, in a private root: what it shows, what a capture
# keeps, what an anonymous one hides.
# usage: inventory.sh MORLACTL [machine]      machine: only builds it
set -uo pipefail
morlactl="$1"
[ -e /run/morla-private-root ] || { echo 'only in a private root: it writes to /sys' >&2; exit 1; }
failures=0

fail() {
    printf '%s\n' "$*"
    failures=$((failures + 1))
}

# shows PATTERN ARGUMENTS...: exit code 0, and a line that matches.
shows() {
    local pattern="$1" output
    shift
    output="$("$morlactl" inventory "$@" 2>/tmp/stderr)" || fail "inventory $*: exit code $?"
    grep -q -- "$pattern" <<<"$output" || fail "inventory $*: no \"$pattern\" in:" "$output"
}

# ends CODE ARGUMENTS...
ends() {
    local code="$1" status
    shift
    "$morlactl" inventory "$@" >/tmp/stdout 2>/tmp/stderr
    status=$?
    if [ "$status" -ne "$code" ] || ! grep -q '^morlactl: ' /tmp/stderr; then
        fail "inventory $*: exit code $status, expected $code; $(cat /tmp/stderr)"
    fi
}

# function_at BUS DEVICE VENDOR_DEVICE CLASS HEADER_TYPE SECONDARY_BUS: little-endian, as \xNN
function_at() {
    mkdir -p "/proc/bus/pci/$1"
    # shellcheck disable=SC2059 # the escapes are the point
    { printf "$3\0\0\0\0\2$4\0\0$5\0"; head -c 9 /dev/zero; printf "$6"; head -c 38 /dev/zero; } \
        >"/proc/bus/pci/$1/$2"
}

serial=S3RIAL4711
uuid=0f5c8d31-7a64-4e2b-9c11-5d0e8a7b6c42
mac=00:1b:21:a4:5e:7f
wwn=5000c500a1b2c3d4

build_machine() {
    local root=/sys/devices/pci0000:00/0000:00:01.0 card drive
    card="$root/0000:03:00.0"
    drive="$card/ata1/host0/target0:0:0/0:0:0:0"
    function_at 00 01.0 '\x86\x80\x02\x3c' '\0\x04\x06' '\1' '\3'
    function_at 03 00.0 '\x4b\x1b\x35\x92' '\1\6\1' '\0' '\0'
    mkdir -p "$drive"/block/sda/{queue,sda1} "$card/net/eth0" /sys/{block,bus/pci/devices} \
        /sys/class/{block,net} /sys/dev/block /sys/bus/{scsi,pci/drivers/ahci} /dev/disk/by-uuid \
        /sys/firmware/dmi/tables
    ln -s "../../..${root#/sys}" /sys/bus/pci/devices/0000:00:01.0
    ln -s "../../..${card#/sys}" /sys/bus/pci/devices/0000:03:00.0
    ln -s ../../../../bus/pci/drivers/ahci "$card/driver"
    ln -s "../..${card#/sys}/net/eth0" /sys/class/net/eth0
    ln -s ../.. "$card/net/eth0/device"
    echo "$mac" >"$card/net/eth0/address"
    echo 0 >"$card/net/eth0/addr_assign_type"
    ln -s "..${drive#/sys}/block/sda" /sys/block/sda
    ln -s "../..${drive#/sys}/block/sda" /sys/class/block/sda
    ln -s "../..${drive#/sys}/block/sda/sda1" /sys/class/block/sda1
    ln -s "../..${drive#/sys}/block/sda" /sys/dev/block/8:0
    ln -s ../../../0:0:0:0 "$drive/block/sda/device"
    ln -s ../../../../../../../../bus/scsi "$drive/subsystem"
    echo 0 >"$drive/type"
    echo 1 >"$drive/block/sda/queue/rotational"
    echo 4096 | tee "$drive/block/sda/size" "$drive/block/sda/sda1/size" >/dev/null
    echo 1 >"$drive/block/sda/sda1/partition"
    printf '\0\x80\0\x0a%s' "$serial" >"$drive/vpd_pg80"
    printf '\0\x83\0\x0c\1\3\0\10\x50\0\xc5\0\xa1\xb2\xc3\xd4' >"$drive/vpd_pg83"
    ln -s ../../sda1 "/dev/disk/by-uuid/$uuid"
    : >/dev/sda1
    printf '/dev/sda1 /mnt/a\\040b ext4 rw 0 0\nserver:/x /net nfs rw 0 0\n' >/etc/mtab
    printf '_SM3_\0\x18\3\2' >/sys/firmware/dmi/tables/smbios_entry_point
    { printf '\1\x1b\1\0\0\0\0\1ABCDEFGHIJKLMNOP\0\0\0%s\0\0' "$serial"
      printf '\11\x11\2\0\1\xa8\0\4\0\7\0\0\0\0\0\3\0PCIe \33[2J\xff 7\0\0'
      printf '\x7f\4\3\0\0\0'; } >/sys/firmware/dmi/tables/DMI
}

presentation() {
    local line
    shows '^0000:03:00.0  1b4b:9235  010601  7     PCIe \\x1b\[2J' --section slots
    shows 'SMBIOS type 9, handle 0x0002' --section slots --why
    shows '^eth0 .*00:1b:21:a4:5e:7f' --section adapters
    shows "^sda .*$serial" --section drives
    shows '^/dev/sda1 .*/mnt/a b' --section volumes
    shows "^system .*$serial" --section firmware
    shows '^Slot 7  "PCIe \\x1b\[2J' --tree
    shows '^   |- eth0 ' --tree
    shows '^         `- /mnt/a b ' --tree
    shows '"slot_designation": "PCIe \\u001b\[2J\\ufffd 7"' --json
    for line in --tree ''; do
        # shellcheck disable=SC2086 # none or one
        "$morlactl" inventory $line 2>&1 | grep -E '.{101}' && fail "more than 100 columns"
    done
}

wrong_use() {
    local arguments
    for arguments in '--json --tree' '--json --why' '--tree --section slots' '--section bogus' \
        '--section drives --why' '--anonymous' '--capture /tmp/x --json' '--capture=' '--from=' \
        '--from /tmp --touch-network'; do
        # shellcheck disable=SC2086 # words
        ends 64 $arguments
    done
    mkdir -p /tmp/empty
    ends 2 --from /tmp/empty
    ends 2 --from /tmp/none
    ends 1 --capture /no/such/folder/file
    ends 1 --capture /tmp/empty # a folder has that name
    [ -z "$(find /tmp/empty -mindepth 1; find /tmp -name '*.partial')" ] || fail 'something is left'
}

# unpacked NAME ARGUMENTS...: captures into /tmp/NAME.
unpacked() {
    local name="$1"
    shift
    "$morlactl" inventory --capture "/tmp/$name.tar.gz" "$@" || fail "capture: exit code $?"
    mkdir -p "/tmp/$name"
    tar -xzf "/tmp/$name.tar.gz" -C "/tmp/$name" || fail 'the capture cannot be unpacked'
}

# The inventory but for the sizes of mounted file systems, which a capture does not have.
kept() {
    "$morlactl" inventory --json "$@" | grep -v '_reason'
}

captures() {
    unpacked plain
    [ "$(kept)" = "$(kept --from /tmp/plain)" ] || fail 'a capture differs from its machine'
    unpacked hidden --anonymous
    grep -rlE "$serial|${uuid%%-*}|$mac|$wwn" /tmp/hidden && fail 'a number is left'
    (cd /tmp/hidden && ls -R) | grep "$uuid" && fail 'a link is left'
    [ "$(kept | sed 's/[0-9A-Za-z]/x/g')" = "$(kept --from /tmp/hidden | sed 's/[0-9A-Za-z]/x/g')" ] ||
        fail 'an anonymous capture has another shape'
    [ "$(kept --from /tmp/hidden | grep -o '"serial": "[^"]*"' | sort -u | wc -l)" -eq 1 ] ||
        fail 'one number has two replacements'
    unpacked again --from /tmp/plain
    [ "$(kept --from /tmp/again)" = "$(kept)" ] || fail 'a capture of a capture differs'
    # Links of a capture lead nowhere outside.
    printf '/dev/leak / ext4 rw 0 0\n' >/etc/outside
    ln -sf ../../../../../../etc/outside /tmp/plain/etc/mtab
    "$morlactl" inventory --from /tmp/plain 2>&1 | grep leak && fail 'a link led outside'
}

build_machine
[ "${2:-}" != machine ] || exit 0
presentation
wrong_use
captures
[ "$failures" -eq 0 ]
