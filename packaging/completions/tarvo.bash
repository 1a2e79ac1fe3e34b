# shellcheck shell=bash
# Completes the arguments of tarvo in bash.
_tarvo() {
    local cur=${COMP_WORDS[COMP_CWORD]}
    if [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W '--headless -ResetDefaults --version -h --help' -- "$cur")
    else
        compopt -o filenames # a bundle is a folder, and may be in one
        mapfile -t COMPREPLY < <(compgen -d -- "$cur")
    fi
}
complete -F _tarvo tarvo
