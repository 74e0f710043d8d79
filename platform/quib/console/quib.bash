# bash completion of quib

# Options before the module; then the module's commands, and the names of a command's arguments.
_quib() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} words= at=1
    COMPREPLY=()
    while ((at < COMP_CWORD)); do
        case ${COMP_WORDS[at]} in
            -o | --output | -t | --timeout) ((at += 2)) ;;
            -*) ((at += 1)) ;;
            *) break ;;
        esac
    done
    if ((at >= COMP_CWORD)); then
        case $previous in
            -o | --output) words='text json' ;;
            -t | --timeout) words= ;;
            *)
                words=$(quib 2>/dev/null | sed -n '2,$s/ .*//p')
                [[ $current != -* ]] || words='--output --timeout --help --version'
                ;;
        esac
    else
        local name format commands
        commands=$(quib --timeout 1 "${COMP_WORDS[at]}" .commands 2>/dev/null)
        while IFS=$'\t' read -r name format; do
            if ((at + 1 == COMP_CWORD)); then
                words+=" $name"
            elif [[ $name == "${COMP_WORDS[at + 1]}" ]]; then
                words=$(sed 's/=[^ ]*/=/g; s/%[ds]//g; s/^void$//' <<<"$format")
                compopt -o nospace 2>/dev/null
            fi
        done <<<"$commands"
        ((at + 1 != COMP_CWORD)) || words+=' help'
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -F _quib quib
