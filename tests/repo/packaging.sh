#!/usr/bin/env bash
# What is installed for the desktop and the shells is judged by the tools that read it.
# Usage: packaging.sh BUILD RULE [ARGUMENTS]; BUILD is the build's folder packaging/.
#   entry | icons | metainfo VERSION | manual | services | packages   the files are valid and fit each other
#   options NAME [PROGRAM]                                 the manual page and the completions know every option
#   verbs PROGRAM                                          the same of the verbs of tarvo
set -euo pipefail
export LC_ALL=C.UTF-8
shopt -s inherit_errexit
id=com.unregistered.Tarvo
build=$1
rule=$2
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
export HOME=$tree XDG_RUNTIME_DIR=$tree
prefix=$tree/prefix
share=$prefix/share

fail() {
    printf '%s\n' "$@"
    exit 1
}

# silent COMMAND…: it succeeds and has nothing to say.
silent() {
    local said
    said=$("$@" 2>&1) || fail "$* failed:" "$said"
    [[ -z $said ]] || fail "$* says:" "$said"
}

# value KEY FILE: of the first line KEY=VALUE.
value() { sed -n "s/^$1=//p" "$2" | head -n 1; }

rule_entry() {
    local entry=$share/applications/$id.desktop
    silent desktop-file-validate "$entry"
    # Who activates over D-Bus takes the entry's name for the name on the bus.
    [[ $(value Name "$share/dbus-1/services/$id.service") == "$(basename "$entry" .desktop)" ]] ||
        fail "the entry has another name than the service on the bus"
    [[ -e $share/icons/hicolor/scalable/apps/$(value Icon "$entry").svg ]] || fail "there is no such icon"
}

rule_icons() {
    local icon size
    while IFS= read -r icon; do
        for size in 16 48 128; do
            silent rsvg-convert --width "$size" --height "$size" --output "$tree/icon.png" "$icon"
            [[ $(stat -c %s "$tree/icon.png") -gt 150 ]] || fail "$icon: nothing is drawn at $size pixels"
        done
    done < <(find "$share/icons" -name '*.svg')
}

rule_metainfo() {
    local info=$share/metainfo/$id.metainfo.xml newest
    appstreamcli validate --no-net "$info"
    newest=$(grep -oE '<release [^>]*' "$info" | head -n 1)
    [[ $newest == *"version=\"$1\""* ]] || fail "the newest release is not $1: $newest"
}

rule_manual() {
    local page
    for page in "$share"/man/man1/*.1; do
        silent_manual "$page"
        [[ $(awk 'NR == 1' <(manual "$page")) == *"(1)"* ]] || fail "$page has no title"
    done
}

silent_manual() {
    local said
    said=$(man --warnings -E UTF-8 -l -Tutf8 -Z "$1" 2>&1 >/dev/null) || fail "$1 can't be formatted:" "$said"
    [[ -z $said ]] || fail "$1:" "$said"
}

# The plain text of a page.
manual() { MANWIDTH=100 man -E ascii -P cat -l "$1" 2>/dev/null | col -bx; }

rule_services() {
    local unit=$prefix/lib/systemd/user/tarvo.service bus=$share/dbus-1/services/$id.service
    [[ $(value Exec "$bus") == "$prefix/bin/tarvo" ]] || fail "the bus starts: $(value Exec "$bus")"
    [[ $(value BusName "$unit") == "$(value Name "$bus")" ]] || fail "unit and bus know different names"
    mkdir -p "$prefix/bin"
    printf '#!/bin/sh\n' >"$prefix/bin/tarvo" # for only a unit that starts something is valid
    chmod 755 "$prefix/bin/tarvo"
    silent systemd-analyze --user --man=no verify "$unit"
}

# Each package brings what belongs to its program, and nothing belongs to both.
rule_packages() {
    local component
    for component in desktop browser get; do
        mkdir -p "$tree/$component"
        cmake -DCMAKE_INSTALL_PREFIX="$tree/$component" -DCMAKE_INSTALL_COMPONENT="$component" \
            -P "$build/cmake_install.cmake" >"$tree/log" 2>&1 || fail "$(<"$tree/log")"
        (cd "$tree/$component" && find . -type f | sort) >"$tree/$component.files"
    done
    (cd "$prefix" && find . -type f | sort) >"$tree/all.files"
    silent diff "$tree/all.files" <(sort "$tree"/{desktop,browser,get}.files)
    ! grep -v tarvo-get "$tree/get.files" || fail "is in the package of tarvo-get"
    ! grep -v tarvo-browser "$tree/browser.files" || fail "is in the package of the browser"
    ! grep -E 'tarvo-(get|browser)' "$tree/desktop.files" || fail "is in the package of the desktop"
}

# --- options: who knows which, one a line

option='--?[A-Za-z0-9][A-Za-z0-9-]*'

of_program() { "$1" --help | grep -oE "^ +-[^ ]*" | grep -oE -- "$option"; }

# The tags in the list of options, which stand further left than what is said of them: "-d DIR, --directory DIR".
of_manual() {
    manual "$share/man/man1/$1.1" | awk '/^[A-Z]/ { inside = $0 == "OPTIONS" } inside && /^     -/' |
        sed -E 's/^ +//; s/   *.*//' | grep -oE -- "(^|, )$option" | grep -oE -- "$option"
}

of_bash() {
    bash -c '
        set -u
        compopt() { :; }
        . "$1"
        COMP_WORDS=("$2" -) COMP_CWORD=1
        "$(complete -p "$2" | sed -E "s/.*-F ([^ ]+) .*/\1/")"
        printf "%s\n" "${COMPREPLY[@]}"' bash "$share/bash-completion/completions/$1" "$1"
}

# What the completion hands to zsh's own helper: "(those it excludes)*--option=[text]:…".
of_zsh() {
    zsh -fc '_arguments() { print -rl -- "$@" }; complete_it() { source $1 }; complete_it $1' \
        zsh "$share/zsh/site-functions/_$1" | sed -nE "s/^(\([^)]*\))?\*?($option)[+=]?\[.*/\2/p"
}

of_fish() {
    # shellcheck disable=SC2016 # fish is to expand it
    fish --no-config -c 'source $argv[1]; complete -C "$argv[2] -"' \
        "$share/fish/vendor_completions.d/$1.fish" "$1" | cut -f1
}

rule_options() {
    local name=$1 wanted known who
    if [[ -n ${2-} ]]; then wanted=$(of_program "$2" | sort -u); else wanted=$(of_manual "$name" | sort -u); fi
    [[ $(wc -l <<<"$wanted") -ge 4 && $wanted == *--version* ]] || fail "these can't be all options:" "$wanted"
    for who in manual bash zsh fish; do
        known=$("of_$who" "$name" | sort -u)
        [[ $known == "$wanted" ]] ||
            fail "$who and $name differ (< only $name, > only $who):" "$(diff <(echo "$wanted") <(echo "$known"))"
    done
}

# Each verb of the help stands in the manual and is completed.
rule_verbs() {
    local verb verbs completion page
    page=$(manual "$share/man/man1/tarvo.1")
    verbs=$("$1" --help | grep -oE '(^|  )tarvo [a-z]+  ' | awk '{ print $2 }')
    [[ $(wc -w <<<"$verbs") -ge 10 ]] || fail "these can't be all verbs:" "$verbs"
    for verb in $verbs; do
        grep -qE "^     (.*, )?$verb( |$)" <<<"$page" || fail "the manual lacks $verb"
        [[ $("$1" "$verb" --help) == *"Usage: tarvo $verb"* ]] || fail "$verb has no help"
        for completion in bash-completion/completions/tarvo zsh/site-functions/_tarvo fish/vendor_completions.d/tarvo.fish; do
            grep -qw -- "$verb" "$share/$completion" || fail "$completion lacks $verb"
        done
    done
}

# Without the programs: only what this folder of the build installs.
cmake -DCMAKE_INSTALL_PREFIX="$prefix" -P "$build/cmake_install.cmake" >"$tree/log" 2>&1 || fail "$(<"$tree/log")"
"rule_$rule" "${@:3}"
