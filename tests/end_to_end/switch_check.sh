#!/usr/bin/env bash
# `morlactl switch check` with libraries that are fit and with those that are not: what it says of
# each, and that none takes it along.
# usage: switch_check.sh MORLACTL SWITCH MODULE FOLDER_OF_BAD_LIBRARIES
set -uo pipefail
morlactl="$1" switch="$2" module="$3" bad="$4"
[ -e /run/morla-private-root ] || { echo 'only in a private root' >&2; exit 1; }
failures=0

# says CODE PATTERN ARGUMENTS...: the exit code, and a line that matches.
says() {
    local code="$1" pattern="$2" output status
    shift 2
    output="$("$morlactl" switch check "$@" 2>&1)"
    status=$?
    if [ "$status" -ne "$code" ] || ! grep -qE -- "$pattern" <<<"$output"; then
        printf 'MOOD="%s" %s\n  exit code %s, expected %s; no line "%s" in\n%s\n' \
            "${MOOD-}" "$*" "$status" "$code" "$pattern" "$output"
        failures=$((failures + 1))
    fi
}

mkdir -p /etc/quorvat /opt/lib /var/modules
cp "$switch" /opt/lib/libswitch.so
cp "$bad/libmoody_switch.so" /opt/lib/moody.so
cp "$bad/libunbound_switch.so" /opt/lib/unbound.so
chmod 755 /opt /opt/lib/* /var/modules
fit=/opt/lib/libswitch.so

says 0 '^ok +owner +only root can change it' "$fit"
says 0 '^ok +needs +libc\.so\.6 \(/.*/libc\.so\.6\)' "$fit"
says 0 '^ok +call +UnloadModules' "$fit"
says 1 '^error +call +LoadModules returns false' --load-modules "$fit"
printf '[Modules]\nDirectory=/var/modules\n' >/etc/quorvat/switch.ini
says 0 '^ok +call +StartAllModules' --load-modules "$fit"
cd /opt/lib || exit 1
says 0 '^ok +call +SW_Release' libswitch.so

says 2 'no file' /opt/lib/none.so
says 64 'see --help' "$fit" --timeout 0
says 1 '^error +kind +is a module' "$module"
says 1 '^error +file .*Is a directory' /opt
says 1 '^error +file .*is no ELF file' /etc/quorvat/switch.ini
says 1 '^error +file .*is a program' "$morlactl"
for patch in '4 \1 64_bits' '18 \3 x86-64' '16 \1 shared'; do
    read -r offset byte word <<<"$patch"
    cp "$fit" /opt/lib/patched.so
    # shellcheck disable=SC2059 # the escape is the point
    printf "$byte" | dd of=/opt/lib/patched.so bs=1 seek="$offset" conv=notrunc 2>/dev/null
    says 1 "^error +file .*is (no|not) .*${word/_/ }" /opt/lib/patched.so
done

says 1 '^error +needs +libabsent_library\.so: cannot open' unbound.so
says 1 '^error +symbol +_Z13NobodyHasThisi \(NobodyHasThis\(int\)\) is missing' unbound.so
says 1 '^error +symbol +FromAbsentLibrary is missing' unbound.so
"$morlactl" switch check unbound.so 2>&1 | grep -E 'symbol.*(Debug|_ZN|_ZS)' &&
    failures=$((failures + 1)) # the daemon has these

mood() {
    MOOD="$1" says "$2" "$3" moody.so "${@:4}"
}
mood '' 0 '^ok +object'
mood 'constructor crash' 1 '^error +life +crashes \(SIGABRT\) in its static constructors'
mood 'constructor hang' 1 '^error +life +hangs .* in its static constructors' --timeout 1
mood 'constructor exit' 1 '^error +life +ends the process \(status 0\) in its static constructors'
mood 'constructor throw' 1 '^error +life +crashes \(SIGABRT\) in its static constructors'
mood 'query crash' 1 'in SW_QueryInterface'
mood 'query throw' 1 '^error +call +an exception leaves SW_QueryInterface'
mood 'query false' 1 '^error +object +SW_QueryInterface returns false'
mood 'object null' 1 '^error +object +SW_QueryInterface hands out none'
mood 'object nowhere' 1 '^error +object +its address cannot be read'
mood 'object empty' 1 '^error +object +slot 16 \(Notify\) is no function'
mood 'load crash' 0 '^ok +call +StopAllModules'
mood 'load crash' 1 'crashes \(SIGABRT\) in LoadModules' --load-modules
mood 'start hang' 1 'hangs .* in StartAllModules' --load-modules --timeout 1
mood '' 1 '^error +call +UnloadModules returns false' --load-modules
mood 'notify throw' 1 '^error +call +an exception leaves Notify'
mood 'stop exit' 1 'ends the process \(status 0\) in StopAllModules'
mood 'release crash' 1 'in SW_Release'
mood 'destructor crash' 1 'in its static destructors'

chmod g+w "$fit"
says 1 "^error +owner +$fit can be written by group or others" "$fit"
chmod 755 "$fit"
chmod o+w /opt
says 1 '^error +owner +/opt can be written by group or others' "$fit"
ln -s "$fit" /var/modules/link.so
says 1 '^error +owner +/opt can be' /var/modules/link.so
chmod 755 /opt
chmod o+w /var/modules
says 1 '^error +owner +/var/modules can be' /var/modules/link.so

[ "$failures" -eq 0 ]
