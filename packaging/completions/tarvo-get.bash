# shellcheck shell=bash
# Completes the arguments of tarvo-get in bash.
_tarvo_get() {
    local cur=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD - 1]}
    # bash cuts --option=value into three words.
    if [[ $cur == '=' ]]; then
        cur=''
    elif [[ $option == '=' ]]; then
        option=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    COMPREPLY=()
    case $option in
    -d | --directory)
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -d -- "$cur")
        ;;
    -i | --input-file | --cookie-file)
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -f -- "$cur")
        ;;
    --checksum)
        compopt -o nospace
        mapfile -t COMPREPLY < <(compgen -W 'md5= sha1= sha256= sha512=' -- "$cur")
        ;;
    --user) mapfile -t COMPREPLY < <(compgen -u -- "$cur") ;;
    -x | --connections | -j | --jobs | --referer | --user-agent | --proxy | --retries) ;;
    -H | --header | --address | --limit-rate | --max-filesize | --connect-timeout) ;;
    -o | --output)
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -d -- "$cur")
        ;;
    *)
        if [[ $cur == -* ]]; then
            mapfile -t COMPREPLY < <(compgen -W '-d --directory -x --connections -j --jobs -i --input-file
                -o --output --referer --user --user-agent --proxy --checksum --retries --attach -q --quiet --json
                --verbose --version -h --help --max-filesize --page -N --timestamping --again -c --continue --limit-rate --connect-timeout
                -4 --ipv4 -6 --ipv6 -H --header --cookie-file --address' -- "$cur")
        else
            compopt -o filenames # a bundle is a folder, and may be in one
            mapfile -t COMPREPLY < <(compgen -d -- "$cur")
        fi
        ;;
    esac
}
complete -F _tarvo_get tarvo-get
