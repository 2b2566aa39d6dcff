# bash completion of morlactl; installed as /usr/share/bash-completion/completions/morlactl
# shellcheck shell=bash

_morlactl() {
    local current="${COMP_WORDS[COMP_CWORD]}" previous="${COMP_WORDS[COMP_CWORD - 1]}"
    local command="${COMP_WORDS[1]} ${COMP_WORDS[2]-}" words="" files=""
    case "$COMP_CWORD $command" in
        1*) words="doctor ini inventory process registry smbios switch trace --help --version" ;;
        2\ ini*) words="get set delete list copy --help" ;;
        2\ process*) words="find show --help" ;;
        2\ registry*) words="get set list create delete export import check --help" ;;
        2\ switch*) words="check --help" ;;
        3\ ini* | 3\ switch\ check | 3\ registry\ import | 3\ registry\ check) files=yes ;;
        3\ registry*)
            words="HKEY_LOCAL_MACHINE HKEY_CURRENT_USER HKEY_USERS HKEY_CLASSES_ROOT"
            words+=" HKEY_CURRENT_CONFIG"
            ;;
    esac
    if [ "$COMP_CWORD" -gt 2 ] && [[ "$current" == -* ]]; then
        case "$command" in
            ini\ get) words="--default" ;;
            process\ show) words="--json" ;;
            registry\ get) words="--expand --force" ;;
            registry\ list) words="--recursive --json --force" ;;
            registry\ set) words="--type --force" ;;
            registry\ check) words="" ;;
            switch\ check) words="--load-modules --timeout" ;;
            registry*) words="--force" ;;
        esac
        words+=" --help"
    fi
    if [ "${COMP_WORDS[1]}" = smbios ] && [ "$COMP_CWORD" -gt 1 ]; then
        words="--from --json --type --help"
        files=""
        [ "$previous" != --from ] || files=yes
    elif [ "${COMP_WORDS[1]}" = inventory ] && [ "$COMP_CWORD" -gt 1 ]; then
        words="--json --section --tree --why --from --touch-network --no-inquiry --capture"
        words+=" --anonymous --help"
        case "$previous" in
            --section) words="slots adapters drives volumes firmware" ;;
            --from | --capture) files=yes ;;
        esac
    elif [ "${COMP_WORDS[1]}" = doctor ] && [ "$COMP_CWORD" -gt 1 ]; then
        words="--json --help"
    elif [ "${COMP_WORDS[1]}" = trace ] && [ "$COMP_CWORD" -gt 1 ]; then
        files=yes
        case "${COMP_WORDS[2]-}" in
            stat | check) words="--json --help" ;;
            *)
                words="--follow --last --since --until --thread --source --grep --context --json"
                words+=" --header --raw --color --no-pager --help"
                ;;
        esac
        [ "$COMP_CWORD" -gt 2 ] || words+=" show stat check"
        case "$previous" in
            --color) words="auto always never" files="" ;;
            --since | --until) words="now today yesterday boot start" files="" ;;
            --last | --thread | --source | --grep | --context) words="" files="" ;;
        esac
    elif [ "$previous" = --type ]; then
        words="string expand dword binary"
    fi
    if [ -n "$files" ]; then
        compopt -o filenames 2>/dev/null # blanks are quoted, folders get a slash
    fi
    mapfile -t COMPREPLY < <(compgen ${files:+-f} -W "$words" -- "$current")
}
complete -F _morlactl morlactl
