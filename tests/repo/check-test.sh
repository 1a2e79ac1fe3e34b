#!/usr/bin/env bash
# Shows that every rule of check.sh bites: a sound little tree passes, and each way of breaking it is named.
set -euo pipefail
export LC_ALL=C.UTF-8
check=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/check.sh
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
failures=0

# A tree of two rooms and a program, the lower one with a folder in it, with nothing to complain of.
make_tree() {
    rm -rf "${tree:?}"/*
    mkdir -p "$tree"/{src/{low/deep,high/upper,cli},tests/{low,support},translations,cmake,bench,packaging,fuzz,.ci}
    cd "$tree"
    echo 'tarvo_library(t_low PkgConfig::CURL)' >src/low/CMakeLists.txt
    printf '%s\n' 'tarvo_library(t_upper # the text of a comment: t_cli)' '    t_low)' >src/high/upper/CMakeLists.txt
    printf '%s\n' 'add_executable(t-get main.cpp)' 'target_link_libraries(t-get PRIVATE t_upper)' >src/cli/CMakeLists.txt
    printf '%s\n' '// What low is for.' '#include <curl/curl.h>' 'auto a = localized("tr.a");' >src/low/Low.h
    printf '%s\n' '#include "low/Low.h"' 'auto b = localized("tr.b.c");' >src/low/Low.cpp
    printf '%s\n' '// What is deep in low.' '#include "low/Low.h"' '// localized("Word");' >src/low/deep/Deep.h
    printf '%s\n' '// What high is for.' '#include <curl/curl.h>' '#include "low/Low.h"' >src/high/upper/High.h
    printf '%s\n' '// The program.' '#include "low/Low.h"' '#include "high/upper/High.h"' >src/cli/main.cpp
    echo '// Tests low.' >tests/low/LowTest.cpp
    echo '// Helps.' >tests/support/Helper.h
    printf '%s\n' '<message id="Word">' '<message id="tr.a">' '<message id="tr.b.c">' >translations/tarvo_en.ts
}

fail() {
    printf 'FAILED: %s\n' "$@"
    failures=$((failures + 1))
}

# broken RULE EXPECTED: the tree as it stands breaks RULE, and the complaint has EXPECTED in it. Mends the tree.
broken() {
    local output
    if output=$(bash "$check" "$tree" "$1"); then
        fail "$1 accepts a tree that should be: $2"
    elif [[ $output != *"$2"* || $(wc -l <<<"$output") -ne 1 ]]; then
        fail "$1 does not say (once, alone) '$2' but:" "$output"
    fi
    make_tree
}

make_tree
output=$(bash "$check" "$tree") || fail "a sound tree is refused:" "$output"

echo '#include "high/upper/High.h"' >>src/low/Low.cpp
broken includes 'src/low/Low.cpp:3: includes high/upper/High.h, but src/low links no high/upper'
echo '  #  include <plist/plist.h>' >>src/high/upper/High.h
broken includes 'High.h:4: includes plist/plist.h, but src/high/upper links no PkgConfig::PLIST'
echo '#include "low/Gone.h"' >>src/low/Low.cpp
broken includes '"low/Gone.h" is no file of a room'
echo '#include "high/upper/High.h"' >>src/low/deep/Deep.h
broken includes 'Deep.h:4: includes high/upper/High.h, but src/low links no high/upper'
echo 'tarvo_library(t_low t_upper PkgConfig::CURL)' >src/low/CMakeLists.txt
broken includes 'the room links itself'
mkdir src/lost && echo '// Lost.' >src/lost/Lost.h
broken includes 'src/lost/Lost.h: is in no room'

sed -i 1d src/high/upper/High.h
broken purpose 'src/high/upper/High.h:1'
sed -i 1d src/cli/main.cpp
broken purpose 'src/cli/main.cpp:1'
sed -i '1s|.*|#include <map>|' src/low/Low.cpp
broken purpose 'src/low/Low.cpp:1'
echo '//' >tests/low/LowTest.cpp
broken purpose 'tests/low/LowTest.cpp:1'

mkdir tests/lower && mv tests/low/LowTest.cpp tests/lower/
broken mirror 'tests/lower: mirrors no folder'

echo 'auto c = localized("tr.c", {"x"});' >>src/low/Low.cpp
broken texts '"tr.c": has no text'
echo 'auto c = localized("Words");' >>src/low/Low.cpp
broken texts '"Words": has no text'
sed -i '$d' src/low/Low.cpp
broken texts '"tr.b.c": is used nowhere'
printf '%s\n' '<message id="Word">' '<message id="tr.b.c">' '<message id="tr.a">' >translations/tarvo_en.ts
broken texts 'is out of order: tr.a'
echo '<message id="tr.b.c">' >>translations/tarvo_en.ts
broken texts 'is out of order: tr.b.c'

# One text in both languages: TEXT-OF-ENGLISH TEXT-OF-GERMAN
say_in_both() {
    local text='<message id="%s" numerus="yes"><source></source><translation>%s</translation></message>\n'
    # shellcheck disable=SC2059 # the format is what the two have in common
    printf "$text" tr.a "$1" >translations/tarvo_en.ts && printf "$text" tr.a "$2" >translations/tarvo_de.ts
}
say_in_both '<numerusform>%2 of %1</numerusform>' '<numerusform>%1: %2</numerusform><numerusform>%1: %2</numerusform>'
bash "$check" "$tree" languages || fail "a language with another number of forms is refused"
say_in_both '<numerusform>%2 of %1</numerusform>' '<numerusform>%1: %2</numerusform><numerusform>%1</numerusform>'
broken languages 'tarvo_de.ts: differs from English (<) at: > "tr.a" numerus="yes" %1'
say_in_both 'a' ''
broken languages 'tarvo_de.ts: differs from English'
say_in_both 'a' 'b' && rm translations/tarvo_de.ts && touch translations/tarvo_de.ts
broken languages 'tarvo_de.ts: differs from English (<) at: < "tr.a"'

mkdir -p src/ui && printf '%s\n' 'Log::error("two words");' 'f("Dock Only"); // not translated: a setting' \
    'Log::info(a,' '          "two words");' 'f("a" + two words + "b"); // "two words"' >src/ui/W.cpp
bash "$check" "$tree" words || fail "words that no window shows are refused"
echo 'f("Two words");' >>src/ui/W.cpp
broken words 'src/ui/W.cpp:6: words'
mkdir -p src/ui && echo 'box->setToolTip(QStringLiteral("Word"));' >src/ui/W.cpp
broken words 'src/ui/W.cpp:1: words'

printf '// a\tb\n' >>src/low/Low.cpp
broken blanks 'src/low/Low.cpp:3'
echo 'word ' >Readme.md
broken blanks 'Readme.md:1'
printf 'Name=x \n' >packaging/x.desktop
broken blanks 'packaging/x.desktop:1'
printf 'text \n' >.ci/run
broken blanks '.ci/run:1'

printf '%s\n' 'tarvo_library(t_low' 'Qt6::Widgets PkgConfig::CURL)' >src/low/CMakeLists.txt
broken windows 'src/low/CMakeLists.txt:2: links what windows need'

mkdir -p src/ui && echo '// With an icon: "list-add", and a word: "x-list"' >src/ui/Window.h
broken icons 'src/ui/Window.h:1: the icon list-add has no drawing'
mkdir -p src/ui && printf '%s\n' '// Icons.' 'QIcon::fromTheme(name)' >src/ui/Window.cpp
broken icons 'src/ui/Window.cpp:2: asks the theme'

printf '// line %s\n' {6..400} >>src/low/LowMore.cpp
bash "$check" "$tree" length || fail "a class of 400 lines is refused"
echo '// one more' >>src/low/Low.cpp
broken length 'src/low/Low: has 401 lines'

printf 'int a;\n%.0s' {1..4} >>tests/low/LowTest.cpp
bash "$check" "$tree" share || fail "a third of tests is refused"
printf 'int c;\n\n// d\n' >>tests/support/Helper.h
broken share 'tests: has 5 lines of code beside 9 of src'

rm -r src/*
broken length 'is no tree of this project'

[[ $failures -eq 0 ]]
