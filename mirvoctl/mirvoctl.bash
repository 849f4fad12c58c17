# bash completion for mirvoctl

_mirvoctl() {
    local current=${COMP_WORDS[COMP_CWORD]}
    mapfile -t COMPREPLY < <("${COMP_WORDS[0]}" --complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
    if [[ ${COMPREPLY[0]-} == FILE ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}

complete -F _mirvoctl mirvoctl
