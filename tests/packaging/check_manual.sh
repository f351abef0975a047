#!/usr/bin/env bash
# Usage: check_manual.sh PROGRAM MANUAL_PAGE COMPLETION
#        check_manual.sh --self-test PROGRAM MANUAL_PAGE COMPLETION
#        check_manual.sh --files COMPLETION
# Fails unless the manual page and the bash completion know the same commands and options, and the same words that an
# option takes, as the program's own help. MANUAL_PAGE is the source.

set -euo pipefail
export LC_ALL=C

commandsOf() {  # program
    "$1" --help | sed -nE '/^Subcommands:/,/^$/ s/^  ([a-z]+) .*/\1/p' | sort
}

# helpOf PROGRAM [COMMAND]: the long options, one a line, each with the words that it takes, if they are named.
helpOf() {
    "$@" --help | sed -nE 's/^  (-[a-z],)?(--[a-z-]+)( ([^ ]+))?.*/\2 \4/p' |
        awk '$2 !~ /\|/ { $2 = "" } { sub(/^N\|/, "", $2); gsub(/\|/, ",", $2); sub(/ $/, ""); print }' | sort
}

# What the manual page says under a heading (.SS command, or .SH OPTIONS), without the markup.
manualSection() {  # page heading
    awk -v heading="$2" '/^\.S[SH] / { inside = ($0 == heading); next } inside' "$1" |
        sed -E 's/\\f[A-Z]//g; s/\\-/-/g; s/^\.(TP|B|BR|BI|RB|I|IR|PP)( |$)//; s/[",]//g'
}

# completed COMPLETION WORD...: what is offered for the last word.
completed() {
    bash -c '
        source "$1"
        shift
        COMP_WORDS=(qormath "$@") COMP_CWORD=$#
        _qormath
        printf "%s\n" "${COMPREPLY[@]}"' - "$@" | sed '/^$/d' | sort
}

differences=0

# compare SENTENCE EXPECTED FOUND
compare() {
    if [ "$2" != "$3" ]; then
        echo "$1"
        diff <(echo "$2") <(echo "$3") | sed -nE 's/^</  in the help alone:/p; s/^>/  not in the help:  /p'
        differences=1
    fi
}

# checkOptions NAME HEADING [COMMAND]
checkOptions() {
    local name=$1 heading=$2 command=("${@:3}") help options option words
    help=$(helpOf "$program" "${command[@]}")
    options=$(cut -d' ' -f1 <<<"$help")
    if [ -z "$options" ]; then
        echo "$name: the help shows no option"
        differences=1
    fi
    # --help stands once in the page, with the options of the program.
    compare "$name: the manual page" "$(if [ $# -eq 2 ]; then echo "$options"; else grep -vx -e --help <<<"$options"; fi)" \
        "$(manualSection "$page" "$heading" | grep -oE '^(-[a-z] +)?--[a-z-]+' | grep -oE -e '--[a-z-]+' | sort)"
    compare "$name: the completion" "$options" "$(completed "$completion" "${command[@]}" --)"
    while read -r option words; do
        if [ -n "$words" ]; then
            compare "$name $option: the completion" "$(tr , '\n' <<<"$words" | sort)" \
                "$(completed "$completion" "${command[@]}" "$option" '')"
        fi
    done <<<"$help"
}

check() {
    program=$1 page=$2 completion=$3 differences=0
    local commands command
    commands=$(commandsOf "$program")
    [ -n "$commands" ] || { echo "the help of $program shows no commands"; return 1; }
    compare "commands: the manual page" "$commands" "$(sed -nE 's/^\.SS //p' "$page" | sort)"
    # A command stands there once for each way to use it.
    compare "commands: the synopsis" "$commands" \
        "$(awk '/^\.SY/ { getline; if ($1 == ".B" && $2 ~ /^[a-z]+$/) print $2 }' "$page" | sort -u)"
    compare "commands: the completion" "$commands" "$(completed "$completion" '')"
    checkOptions qormath '.SH OPTIONS'
    for command in $commands; do
        checkOptions "$command" ".SS $command" "$command"
    done
    return $differences
}

# Files: a folder and two kinds of files, and what is offered where one of them is to stand.
checkFiles() {
    completion=$1 differences=0
    folder=$(mktemp -d)
    trap 'rm -rf "$folder"' EXIT
    mkdir "$folder/plants"
    touch "$folder/a plant.fir" "$folder/system.json" "$folder/notes.txt"
    cd "$folder"
    compare "a model file" "$(printf '%s\n' 'a plant.fir' plants)" "$(completed "$completion" reduce '')"
    compare "a system file" "$(printf '%s\n' plants system.json)" "$(completed "$completion" simulate '')"
    compare "the model of simulate" "$(printf '%s\n' 'a plant.fir' plants)" \
        "$(completed "$completion" simulate --like '')"
    compare "a system that is written" "$(printf '%s\n' plants system.json)" "$(completed "$completion" realise -o '')"
    compare "a folder" plants "$(completed "$completion" reduce --out-dir '')"
    compare "one of many models" "$(printf '%s\n' 'a plant.fir' plants)" \
        "$(completed "$completion" reduce --out-dir plants '')"
    compare "a number" "" "$(completed "$completion" reduce --damping '')"
    return $differences
}

# A program with one option, one word or one command more or less than this one has to be told from it, and one with as
# many has not.
selfTest() {
    local failures=0
    planted=$(mktemp)
    trap 'rm -f "$planted"' EXIT
    chmod +x "$planted"
    plant() {  # program page completion script-for-sed [same]
        local found=different
        printf '#!/bin/sh\n"%s" "$@" | sed -E "%s"\n' "$1" "$4" >"$planted"
        if check "$planted" "$2" "$3" >/dev/null; then
            found=same
        fi
        if [ "$found" != "${5-different}" ]; then
            echo "self-test: help changed by $4 counts as $found"
            failures=1
        fi
    }
    plant "$@" 's/Options/Options/' same
    plant "$@" 's/^  --damping X.*/&\\n  --planted X   An option/'
    plant "$@" '/^  --damping X/d'
    plant "$@" 's/zoh\|tustin/zoh|planted|tustin/'
    plant "$@" 's/^  info .*/&\\n  planted   A command/'
    plant "$@" '/^  --version/d'
    return $failures
}

case $1 in
    --self-test) selfTest "${@:2}" ;;
    --files) checkFiles "$2" ;;
    *) check "$@" ;;
esac
