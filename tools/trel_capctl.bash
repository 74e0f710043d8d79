# bash completion of trel_capctl, which knows itself what may come next.

_trel_capctl() {
    # The line, not COMP_WORDS: that takes keys apart at their colons.
    local line=${COMP_LINE:0:COMP_POINT} words current broken
    read -ra words <<<"$line"
    [[ $line != *[[:blank:]] ]] || words+=('')
    current=${words[-1]}
    mapfile -t COMPREPLY < <("${words[0]}" complete -- "${words[@]:1}" 2>/dev/null)
    # Of what stands there already only what follows the last colon or equals sign is replaced.
    broken=${current%"${current##*[:=]}"}
    COMPREPLY=("${COMPREPLY[@]#"$broken"}")
    [[ ${#COMPREPLY[@]} != 1 || ${COMPREPLY[0]} != *[:=./] ]] || compopt -o nospace 2>/dev/null
}
complete -o default -F _trel_capctl trel_capctl
