# bash completion for mirvoctl

_mirvoctl() {
    local commands="version startup shutdown connect disconnect config-file bluetooth ids
        hid-descriptor device monitor shell"
    local device_commands="key touch calibrate cook-key cook-touch cook-calibrate landscape focus
        pairing time-date display feature"
    local options="--json --quiet --verbose --help"
    local keys="back volume-up volume-down power menu play-pause stop next previous rewind
        fast-forward play pause"

    local current=${COMP_WORDS[COMP_CWORD]} word words=()
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $word == --* ]] || words+=("$word")
    done

    local offered=
    if [[ $current == -* ]]; then
        offered=$options
        [[ ${words[2]-} == *touch ]] && offered+=" --time --extra"
    elif ((${#words[@]} == 0)); then
        offered=$commands
    elif [[ ${words[0]} == config-file ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
    elif [[ ${words[0]} == device || ${words[0]} == monitor ]]; then
        # The command, the accessory, what to do with it, and its arguments.
        case ${#words[@]}:${words[2]-} in
            1:) offered=$(mirvoctl --json --quiet ids 2>/dev/null |
                sed -n 's/.*"ids":\[\([0-9,]*\)\].*/\1/p' | tr , ' ') ;;
            2:) [[ ${words[0]} == device ]] && offered=$device_commands ;;
            3:key | 3:cook-key) offered=$keys ;;
            4:key | 4:cook-key) offered="down up" ;;
            3:touch | 3:cook-touch) offered="down move up pointer-down" ;;
            3:landscape | 3:pairing | 4:focus) offered="on off" ;;
        esac
    fi
    mapfile -t COMPREPLY < <(compgen -W "$offered" -- "$current")
}

complete -F _mirvoctl mirvoctl
