# bash completion for mirvo-emulator

_mirvo_emulator() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} offered word
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        # Behind this stands a program of the user's.
        [[ $word == -- ]] && previous=--
    done
    if [[ $current == -* && $previous != -- ]]; then
        # The tool knows its options best.
        offered=$(mirvo-emulator --help 2>/dev/null | grep -oE '^  (-h,)?--[a-z-]+' | grep -oE '\-\-[a-z-]+')
        mapfile -t COMPREPLY < <(compgen -W "$offered" -- "$current")
    elif [[ $previous == --dir ]]; then
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}

complete -o filenames -F _mirvo_emulator mirvo-emulator
