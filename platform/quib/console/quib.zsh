#compdef quib
# zsh completion of quib

_quib_modules() {
    local -a modules
    # Names that need no escapes in JSON; programs may have any.
    modules=(${(f)"$(quib --output json 2>/dev/null | sed -n 's/^{"module":"\([^"\\]*\)".*/\1/p')"})
    compadd -a modules
}

# The commands of the module in words[1], then the names of a command's arguments.
_quib_command() {
    local -a commands names
    commands=(${(f)"$(quib --timeout 1 "$words[1]" .commands 2>/dev/null)"})
    if ((CURRENT == 2)); then
        compadd help store ${commands%%$'\t'*}
    else
        local format=${${(M)commands:#$words[2]$'\t'*}#*$'\t'}
        names=(${(M)${=format}:#*=*})
        compadd -S '' -- ${names%%=*}=
    fi
}

_arguments -S \
    '(-o --output)'{-o,--output}'[how to print the list]:format:(text json)' \
    '(-t --timeout)'{-t,--timeout}'[how long to wait for the module to say anything]:seconds:' \
    '(- *)'{-h,--help}'[print help and exit]' \
    '(- *)--version[print the version and exit]' \
    '1:module:_quib_modules' \
    '*::command:_quib_command'
