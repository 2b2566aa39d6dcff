#!/usr/bin/env bash
# Drives the real morlactl in a private root: results, exit codes, refusals, and what files hold
# afterwards.
# usage: morlactl.sh MORLACTL COMPLETION_SCRIPT
set -uo pipefail
morlactl="$1"
completion="$2"
[ -e /run/morla-private-root ] || { echo 'only in a private root: it writes to /etc' >&2; exit 1; }
failures=0

# expect CODE OUTPUT ARGUMENTS...: the exit code, standard output to the letter, and a message on
# standard error exactly when the code is not 0.
expect() {
    local code="$1" output="$2" got status message
    shift 2
    got="$("$morlactl" "$@" 2>/tmp/stderr)"
    status=$?
    message="$(cat /tmp/stderr)"
    if [ "$status" -ne "$code" ] || [ "$got" != "$output" ] ||
        { [ "$code" -eq 0 ] && [ -n "$message" ]; } ||
        { [ "$code" -ne 0 ] && [[ "$message" != morlactl:* ]]; }; then
        printf 'morlactl %s\n  exit code %s, expected %s\n  printed "%s", expected "%s"\n  said "%s"\n' \
            "$*" "$status" "$code" "$got" "$output" "$message"
        failures=$((failures + 1))
    fi
}

# same WHAT LEFT RIGHT
same() {
    [ "$2" = "$3" ] && return
    printf '%s: "%s", expected "%s"\n' "$1" "$2" "$3"
    failures=$((failures + 1))
}

# prints PATTERN ARGUMENTS...: exit code 0, and a line that matches.
prints() {
    local pattern="$1"
    shift
    "$morlactl" "$@" 2>&1 | grep -q -- "$pattern" && return
    printf 'morlactl %s: no line matches "%s"\n' "$*" "$pattern"
    failures=$((failures + 1))
}

usage() {
    local group arguments
    for group in "" ini process registry switch; do
        prints '^Usage: morlactl' ${group:+"$group"} --help
        expect 64 '' ${group:+"$group"}
        expect 64 '' ${group:+"$group"} bogus
    done
    for arguments in 'ini get' 'ini set' 'ini delete' 'ini list' 'ini copy' 'process find' \
        'process show' 'registry get' 'registry set' 'registry list' 'registry create' \
        'registry delete' 'registry export' 'registry import' 'registry check' 'switch check'; do
        # shellcheck disable=SC2086 # two words
        prints "^Usage: morlactl $arguments" $arguments --help
        # shellcheck disable=SC2086
        expect 64 '' $arguments --bogus
    done
    prints '^morlactl [0-9]' --version
    expect 64 '' process show 0
    expect 64 '' process show 4294967295
    expect 64 '' registry set HKEY_USERS n v --type bogus
    expect 64 '' registry set HKEY_USERS n v --type dword
    expect 64 '' registry list hkey_users
    expect 64 '' registry list ''
    "$morlactl" --version >/dev/full 2>/dev/null
    same 'exit code when nothing can be written' $? 1
}

processes() {
    # A name of its own: other processes of the machine may sleep as well.
    local name="sleep_$$" child
    cp "$(command -v sleep)" "/tmp/$name"
    "/tmp/$name" 1000 &
    child=$!
    until [ "$(cat "/proc/$child/comm")" = "$name" ]; do :; done # executed
    expect 0 "$child" process find "$name"
    prints "^name  *$name\$" process show "$child"
    prints '^size  *[0-9]* bytes$' process show "$child"
    prints "\"name\": \"$name\"" process show "$child" --json
    expect 2 '' process find no_such_process
    expect 2 '' process find -- -x
    kill "$child"
    wait "$child" 2>/dev/null
    expect 2 '' process show "$child"
}

ini_files() {
    local file=/tmp/test.ini
    expect 2 '' ini list "$file"
    expect 2 '' ini get "$file" A k
    expect 0 'none' ini get "$file" A k --default none
    expect 0 '' ini set "$file" A k 'a value'
    expect 0 '' ini set "$file" A brackets '[1,2]'
    expect 0 '' ini set "$file" B other -5
    expect 0 'a value' ini get "$file" A k
    expect 0 $'A\nB' ini list "$file"
    expect 0 $'k=a value\nbrackets=[1,2]' ini list "$file" A
    local before
    before="$(cat "$file")"
    expect 1 '' ini set "$file" A 'a=b' x
    expect 1 '' ini set "$file" A k 'cut;here'
    expect 1 '' ini set "$file" A k $'two\nlines'
    expect 1 '' ini set "$file" A k ''
    expect 1 '' ini set "$file" 'A]' k x
    expect 2 '' ini copy "$file" none B
    expect 2 '' ini delete "$file" A none
    expect 2 '' ini delete "$file" none
    same 'the file after refusals' "$(cat "$file")" "$before"
    expect 0 '' ini copy "$file" A B
    expect 0 $'other=-5\nk=a value\nbrackets=[1,2]' ini list "$file" B
    expect 0 '' ini delete "$file" B other
    expect 2 '' ini get "$file" B other
    expect 0 '' ini delete "$file" A
    expect 0 B ini list "$file"
    expect 2 '' ini list "$file" A
    expect 1 '' ini copy "$file" B ''
    expect 1 '' ini copy "$file" B 'a]b'
    expect 0 B ini list "$file"
    expect 1 '' ini set /no/such/folder/file A k v

    # Success means that reads see the change: they may find another line of the same name.
    printf '[A]\n k=1\nk=2\n[B]\nx=1\n[B]\nx=2\n' >"$file"
    expect 1 '' ini delete "$file" A k
    expect 1 '' ini delete "$file" A k
    expect 1 '' ini delete "$file" B
    expect 0 '' ini delete "$file" B

    local many
    many="$(printf 'a section %s\n' {1..5000})" # longer than a list of the class
    printf '%s\n' "$many" | sed 's/.*/[&]\n&=1/' >"$file"
    expect 0 "$many" ini list "$file"
    expect 0 '' ini delete "$file" 'a section 5000'

    local other
    mkfifo /tmp/fifo
    for other in '/tmp: Is a directory' '/tmp/fifo: not a regular file'; do
        expect 1 '' ini list "${other%%:*}"
        same 'reason of a refused reading' "$(cat /tmp/stderr)" "morlactl: cannot open $other"
        expect 1 '' ini set "${other%%:*}" A k v
        same 'reason of a refused writing' "$(cat /tmp/stderr)" "morlactl: cannot write $other"
    done
}

registry() {
    local fans=HKEY_LOCAL_MACHINE/SOFTWARE/Fans
    expect 1 '' registry create "$fans" # no folder to save in
    mkdir -p /etc/quorvat
    expect 0 '' registry create HKEY_USERS # nothing to make, nothing to save
    expect 2 '' registry list "$fans"
    expect 0 '' registry create "$fans"
    expect 2 '' registry set HKEY_USERS/None n v
    expect 0 '' registry set "$fans" Speed 0x50 --type dword
    expect 0 '' registry set "$fans" Home '%HOME%/x' --type expand
    expect 0 '' registry set "$fans" Serial '0a FF' --type binary
    expect 0 '' registry set 'HKEY_LOCAL_MACHINE\SOFTWARE' Text 'a text'
    expect 1 '' registry set HKEY_LOCAL_MACHINE/SOFTWARE Fans v
    expect 1 '' registry set "$fans" 'a=b' v
    expect 1 '' registry set "$fans" n $'two\nlines'
    expect 1 '' registry create HKEY_USERS/a]b
    expect 1 '' registry create HKEY_LOCAL_MACHINE/SOFTWARE/Text/Sub
    expect 0 80 registry get "$fans" Speed
    expect 0 '%HOME%/x' registry get "$fans" Home
    expect 0 '/home/x' registry get "$fans" Home --expand
    expect 0 '0a ff' registry get "$fans" Serial
    expect 2 '' registry get "$fans" None
    expect 0 $'Text = string: a text\n[Fans]' registry list HKEY_LOCAL_MACHINE/SOFTWARE
    expect 0 $'[SOFTWARE]\n  Text = string: a text\n[SOFTWARE/Fans]\n  Home = expand: %HOME%/x\n  Serial = binary: 0a ff\n  Speed = dword: 80' \
        registry list HKEY_LOCAL_MACHINE --recursive
    prints '"Fans"' registry list HKEY_LOCAL_MACHINE/SOFTWARE --json
    expect 0 '' registry check /etc/quorvat/registry

    # Bytes that are not UTF-8 and a name with a separator, written by hand.
    printf '[HKEY_USERS]\nn\xFF=s=\xE4=\n[a/b]\nd=d=-1\n\n\n\n' >/etc/quorvat/registry
    expect 0 '' registry create HKEY_LOCAL_MACHINE/Top
    "$morlactl" registry export HKEY_USERS >/tmp/export.json
    local before
    before="$(cat /etc/quorvat/registry)"
    rm /etc/quorvat/registry*
    expect 0 '' registry create HKEY_LOCAL_MACHINE/Top
    expect 0 '' registry import /tmp/export.json
    same 'the tree after export and import' "$(cat /etc/quorvat/registry)" "$before"
    expect 0 '' registry import </tmp/export.json
    expect 1 '' registry import /etc/quorvat/registry
    expect 2 '' registry import /no/such/file
    same 'the tree after refused imports' "$(cat /etc/quorvat/registry)" "$before"

    expect 0 '' registry set HKEY_USERS gone v
    expect 0 '' registry delete HKEY_USERS gone
    expect 2 '' registry delete HKEY_USERS gone
    expect 0 '' registry delete HKEY_LOCAL_MACHINE/Top
    expect 2 '' registry delete HKEY_LOCAL_MACHINE/Top
    expect 1 '' registry delete HKEY_LOCAL_MACHINE
}

# A tree that cannot be read, or only in part, is left as it is unless the operator insists.
damaged_trees() {
    local text
    for text in 'garbage' $'[HKEY_USERS]\nno tag\na=s=1\n\n'; do
        rm -f /etc/quorvat/*
        printf '%s\n' "$text" >/etc/quorvat/registry
        expect 1 '' registry set HKEY_USERS n v
        expect 1 '' registry create HKEY_USERS/K
        expect 1 '' registry delete HKEY_USERS a
        expect 1 '' registry import /tmp/export.json
        same 'the damaged tree' "$(cat /etc/quorvat/registry)" "$(printf '%s\n' "$text")"
        "$morlactl" registry check /etc/quorvat/registry >/tmp/findings
        same 'exit code of the check' $? 1
        grep -q '^/etc/quorvat/registry:[12]: lost: ' /tmp/findings ||
            same 'findings' "$(cat /tmp/findings)" 'a lost line'
        "$morlactl" registry set HKEY_USERS n v --force 2>/dev/null
        same 'exit code of a forced change' $? 0
        expect 0 v registry get HKEY_USERS n
    done
    expect 2 '' registry check /no/such/file
    expect 1 '' registry check /tmp
    expect 1 '' registry import /tmp
    same 'reason of a refused import' "$(cat /tmp/stderr)" 'morlactl: cannot read /tmp'
    # An empty file is no tree, but its backup is one.
    rm -f /etc/quorvat/*
    : >/etc/quorvat/registry
    expect 1 '' registry list HKEY_USERS
    expect 1 '' registry create HKEY_USERS/K
    printf '[HKEY_USERS]\nn=s=v\n\n\n' >/etc/quorvat/registry.old
    expect 0 v registry get HKEY_USERS n
    # The backup counts as well, when it is what would be read.
    rm -f /etc/quorvat/*
    printf 'garbage\n' >/etc/quorvat/registry.old
    expect 1 '' registry list HKEY_USERS
    expect 1 '' registry set HKEY_USERS n v
}

# complete_to EXPECTED WORDS...: the first completion of the last word.
complete_to() {
    local expected="$1"
    shift
    COMP_WORDS=(morlactl "$@")
    COMP_CWORD=$#
    COMPREPLY=()
    _morlactl
    same "completion of \"$*\"" "${COMPREPLY[0]-}" "$expected"
}

completions() {
    # shellcheck disable=SC1090 # given
    source "$completion"
    complete_to registry reg
    complete_to --version --v
    complete_to check registry che
    complete_to HKEY_USERS registry list HKEY_U
    complete_to --recursive registry list HKEY_USERS --r
    complete_to binary registry set HKEY_USERS n v --type b
    complete_to /tmp/export.json registry import /tmp/exp
    complete_to --json process show 1 --j
    complete_to --from smbios --f
    complete_to --capture inventory --c
    complete_to slots inventory --section s
    complete_to --load-modules switch check libswitch.so --l
    complete_to --json doctor --j
    complete_to check trace che
    complete_to --context trace show --con
    complete_to boot trace --since b
    # Every command that the tool knows is offered, and none that it does not know.
    local group command
    for group in "" ini process registry switch; do
        COMP_WORDS=(morlactl ${group:+"$group"} '')
        COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
        _morlactl
        command="$("$morlactl" ${group:+"$group"} --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p')"
        same "commands of $group" "$(printf '%s\n' "${COMPREPLY[@]}" | grep -v -- -- | sort)" \
            "$(sort <<<"$command")"
    done
}

smbios() {
    local tables=/sys/firmware/dmi/tables
    expect 64 '' smbios --type 256
    expect 1 '' smbios
    expect 2 '' smbios --from /tmp/none
    mkdir -p "$tables" /tmp/captured
    printf '_SM3_\0\030\003\002' >"$tables/smbios_entry_point"
    printf '\013\005\001\0\001one\0two\0\0\177\004\002\0\0\0' >"$tables/DMI"
    cp "$tables"/* /tmp/captured
    local head='SMBIOS 3.2, 2 structures, 20 bytes'
    local strings='0x0001  type  11    5 bytes  OEM Strings
    1: one
    2: two'
    expect 0 "$head
$strings
0x0002  type 127    4 bytes  End-of-Table" smbios
    expect 0 "$head
$strings" smbios --from /tmp/captured --type 11
    expect 2 "$head" smbios --type 1
    prints '"complete": true' smbios --json
    printf '\177' >>/tmp/captured/DMI    # one byte behind the table's end is counted
    prints '"structure_count": 3' smbios --json --from /tmp/captured
    printf '\001\377\0\0' >/tmp/captured/DMI
    expect 1 'SMBIOS 3.2, 0 structures, 4 bytes
0x0000  type   1  255 bytes  System Information' smbios --from /tmp/captured
    : >/tmp/captured/DMI
    expect 1 '' smbios --from /tmp/captured
}

# entry SECOND TEXT
entry() { printf '2024-03-07 14:05:%s.042 [00F5A7C0] zentd         %s\n' "$1" "$2"; }

# ring SECOND FILE TEXT...: the least that a ring has, the begin entry at a multiple of 1 KiB.
ring() {
    local second="$1" file="$2" text
    shift 2
    {
        entry "$second" '# End of header.'
        printf '## TRACE-END ##\n'
        printf '%*s\n' $((1024 - 66 - 16 - 1)) '' | tr ' ' _
        entry "$second" '### Begin of RingBuffer. ###'
        for text in "${@:-ring shown $second}"; do entry "$second" "$text"; done
        printf '## TRACE-END ##\n'
    } >"$file"
}

traces() {
    local folder=/tmp/traces
    export PAGER=cat
    expect 2 '' trace
    expect 2 '' trace /tmp/none
    expect 1 '' trace /dev/null
    expect 64 '' trace --since bogus
    expect 64 '' trace --grep '('
    expect 64 '' trace --context 1
    mkdir -p "$folder" /etc/velmor/OskariaSuite/TraceConfig
    printf '[zentd]\nRingBufferDirectory=%s\n[EndOfFile]\n' "$folder" \
        >/etc/velmor/OskariaSuite/TraceConfig/any.ini
    expect 2 '' trace
    {
        entry 10 start
        entry 11 $'bad \xff\nline'
        entry 12 end
    } >"$folder/log.zentd"
    expect 0 "$(cat "$folder/log.zentd")" trace --raw
    expect 0 "$(entry 11 'bad \xff')"$'\n    line' trace --grep bad
    expect 0 "$(entry 12 end)" trace show -n 1 "$folder"
    expect 0 "$(entry 10 start)" trace --until 2024-03-07T14:05:10
    expect 0 "$(entry 12 end)" trace --grep '^en' --source zentd --thread f5a7c0
    expect 0 '' trace --source other
    expect 0 '{"time":"2024-03-07 14:05:11.042","thread":"00F5A7C0","source":"zentd","text":"bad \ufffd\nline","text_hex":"62616420ff0a6c696e65","file":"/tmp/traces/log.zentd","offset":55}' \
        trace --json --grep bad
    prints 'intact$' trace check
    prints '3  zentd$' trace stat
    prints '"entries":3' trace stat --json
    # A log file's copies are known also where the ring's last entries begin in their millisecond.
    ring 12 /tmp/log.zentd_a one two three four
    { entry 12 one; entry 12 two; } >/tmp/log.zentd
    expect 0 "$(entry 12 three; entry 12 four)" trace --last 2 /tmp/log.zentd_a /tmp/log.zentd
    # A packed file, whole and cut; what a header records.
    printf '\037\213\010\000\000\000\000\000\002\003\063\062\060\062\321\065\060\326\065\060\127\060\064\261\062\060\265\062\064\320\063\060\061\122\210\066\060\160\063\165\064\167\066\210\125\250\112\315\053\111\121\200\201\202\304\344\354\324\024\056\000\225\125\246\062\070\000\000\000' >/tmp/packed.gz
    expect 0 "$(entry 10 packed)" trace /tmp/packed.gz
    head -c 30 /tmp/packed.gz >/tmp/cut.gz
    expect 1 '' trace /tmp/cut.gz
    { entry 10 'Internal Debug values      :'; entry 10 'Trace Level                : 3'; entry 10 '# End of header.'; } \
        >/tmp/header.log
    prints '^    Trace Level  *3$' trace --header /tmp/header.log
    prints '"Trace Level":"3"' trace --header --json /tmp/header.log
    printf 'cut' >>"$folder/log.zentd"
    chmod 600 "$folder/log.zentd"
    expect 1 "$folder/log.zentd: damage at offset 168: the last line is cut
$folder/log.zentd: log file, damaged" trace check
    expect 1 '{"file":"'"$folder"'/log.zentd","findings":[{"kind":"damage","offset":168,"what":"the last line is cut"}],"intact":false}' \
        trace check --json
    for ((i = 0; i < 20000; i++)); do entry 13 many; done >"$folder/log.zentd"
    "$morlactl" trace 2>&1 | head -n 1 >/dev/null
    same 'exit code when the reader has gone' $? 0
}

# await PATTERN COUNT: until so many lines of /tmp/followed match.
await() {
    local try
    for ((try = 0; try < 200; try++)); do
        [ "$(grep -c -- "$1" /tmp/followed)" -ge "$2" ] && return
        sleep 0.05
    done
    printf 'the follower shows no "%s":\n%s\n' "$1" "$(cat /tmp/followed)"
    failures=$((failures + 1))
}

following() {
    local folder=/tmp/following log=/tmp/following/log.zentd ring=/tmp/following/log.zentd_a follower
    mkdir -p "$folder"
    expect 0 '' trace --follow --until '10 min ago' "$folder"
    : >/tmp/followed
    "$morlactl" trace --follow --grep shown "$folder" >/tmp/followed 2>&1 &
    follower=$!
    # Neither file is there yet; the log begins anew, and is replaced by another one.
    { entry 10 'shown 1'; entry 11 hidden; } >"$log"
    await 'shown 1' 1
    entry 12 'shown 2' >>"$log"
    await 'shown 2' 1
    entry 13 'shown 3' >"$log"
    await 'begun anew' 1
    await 'shown 3' 1
    entry 14 'shown 4' >/tmp/other
    mv /tmp/other "$log"
    await 'shown 4' 1
    # An entry takes the place of the end marker; then the ring begins anew.
    ring 10 "$ring"
    await 'ring shown 10' 1
    size=$(($(stat -c %s "$ring") - 16))
    { entry 15 'ring shown 15'; printf '## TRACE-END ##\n'; } |
        dd of="$ring" bs=1 seek="$size" conv=notrunc 2>/dev/null
    await 'ring shown 15' 1
    ring 20 "$ring"
    await 'ring shown 20' 1
    await 'log.zentd_a: begun anew' 1
    kill -TERM "$follower"
    wait "$follower"
    same 'exit code of a follower that was asked to end' $? 0
    same 'entries of a follower' "$(grep -c ' zentd .*shown' /tmp/followed)" 7
    # What is written before the time of --until is still shown.
    "$morlactl" trace --follow --json --until "$(date -d '+2 seconds' '+%F %T')" "$log" >/tmp/followed 2>&1 &
    follower=$!
    printf '%s [00F5A7C0] zentd         late\n' "$(date '+%F %T.000')" >>"$log"
    wait "$follower"
    same 'exit code when the time has passed' $? 0
    await '"text":"late"' 1
}

export HOME=/home
usage
processes
ini_files
registry
damaged_trees
smbios
traces
following
completions
[ "$failures" -eq 0 ]
