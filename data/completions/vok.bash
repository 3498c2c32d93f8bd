# Completion for vokd, vokcli, vok-simhost and vok-rmc. It reads their --help, and so knows what this version of them has.
# shellcheck shell=bash

# _vok_help WORD...: the help of a program, or of one of its commands.
_vok_help() {
    "$@" --help 2>/dev/null
}

# _vok_section NAME: the names that begin the lines of a section of the help on standard input.
_vok_section() {
    sed -n "/^$1:/,/^\$/s/^  \([a-z][a-z-]*\) .*/\1/p"
}

# _vok_options: each option of the help on standard input and, if it takes one, the word for its value.
_vok_options() {
    sed -nE 's/^ +(-[a-z],)?(--[a-z][a-z-]*)( ([A-Z][^ ]*))?( .*|$)/\2 \4/p'
}

# _vok_usages: the lines of the section "Commands", without the descriptions; a usage may continue on the next line.
_vok_usages() {
    sed -n '/^Commands:/,$p' | sed -nE -e '/^  [a-z]/{s/^  //;s/  .*//;p}' -e '/^      [^ ]/{s/^      /+/;s/  .*//;p}' |
        sed -e ':next' -e 'N;s/|\n+/|/;s/\n+/ /;tnext' -e 'P;D'
}

# _vok_alternatives WORD...: what may follow these words of a command, by the usages on standard input.
_vok_alternatives() {
    local usage token word matches
    while IFS= read -r usage; do
        local -a tokens=()
        read -ra tokens <<<"$usage"
        matches=1
        for word in "$@"; do
            token=${tokens[0]:-}
            tokens=("${tokens[@]:1}")
            case "|$token|" in
            *"|$word|"*) ;;
            *'|'[A-Z]*) ;; # a value
            *) matches=0 && break ;;
            esac
        done
        if [ "$matches" = 0 ] || [ ${#tokens[@]} = 0 ]; then continue; fi
        # From the first option on, all of them in any order.
        case ${tokens[0]} in
        '['* | --*) printf '%s\n' "${tokens[@]}" | grep -oE -- '--[a-z-]+' ;;
        *) tr '|' '\n' <<<"${tokens[0]}" | grep '^[a-z]' ;;
        esac
    done
}

# _vok_shipped PROGRAM hosts|scenarios: the names of what comes with vok-simhost.
_vok_shipped() {
    local program file
    program=$(readlink -f "$(type -P "$1")") || return
    for file in "${program%/bin/*}/share/vok-simhost/$2"/*; do
        file=${file##*/}
        printf '%s\n' "${file%.json}"
    done
}

# _vok_value NAME PROGRAM WORD: completes a value that the help calls NAME.
_vok_value() {
    case $1 in
    DIR) mapfile -t COMPREPLY < <(compgen -d -- "$3") ;;
    'NAME|FILE.json') mapfile -t COMPREPLY < <(compgen -W "$(_vok_shipped "$2" hosts)" -f -- "$3") ;;
    SCENARIO) mapfile -t COMPREPLY < <(compgen -W "$(_vok_shipped "$2" scenarios)" -f -- "$3") ;;
    NAME=FILE) ;;
    *FILE* | FOLDER | SOCKET | ARCHIVE) mapfile -t COMPREPLY < <(compgen -f -- "$3") ;;
    NODE) mapfile -t COMPREPLY < <(compgen -f -X '!/dev/s[dg]*' -- "${3:-/dev/s}") ;;
    SCHEME) mapfile -t COMPREPLY < <(compgen -W 'sequential random constant:' -- "$3") ;;
    ID) mapfile -t COMPREPLY < <(compgen -W "$("$2" events | awk '$1 ~ /^[0-9]+$/ { print $1 }')" -- "$3") ;;
    esac
    compopt -o filenames 2>/dev/null
}

# _vok_value_name OPTION HELP: the word for the value of an option, or nothing.
_vok_value_name() {
    awk -v option="$1" '$1 == option { print $2; exit }' < <(_vok_options <<<"$2")
}

# The name of the Nth positional of the help on standard input.
_vok_positional() {
    sed -n '/^Positionals:/,/^$/p' | sed -nE 's/^  ([A-Z][A-Z_]*).*/\1/p' | sed -n "$1p"
}

_vok() {
    local program=$1 word=$2 previous=${COMP_WORDS[COMP_CWORD - 1]}
    # bash splits --option=value before and after the equals sign.
    if [ "$previous" = '=' ]; then previous=${COMP_WORDS[COMP_CWORD - 2]}; fi
    local command='' help name index each
    local -a positionals=()
    COMPREPLY=()
    type -P "$program" >/dev/null || return
    help=$(_vok_help "$program")
    local commands
    commands=" $(_vok_section Subcommands <<<"$help" | tr '\n' ' ')"

    # What stands before the word: the command, and the words that are no options.
    for ((index = 1; index < COMP_CWORD; index++)); do
        each=${COMP_WORDS[index]}
        case $each in
        -*)
            name=$(_vok_value_name "$each" "$help")
            if [ "${COMP_WORDS[index + 1]}" = '=' ]; then index=$((index + 1)); fi
            [ -z "$name" ] || index=$((index + 1)) ;;
        *)
            if [ -z "$command" ] && [[ $commands == *" $each "* ]]; then
                command=$each
                help=$(_vok_help "$program" "$command")
            else
                positionals+=("$each")
            fi ;;
        esac
    done

    case $previous in
    --*)
        name=$(_vok_value_name "$previous" "$help")
        if [ -n "$name" ]; then
            _vok_value "$name" "$program" "$word"
            return
        fi ;;
    esac
    if [[ $word == -* && ${#positionals[@]} -eq 0 ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(_vok_options <<<"$help" | cut -d ' ' -f 1)" -- "$word")
    elif [ -z "$command" ] && [ "$commands" != ' ' ]; then
        mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$word")
    elif grep -q '^Commands:' <<<"$help"; then
        mapfile -t COMPREPLY < <(compgen -W "$(_vok_usages <<<"$help" | _vok_alternatives "${positionals[@]}" | sort -u)" \
            -- "$word")
    else
        name=$(_vok_positional $((${#positionals[@]} + 1)) <<<"$help")
        [ -z "$name" ] || _vok_value "$name" "$program" "$word"
    fi
}

complete -F _vok vokd vokcli vok-simhost vok-rmc
