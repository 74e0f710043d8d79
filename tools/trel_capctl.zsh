#compdef trel_capctl
# zsh completion of trel_capctl

_trel_capctl_stores() {
    compadd -S '' 'unix:///' 'redis://' 'sentinel://'
}

_trel_capctl() {
    local -a shared
    local state line verb
    shared=(
        '(-s --store)'{-s,--store}'[the store, in place of $OX_MOM_STORE]:store:_trel_capctl_stores'
        '(-o --output)'{-o,--output}'[how to print data]:format:(text json)'
        '(- *)'{-h,--help}'[print help and exit]'
    )
    _arguments -C $shared '(- *)--version[print the version and exit]' \
        '1:verb:((get\:"print a capability" set\:"write a capability" ready\:"print or publish readiness"))' \
        '*::argument:->arguments'
    [[ $state == arguments ]] || return
    verb=$words[1]
    case $verb in
        get)
            _arguments $shared '1:url:' '(--int --str --pri --state)--bool[the value called bool]' \
                '(--bool --str --pri --state)--int[the value called int32]' \
                '(--bool --int --pri --state)--str[the value called string]' \
                '(--bool --int --str --state)--pri[the value called pri]' \
                '(--bool --int --str --pri)--state[the value called state]'
            ;;
        set)
            _arguments $shared '1:url:' '(--int --state)--bool[the boolean]:boolean:(0 1)' \
                '(--bool --state)--int[the integer]:integer:' \
                '(--bool --int)--state[the state]:state:(0 1)'
            ;;
        ready)
            _arguments $shared '1:scope:(glb cm fab hps)' '2:readiness:(on off)'
            ;;
    esac
}

_trel_capctl "$@"
