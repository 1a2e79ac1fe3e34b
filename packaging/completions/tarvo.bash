# shellcheck shell=bash
# Completes the arguments of tarvo in bash.
_tarvo_words() { mapfile -t COMPREPLY < <(compgen -W "$1" -- "${COMP_WORDS[COMP_CWORD]}"); }

# The numbers of the rows, and the states that stand for several.
_tarvo_rows() {
    _tarvo_words "$1 all failed finished paused running waiting $(tarvo list --names 2>/dev/null | cut -f1 | tr '\n' ' ')"
}

_tarvo_paths() {
    compopt -o filenames # a bundle is a folder, and may be in one
    mapfile -t COMPREPLY < <(compgen -d -- "${COMP_WORDS[COMP_CWORD]}")
}

_tarvo_verb() {
    case ${COMP_WORDS[1]} in
    list) _tarvo_rows '--json --names' ;;
    start | pause | resume | retry) _tarvo_rows '' ;;
    remove) _tarvo_rows '--data' ;;
    move) if ((COMP_CWORD == 2)); then _tarvo_words 'top up down bottom'; else _tarvo_rows ''; fi ;;
    add)
        if [[ ${COMP_WORDS[COMP_CWORD]} == -* ]]; then
            _tarvo_words '-d --directory -x --connections --start --no-start'
        else
            _tarvo_paths
        fi
        ;;
    log) _tarvo_words '-n --lines -f --follow' ;;
    settings) _tarvo_words "--reset --json $(tarvo settings 2>/dev/null | sed -n 's/^\([A-Za-z]*\) = .*/\1/p' | tr '\n' ' ')" ;;
    status | watch) _tarvo_words '--json' ;;
    *) return 1 ;;
    esac
}

_tarvo() {
    local verbs='list status add start pause resume remove retry move log settings watch'
    COMPREPLY=()
    if ((COMP_CWORD > 1)) && _tarvo_verb; then
        return
    fi
    if [[ ${COMP_WORDS[COMP_CWORD]} == -* ]]; then
        _tarvo_words '--headless -ResetDefaults --version -h --help'
    elif ((COMP_CWORD == 1)); then
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -d -W "$verbs" -- "${COMP_WORDS[COMP_CWORD]}")
    else
        _tarvo_paths
    fi
}
complete -F _tarvo tarvo
