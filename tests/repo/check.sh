#!/usr/bin/env bash
# The rules of the house that no compiler knows. Usage: check.sh ROOT [RULE…]; fails when one is broken.
set -euo pipefail
export LC_ALL=C.UTF-8
shopt -s inherit_errexit

complaints=0

# complain PLACE REASON
complain() {
    printf '%s: %s\n' "$1" "$2"
    complaints=$((complaints + 1))
}

sources() { find "$@" \( -name '*.cpp' -o -name '*.h' \) | sort; }

# --- includes: a room includes what its target links, nothing above it

declare -A folder_of links_of reach_of

# The targets that a CMakeLists.txt makes or links, one call a line: CALL NAME LINKS…
cmake_calls() {
    sed 's/#.*//' "$1" | tr '\n' ' ' | grep -oE '(tarvo_library|add_executable|target_link_libraries) *\([^)]*\)' |
        tr '()' '  ' | sed -E 's/ (PUBLIC|PRIVATE|INTERFACE)( |$)/ /g' || true
}

read_rooms() {
    local list folder call name links
    while IFS= read -r list; do
        folder=$(dirname "${list#src/}")
        while read -r call name links; do
            [[ $call == target_link_libraries ]] || folder_of[$name]=$folder
            [[ $call == add_executable ]] || links_of[$folder]+=" $links"
        done < <(cmake_calls "$list")
    done < <(find src -name CMakeLists.txt | sort)
}

# reach FOLDER VISITED…: fills reach_of[FOLDER] with the folders and libraries that it may include.
reach() {
    local folder=$1 link below all=" $1 "
    [[ -z ${reach_of[$folder]-} ]] || return 0
    if [[ " ${*:2} " == *" $folder "* ]]; then
        complain "src/$folder/CMakeLists.txt" "the room links itself, by way of: ${*:2}"
        return 0
    fi
    for link in ${links_of[$folder]-}; do
        below=${folder_of[$link]-}
        all+="$link "
        if [[ -n $below && $below != "$folder" ]]; then
            reach "$below" "${@:2}" "$folder"
            all+="${reach_of[$below]-} "
        fi
    done
    reach_of[$folder]=$all
}

# Libraries whose headers stand where every compiler finds them, linked or not.
declare -A library_of=([curl]=PkgConfig::CURL [plist]=PkgConfig::PLIST [libsecret]=PkgConfig::SECRET
    [openssl]=OpenSSL::Crypto [archive.h]=PkgConfig::ARCHIVE
    [archive_entry.h]=PkgConfig::ARCHIVE [CLI]=CLI11::CLI11)

# Sets room to the folder of the target that the file's folder belongs to: its own, or the nearest above.
room_of() {
    room=$(dirname "$1")
    while [[ -z ${reach_of[$room]-} && $room == */* ]]; do room=${room%/*}; done
    [[ -n ${reach_of[$room]-} ]]
}

# check_include PLACE FOLDER SIGN NAMED: one include of a file in the room FOLDER.
check_include() {
    local place=$1 folder=$2 sign=$3 named=$4 wanted room
    if [[ $sign == '<' ]]; then
        wanted=${library_of[${named%%/*}]-}
    elif [[ $named == *.moc || $named == moc_* ]]; then
        return 0
    elif [[ ! -e src/$named ]] || ! room_of "$named"; then
        complain "$place" "\"$named\" is no file of a room"
        return 0
    else
        wanted=$room
    fi
    [[ -z $wanted || ${reach_of[$folder]} == *" $wanted "* ]] ||
        complain "$place" "includes $named, but src/$folder links no $wanted"
}

rule_includes() {
    local folder file place line room
    read_rooms
    for folder in "${folder_of[@]}"; do reach "$folder"; done
    [[ $complaints -eq 0 ]] || return 0 # of rooms in a ring, no more can be said
    while IFS= read -r file; do
        room_of "${file#src/}" || complain "$file" "is in no room"
    done < <(sources src)
    while IFS=: read -r file place line; do
        room_of "${file#src/}" || continue
        [[ $line =~ include[[:space:]]*([\"\<])([^\"\>]+) ]] || continue
        check_include "$file:$place" "$room" "${BASH_REMATCH[1]}" "${BASH_REMATCH[2]}"
    done < <(sources src | xargs -d '\n' grep -nHE '^[[:space:]]*#[[:space:]]*include')
}

# --- purpose: the first line says what a file is for; of a class in two files, the header's does

rule_purpose() {
    local file first
    while IFS= read -r file; do
        first=$(head -n 1 "$file")
        [[ $first =~ ^//\ +[^[:space:]] ]] && continue
        [[ $file == *.cpp && -e ${file%.cpp}.h && $first == "#include \""*"$(basename "$file" .cpp).h\"" ]] && continue
        complain "$file:1" "does not say what the file is for"
    done < <(sources src tests fuzz)
}

# --- mirror: tests/ has the folders of src/, and a few that serve all tests

rule_mirror() {
    local folder
    while IFS= read -r folder; do
        [[ $folder =~ ^(support|support_tests|sample_server|servers|desktop|monkey|repo)(/|$) || -d src/$folder ]] ||
            complain "tests/$folder" "mirrors no folder of src/"
    done < <(sources tests | sed -E 's|^tests/||; s|/?[^/]*$||' | sort -u)
}

# --- texts: every key has a text, every text a user, and the list is in order

rule_texts() {
    local list=translations/tarvo_en.ts key known all wanted
    known=$(grep -oE '<message id="[^"]*"' "$list" | cut -d'"' -f2)
    all=$(sources src | xargs -d '\n' cat)
    wanted=$(grep -oE '"tr\.[^"]*"|localized\("[^"]*"' <<<"$all" | cut -d'"' -f2 | sort -u || true)
    while IFS= read -r key; do
        complain "src: \"$key\"" "has no text in $list"
    done < <(comm -23 <(printf '%s' "${wanted:+$wanted$'\n'}") <(sort -u <<<"$known"))
    while IFS= read -r key; do
        [[ $all == *"\"$key\""* ]] || complain "$list: \"$key\"" "is used nowhere"
    done <<<"$known"
    key=$(LC_ALL=C sort -cu <<<"$known" 2>&1) || complain "$list" "is out of order: ${key##*disorder: }"
}

# --- languages: each has the texts of English, in the same order, with something in each and the same placeholders

# The keys of a language's list with the placeholders of their texts, a line for each kind of form that they have.
# shellcheck disable=SC2016 # awk has its own $
texts_of() {
    sed -nE 's|.*<message id="([^"]*)"([^>]*)><source></source><translation>(.*)</translation>.*|\1\t\2\t\3|p' "$1" |
        awk -F'\t' '{
            forms = split($3, form, "</numerusform>")
            for (i = 1; i <= forms; ++i) {
                if (i > 1 && i == forms && form[i] == "") continue # what follows the last form
                sub("^<numerusform>", "", form[i])
                holds = form[i] == "" ? " without a text" : ""
                for (number = 1; number <= 9; ++number)
                    if (index(form[i], "%" number)) holds = holds " %" number
                line = "\"" $1 "\"" $2 holds
                if (line != last) print line
                last = line
            }
        }'
}

rule_languages() {
    local list english difference
    english=$(texts_of translations/tarvo_en.ts)
    for list in translations/tarvo_*.ts; do
        difference=$(diff <(printf '%s' "${english:+$english$'\n'}") <(texts_of "$list") | grep -m 1 '^[<>]' || true)
        [[ -z $difference ]] || complain "$list" "differs from English (<) at: $difference"
    done
    difference=$(grep -m 1 'without a text' <<<"$english" || true)
    [[ -z $difference ]] || complain translations/tarvo_en.ts "$difference"
}

# --- words: what a window says comes out of translations/. What is the same in every language says so behind it
# in a comment with the words "not translated"; a line of the log and a static_assert need none.

rule_words() {
    local place
    # shellcheck disable=SC2016 # awk has its own $
    while IFS= read -r place; do
        complain "$place" "words that are not in translations/"
    done < <(find src/ui src/rows \( -name '*.cpp' -o -name '*.h' \) 2>/dev/null | sort | xargs -rd '\n' awk '
        FNR == 1 { skips = 0 }
        /\/\/.*not translated/ { next }
        {
            sub(/(^|[ \t])\/\/.*/, "")
            if (/Log::[a-zA-Z]+\(|static_assert\(/) skips = 1
            if (!skips) {
                if (/(set(Text|ToolTip|StatusTip|WindowTitle|Title|Accessible[A-Z][a-z]+|PlaceholderText|InformativeText)|add(Tab|Row|Item|Menu))\((QStringLiteral\(|QString\(|u)?"[A-Za-z]/)
                    print FILENAME ":" FNR
                else
                    for (rest = $0; match(rest, /"([^"\\]|\\.)*"/); rest = substr(rest, RSTART + RLENGTH))
                        if (substr(rest, RSTART, RLENGTH) ~ /[A-Za-z][A-Za-z]+ [A-Za-z][A-Za-z]+/) { print FILENAME ":" FNR; break }
            }
            if (/[;{}][ \t]*$/) skips = 0
        }')
}

# --- blanks

rule_blanks() {
    local place
    while IFS= read -r place; do
        complain "$place" "tab, or blanks at the end of the line"
    done < <({ find . -maxdepth 1 -type f ! -name '.git' &&
        find src tests fuzz cmake bench packaging translations .ci -type f ! -path 'fuzz/corpus/*'; } |
        xargs -d '\n' grep -nIE $'\t|[[:blank:]]$' | cut -d: -f1,2 || true)
}

# What one class takes, header and sources together: a source without a header of its own counts to the header
# that its name begins with.
rule_length() {
    local file header stem lines
    local -A lines_of=()
    while IFS= read -r file; do
        stem=${file%.*}
        if [[ ! -e $stem.h ]]; then
            for header in "${stem%/*}"/*.h; do
                [[ $stem == "${header%.h}"* ]] && stem=${header%.h} && break
            done
        fi
        lines=$(wc -l <"$file")
        lines_of[$stem]=$((${lines_of[$stem]-0} + lines))
    done < <(sources src)
    for stem in "${!lines_of[@]}"; do
        [[ ${lines_of[$stem]} -le 400 ]] || complain "$stem" "has ${lines_of[$stem]} lines, more than 400"
    done
}

# --- share: tests are at most a third of all lines of code, blank lines and comments left out

code_lines() { sources "$@" | xargs -d '\n' cat | grep -cvE '^[[:space:]]*(//.*)?$' || true; }

rule_share() {
    local code tests
    code=$(code_lines src)
    tests=$(code_lines tests)
    [[ $((3 * tests)) -le $((code + tests)) ]] ||
        complain tests "has $tests lines of code beside $code of src, more than a third of both"
}

# --- icons: a theme may lack any of them, so each that the windows name has a drawing

# The names by their first words (Icon Naming Specification), and the one word names that are in use.
icon_names='"((application|audio|dialog|document|edit|emblem|font|go|help|image|inode|list|mail|media|network|package|preferences|text|video|view|window|x-office)(-[a-z]+)+|folder(-[a-z]+)?)"'

rule_icons() {
    local place line name
    while IFS=: read -r place line name; do
        name=${name//\"/}
        [[ -e src/ui/icons/$name.svg ]] || complain "$place:$line" "the icon $name has no drawing in src/ui/icons"
    done < <(find src/ui -name '*.cpp' -o -name '*.h' 2>/dev/null | sort | xargs -rd '\n' grep -nHoE "$icon_names" || true)
    while IFS=: read -r place line _; do
        complain "$place:$line" "asks the theme for an icon past Icons::named"
    done < <(find src/ui -name '*.cpp' ! -name Icons.cpp 2>/dev/null | sort | xargs -rd '\n' grep -nHF 'QIcon::fromTheme(' || true)
}

# --- windows: only what shows windows needs their libraries, so that the rest runs where there are none

rule_windows() {
    local place
    while IFS= read -r place; do
        complain "$place" "links what windows need"
    done < <(find src -name CMakeLists.txt ! -path 'src/ui/*' ! -path 'src/browser/*' ! -path 'src/tarvo/*' -print0 |
        sort -z | xargs -0 grep -nHE 'Qt6::(Gui|Widgets|Svg|Web)|tarvo_ui' | cut -d: -f1,2 || true)
}

cd "$1"
[[ -n $(sources src) && -n $(sources tests) ]] || complain "$PWD" "is no tree of this project"
rules=("${@:2}")
[[ ${#rules[@]} -gt 0 ]] || rules=(includes purpose mirror texts languages words blanks icons windows length share)
for rule in "${rules[@]}"; do "rule_$rule"; done
[[ $complaints -eq 0 ]]
