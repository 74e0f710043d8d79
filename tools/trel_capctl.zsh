#compdef trel_capctl
# zsh completion of trel_capctl, which knows itself what may come next.

local -a replies
replies=("${(@f)$("${words[1]}" complete -- "${(@)words[2,CURRENT]}" 2>/dev/null)}")
replies=("${(@)replies:#}")
if (( ${#replies} )); then
    compadd -- "${(@)replies:#*[:=./]}"
    compadd -S '' -- "${(@M)replies:#*[:=./]}"
else
    _files
fi
