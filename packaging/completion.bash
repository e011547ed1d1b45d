# shellcheck shell=bash
# Completion of wyrt's command line. A test compares the letters and words below with those that the program accepts.

_wyrt() {
    local flags='h e v H a b B V Z k f F S m t r'
    local valued='c s i I C T R g G p P o n d'
    local words='io time mem none ps'
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]} letter head='' list letters=()
    local cluster="^(-[${flags// }]*([${valued// }]))(.*)$"

    # The argument is a word of its own or follows its letter: -P io,time or -kPio,time.
    if [[ $prev =~ $cluster && ! ${BASH_REMATCH[3]} ]]; then
        letter=${BASH_REMATCH[2]} list=$cur
    elif [[ $cur =~ $cluster && ${BASH_REMATCH[3]} ]]; then
        letter=${BASH_REMATCH[2]} list=${BASH_REMATCH[3]} head=${BASH_REMATCH[1]}
    else
        for letter in $flags $valued; do letters+=("-$letter"); done
        mapfile -t COMPREPLY < <(compgen -W "${letters[*]}" -- "$cur")
        return
    fi

    COMPREPLY=()
    [[ $letter == P ]] || return 0 # all others take a number
    [[ $list == *,* ]] && head+=${list%,*},
    mapfile -t COMPREPLY < <(compgen -P "$head" -W "$words" -- "${list##*,}")
    compopt -o nospace 2>/dev/null # a comma may follow
    return 0
}
complete -F _wyrt wyrt
