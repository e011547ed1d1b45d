#!/usr/bin/env bash
# Checks what the shell offers for the beginning of a command line. A unit test compares the lists with the program's.
set -u

completion=$(readlink -f -- "$(dirname -- "${BASH_SOURCE[0]}")/../../packaging/completion.zsh")
# shellcheck source=packaging/completion.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/../../packaging/completion.bash"

# offers WORDS... EXPECTED: the cursor is at the last of the words.
offers() {
    local COMP_WORDS=(wyrt "${@:1:$#-1}") COMP_CWORD=$(($# - 1)) COMPREPLY=(stale)
    _wyrt
    if [ "${COMPREPLY[*]}" = "${*: -1}" ]; then
        echo "ok offers ${*:1:$#-1}"
    else
        echo "not ok offers ${*:1:$#-1}: ${COMPREPLY[*]}"
    fi
}

offers '-' '-h -e -v -H -a -b -B -V -Z -k -f -F -S -m -t -r -c -s -i -I -C -T -R -g -G -p -P -o -n -d'
offers '' 'live record check show why stats export chart serve push info -h -e -v -H -a -b -B -V -Z -k -f -F -S -m -t -r -c -s -i -I -C -T -R -g -G -p -P -o -n -d'
offers -b -Z '-Z'
offers -p '' ''
offers -p 24 '-' '-h -e -v -H -a -b -B -V -Z -k -f -F -S -m -t -r -c -s -i -I -C -T -R -g -G -p -P -o -n -d'
offers -c5 ''
offers -P '' 'io time mem none ps'
offers -P m 'mem'
offers -P io,t 'io,time'
offers -P io,time, 'io,time,io io,time,time io,time,mem io,time,none io,time,ps'
offers -kP n 'none'
offers -kPio,p '-kPio,ps'
offers file ''

# --- Commands

sandbox=$(mktemp -d) || exit 1
trap 'rm -rf "$sandbox"' EXIT
cd "$sandbox" || exit 1
touch day.wyrt net.wyrt

offers l 'live'
offers s 'show stats serve'
offers re 'record'
offers classic ''
offers live d 'disk'
offers record cpu m 'mem'
offers check c 'cpu cores cgroup churn'
offers live al 'all'
offers live --sc '--scroll'
offers record --s '--sort --state --sync'
offers live --sort s 'swap switches size sent'
offers live --by u 'user unit'
offers live -i '' ''
offers live --color a 'auto always'
offers live --save d 'day.wyrt'
offers record -o da 'day.wyrt'
offers show d 'disk day.wyrt'
offers show --da '--damaged'
offers show --o '--output'
offers show --color n 'never'
offers info n 'net.wyrt'
offers export d 'day.wyrt'
offers stats d 'disk day.wyrt'
offers stats --by p 'process'
offers export --format j 'jsonl'
offers info -- '--help --damaged --output --check'
offers check -- '--help --root --output'
offers -b live d ''

# --- zsh, which asks the program

if ! command -v zsh >/dev/null; then
    echo "skip zsh: it is not installed"
    exit 0
fi
# zsh_offers WORDS... EXPECTED: the first words that are offered for the last of the words
zsh_offers() {
    local got
    got=$(WYRT=${WYRT:-wyrt} zsh -f -c '
        _describe() { local list=$@[-1] entry; for entry in "${(@P)list}"; do print -rn -- "${entry%%:*} "; done }
        _files() { print -n "FILES " }
        source "$1"; shift
        words=("$WYRT" "$@") CURRENT=$(($# + 1)); _wyrt' zsh "$completion" "${@:1:$#-1}")
    case $got in
        "${*: -1} "*) echo "ok zsh offers ${*:1:$#-1}" ;;
        *) echo "not ok zsh offers ${*:1:$#-1}: $got" ;;
    esac
}
zsh_offers '' 'live record check show'
zsh_offers show '' 'why cpu cores mem'
zsh_offers show - '-h --help --damaged -o --output'
zsh_offers show --sort '' 'busy read write wait queue'
zsh_offers show -o '' 'FILES'
zsh_offers live --color '' 'auto always never'
zsh_offers info '' 'FILES'
