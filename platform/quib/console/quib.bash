# bash completion of quib

# Names that need no escapes in JSON; programs may have any.
_quib_modules() { quib --output json 2>/dev/null | sed -n 's/^{"module":"\([^"\\]*\)".*/\1/p'; }

# Options before the module; then the module's commands, and the names of a command's arguments.
_quib() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} words= word at=1
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
            -o | --output) words=$'text\njson' ;;
            -t | --timeout) words= ;;
            *)
                words=$(_quib_modules)
                [[ $current != -* ]] || words=$'--output\n--timeout\n--help\n--version'
                ;;
        esac
    else
        local name format commands
        commands=$(quib --timeout 1 "${COMP_WORDS[at]}" .commands 2>/dev/null)
        while IFS=$'\t' read -r name format; do
            if ((at + 1 == COMP_CWORD)); then
                words+=$name$'\n'
            elif [[ $name == "${COMP_WORDS[at + 1]}" ]]; then
                words=$(sed 's/=[^ ]*/=/g; s/%[ds]//g; s/^void$//' <<<"$format" | tr ' ' '\n')
                compopt -o nospace 2>/dev/null
            fi
        done <<<"$commands"
        ((at + 1 != COMP_CWORD)) || words+=$'help\nstore'
    fi
    # Not by compgen -W, which has the shell expand the words: they are other programs' choice.
    while IFS= read -r word; do
        [[ -z $word || $word != "$current"* ]] || COMPREPLY+=("$(printf %q "$word")")
    done <<<"$words"
}
complete -F _quib quib
