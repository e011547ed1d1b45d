#!/usr/bin/env bash
# Names, paths, descriptions, mounts, interfaces, accounts and tools as an attacker would choose them, on the real
# kernel. The run must end in little memory, run none of these names as a command, remove only what it should, and send
# no control byte to a terminal. Runs as root and as an ordinary user, in namespaces of its own.
# shellcheck disable=SC2016 # names like "$(>oops)" must not be expanded
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"

wyrt=${WYRT:?WYRT must name the program}
churner=${wyrt%/*}/live-churner

in_namespaces attack

export LC_ALL=C
sandbox=$(mktemp -d) || exit 1
finish() {
    cd / || exit 1
    umount -l "$sandbox" 2>/dev/null # with all mounts below it
    rm -rf --one-file-system "$sandbox"
}
trap finish EXIT # the other processes end with their namespace
mount -t tmpfs wyrt-attack "$sandbox" 2>/dev/null
cd "$sandbox" || exit 1
chmod 755 .
mkdir desc
mkfifo never
exec {never}<>never

pause() { read -rt "$1" -u "$never"; }

# ended NAME OPTION...: the program must end by itself, in time and with an address space of 200 MB, most of which its
# code and libraries take. Its output is in "out" and "err".
limited() { (ulimit -v 200000 && exec timeout 60 "$@"); }
ended() {
    local name=$1 status
    shift
    limited "${as[@]}" "$wyrt" "$@" >out 2>err
    status=$?
    verdict "$name" "$( ((status == 0)) || echo "status $status, $(tail -n 1 err)")$([ "$(tail -n 1 out)" = Complete ] || echo " no end: $(tail -n 1 out)")"
}
shows() { grep -aqF -e "$2" out || echo "$1 is not shown"; }

# --- Processes and files

named() { # NAME: starts a process with this name
    (printf '%s' "$1" >"/proc/$BASHPID/comm" && read -r -u "$never") &
}
Hostile=('a) R 1 2 (b' '(((' ')))' $'two\nlines' $'\e[31mred\a' '%s%n%x%d' '123456789012345' $'\x9b31m\xc2\x9b31m' $'tab\tblank ' $'\n' $'\xff\xfe' '')
for name in "${Hostile[@]}"; do named "$name"; done
named 'kept-name'
printf -v long '%0120000d' 7
bash -c 'read -r' "$long" "$long" "$long" <&"$never" &
(exec -a '' sleep 1000) &
(exec -a $'\e]0;title\a\x9b31m\xc2\x9b31m' sleep 1000) &
(exec -a '%s%n%s' sleep 1000) &
(exec -a '' cat <&"$never") & # its command line is a single NUL
# A file with a hostile name whose position moves, and another one on a path longer than the kernel reports.
writing() { while :; do echo x; read -rt 0.02 -u "$never"; done >"$1"; }
writing $'\e[31m a,b$\x9b\nc' &
printf -v part '%0250d' 0
(for ((i = 0; i < 20; i++)); do mkdir -p "$part" && cd -P "./$part" 2>/dev/null || cd "./$part" || exit; done; writing file) &
# A user with a hostile name.
Hostile_user=''
uid=64321
if { cat /etc/passwd; printf 'u\e[1m\x9b;$(>oops):x:%d:%d::/:/bin/sh\n' "$uid" "$uid"; } >passwd &&
    mount --bind passwd /etc/passwd 2>/dev/null && command -v setpriv >/dev/null; then
    setpriv --reuid "$uid" --clear-groups sleep 1000 &
    Hostile_user=$'u\e[1m\x9b'
fi

# --- Descriptions: for each thread, what is in the place of its file

"$churner" 12 &
busy=$!
pause 0.3
tasks=("/proc/$busy/task/"*)
place() { echo "desc/$busy-${tasks[$1]##*/}"; }
now=$(date +%s)
Time=$((now + 1000))
mkfifo "$(place 0)"
ln -s /dev/zero "$(place 1)"
mkdir "$(place 2)"
printf '%d\n' "$Time" >"$(place 3)"
truncate -s 1G "$(place 3)" 2>/dev/null
truncate -s 1G "$(place 4)" 2>/dev/null
printf '%d\nthe end has no newline.' "$Time" >"$(place 5)"
printf '%d\nnot for everyone\n' "$Time" >"$(place 6)"
chmod 0 "$(place 6)"
ln -s "$sandbox/elsewhere" "$(place 7)"
printf '%d\nbehind a link\n' "$Time" >elsewhere
printf '%d\n\e[31mcolour\x9b31m\xc2\x9b%%n\n' "$Time" >"$(place 8)"
ln -s missing "$(place 9)"
ln -s "${tasks[10]##*/}" "$(place 10)"
ln -sf "$busy-${tasks[10]##*/}" "$(place 10)"
printf '%d\nordinary\n' "$Time" >"$(place 11)"
# Descriptions of processes that have ended: a link is removed, its target stays.
printf 'kept\n' >target
ln -s ../target desc/4000001-1
mkfifo desc/4000002-1
mkdir desc/4000003-1
touch desc/name desc/-1-1
chown -R 0:0 desc 2>/dev/null

as=()
ended 'hostile names: tables' -p 60 -k -f -R 0 -T 1 -c 2 -i 500
verdict 'arguments and files are shown' "$(shows 'the open file' $'\e[31m a,b$\x9b')$(shows 'the control bytes' $'\e]0;title\a\x9b31m\xc2\x9b31m 1000')$(shows '%s%n%s' '%s%n%s 1000')$(shows 'the long arguments' "bash -c read -r 000000")"
# Thread rows end with the description and the command.
grep -a "\[ *$busy\] " out | grep -ao '  *\[[^]0-9 ].*\]  ' | sed 's/^ *//;s/ *$//' | sort -u >descriptions
printf '%s\n' '[behind a link]' '[ordinary]' '[the end has no newline]' "$([ "$(id -u)" = 0 ] && echo '[not for everyone]')" $'[\e[31mcolour\x9b31m\xc2\x9b%n]' |
    sed '/^$/d' | sort >expected
verdict 'descriptions are shown, and nothing else' "$(diff expected descriptions)"
verdict 'only links and files are removed' "$(
    [ "$(cat target)" = kept ] || echo 'the target of a link is gone'
    [ -L desc/4000001-1 ] && echo 'the link of a process that is gone is still there'
    for kept in 4000003-1 name -1-1; do [ -e "desc/$kept" ] || echo "$kept is gone"; done
)"
# Names may hold newlines, so a record may continue on the next line.
ended 'hostile names: records' -Z -p 60 -f -R 0 -T 1 -c 2 -i 300
verdict 'names are shown' "$(for name in kept-name '%s%n%x%d' 123456789012345 $'\e[31mred\a' '((('; do shows "$name" ",$name,"; done)$(shows 'a user name' ",$Hostile_user")"
ended 'hostile names: listing' -P ps,mem -F -S -c 0 -b

# --- As an ordinary user

nobody=()
if [ "$(id -u)" = 0 ] && setpriv --reuid 65534 --regid 65534 --clear-groups true 2>/dev/null; then
    nobody=(setpriv --reuid 65534 --regid 65534 --clear-groups)
    chmod 777 .
    as=("${nobody[@]}")
    ended 'an ordinary user: tables' -a -m -t -r -V -v -R 0 -c 2 -i 200
    ended 'an ordinary user: records' -Z -a -m -t -r -S -V -v -R 0 -c 2 -i 200
    as=()
else
    echo "skip an ordinary user: this user cannot become another one"
fi

# --- Other things in the place of the directory of descriptions

kill -STOP "$busy"
mv desc kept-desc
for kind in absent 'link to it' 'link to nothing' 'link to itself' FIFO file 'without rights'; do
    rm -rf desc
    said=''
    as=()
    case $kind in
        'link to it') ln -s kept-desc desc ;;
        'link to nothing') ln -s missing desc ;;
        'link to itself') ln -s desc desc && said='ENO(40)' ;;
        FIFO) mkfifo desc && said='ENO(20)' ;;
        file) : >desc && said='ENO(20)' ;;
        'without rights') [ -n "${nobody[*]}" ] && mkdir -m 0 desc && as=("${nobody[@]}") said='ENO(13)' ;;
    esac
    limited "${as[@]}" "$wyrt" -p 4 -c 1 -i 1 >out 2>err
    status=$?
    found=$(grep -a 'thread desc directory' out)
    why=
    ((status == 0)) || why="status $status"
    if [ -n "$said" ]; then [[ $found == *"$said"* ]] || why="said: $found"; fi
    verdict "descriptions: $kind" "$why"
done
as=()
rm -rf desc

# --- Mounts

mounted=''
hostile_mount() { mkdir -p "$1" && mount -t tmpfs -o size=1m "$2" "$1" 2>/dev/null && mounted=yes; }
hostile_mount $'m \t\n\\\e[31m\x9b,$' $'dev \e[31m'
hostile_mount '%s%n' '%s%n'
hostile_mount 'over' one
mkdir -p over/below && hostile_mount over/below hidden && hostile_mount over two # this hides the directory of the first mount
(for ((i = 0; i < 15; i++)); do mkdir -p "$part" && cd "./$part" || exit; done; mount -t tmpfs -o size=1m deep . 2>/dev/null)
if [ -n "$mounted" ]; then
    ended 'hostile mounts' -m -v -d 8 -c 2 -i 100
    if grep -q '^%s%n ' /etc/mtab 2>/dev/null; then
        verdict 'mounts are shown' "$(shows 'a mount' $'m \t\n\\\e[31m\x9b,$')$(shows '%s%n' '%s%n')"
    else
        echo "skip mounts are shown: /etc/mtab does not follow the mounts"
    fi
    ended 'hostile mounts: records' -Z -m -v -d 8 -c 2 -i 100
else
    echo "skip mounts: nothing can be mounted"
fi

# --- Interfaces

ip link set lo up 2>/dev/null
made=''
Names=(';>oops' '$(>oops)' '`>oops`' "'>oops'" '|>oops' '"&>oops"' $'e\e[31m' '-a' '%s%n')
for name in "${Names[@]}"; do
    for try in dummy ifb veth; do ip link add name "$name" type $try 2>/dev/null && made+=" $try" && break; done
done
if [ -n "$made" ]; then
    ended 'hostile interfaces' -n 20 -c 2 -i 100
    verdict 'no name is a command' "$([ -e oops ] && echo 'it ran')$(shows 'an interface' '$(>oops)')$(shows 'an interface' ';>oops')"
else
    echo "skip interfaces: none can be made"
fi

# --- All of this on a terminal

if command -v script >/dev/null; then
    mkdir desc
    kill -CONT "$busy"
    printf '%d\n\e[31mcolour\x9b31m\xc2\x9b%%n\n' "$Time" >"$(place 8)"
    printf '%s\n' 'stty cols 80 2>/dev/null' "exec $wyrt -a -m -t -r -V -v -R 0 -p 90 -n 20 -T 1 -c 2 -i 500" >show.sh
    timeout 60 script -qec 'sh show.sh' /dev/null </dev/null >out 2>&1
    tr -d '\r' <out >plain
    why=$(sed 's/\r$//' out | grep -an -m 1 $'[\x01-\x09\x0b-\x1f\x7f]\|\x9b')
    grep -q '^Complete' plain || why="no end"
    grep -q 'colour' plain || why="the description is not shown"
    grep -q ']0;title' plain || why="the arguments are not shown"
    verdict 'a terminal gets no control bytes' "$(printf '%s' "$why" | tr '\033\233' '??')"
else
    echo "skip a terminal: there is no script"
fi

# --- Tools

kill -STOP "$busy"
mkdir tools
tools_say() { # COMMAND: the shell command that each tool runs
    local tool
    for tool in vgdisplay lvdisplay pvdisplay multipath ifconfig lsb_release dmidecode lshal; do
        printf '#!/bin/sh\n%s\n' "$1" >"tools/$tool"
        chmod 755 "tools/$tool"
    done
}
usual=$PATH
head -c 300000 /dev/urandom >tools/random
head -c 10000000 /dev/zero | tr '\0' 'x' >tools/huge
for kind in 'say nothing' 'fail' 'are binary' 'are huge' 'are slow' 'are not there' 'are killed' 'close their output' 'never stop printing'; do
    case $kind in
        'say nothing') tools_say '' ;;
        fail) tools_say 'echo "  VG Name x"; exit 5' ;;
        'are binary') tools_say "cat '$sandbox/tools/random'" ;;
        'are huge') tools_say "cat '$sandbox/tools/huge'" ;;
        'are slow') tools_say 'echo "  VG Name"; sleep 0.2; echo "   slow"' ;;
        'are not there') rm -f tools/* ;;
        'are killed') tools_say 'echo half; kill -9 $$' ;;
        'close their output') tools_say 'exec >&-; sleep 0.1' ;;
        'never stop printing')
            tools_say 'exec yes "inet 10.9.8.7 system.hardware.serial system.hardware.product"'
            for tool in vgdisplay lvdisplay pvdisplay multipath; do printf '#!/bin/sh\nexec cat /dev/zero\n' >"tools/$tool"; done
            ;;
    esac
    form=-H
    [[ $kind == are* ]] && form=-Z
    PATH=$sandbox/tools:$usual ended "tools that $kind" $form -v -d 4 -n 4 -c 1 -i 100
done
verdict 'what is wanted of them is shown' "$(shows 'the address' ' 10.9.8.7 ')$(shows 'the model' 'Model        : inet 10.9.8.7 system')"
