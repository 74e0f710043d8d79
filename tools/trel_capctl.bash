# bash completion of trel_capctl

_trel_capctl() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} verb= word
    local shared='--store --output --help'
    for word in "${COMP_WORDS[@]:1:COMP_CWORD - 1}"; do
        case $word in
            get | set | ready) verb=$word && break ;;
        esac
    done
    local words
    case "$verb $previous" in
        *' --store' | *' -s') words='unix:/// redis:// sentinel://' ;;
        *' --output' | *' -o') words='text json' ;;
        'set --bool' | 'set --state') words='0 1' ;;
        'set --int') words='' ;;
        'ready ready') words="glb cm fab hps $shared" ;;
        ready*) words="on off $shared" ;;
        get*) words="--bool --int --str --pri --state $shared" ;;
        set*) words="--bool --int --state $shared" ;;
        *) words="get set ready $shared --version" ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -F _trel_capctl trel_capctl
