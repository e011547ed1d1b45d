#!/usr/bin/env bash
# Which form of the program the first argument chooses.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"

wyrt=${WYRT:?WYRT must name the program}
sandbox=$(mktemp -d) || exit 1
trap 'rm -rf "$sandbox"' EXIT
cd "$sandbox" || exit 1

# run ARGUMENT...: output in `out`, messages in `err`, `status`
run() {
    "$wyrt" "$@" >out 2>err </dev/null
    status=$?
}

run --version
why=
[[ $(<out) =~ ^wyrt\ [0-9]+\.[0-9]+\.[0-9]+$ ]] || why="said $(<out)"
((status == 0)) || why="status $status"
verdict 'version' "$why"

run --help
why=
grep -q '^  show ' out || why='no command show'
(($(wc -l <out) <= 24)) || why="$(wc -l <out) lines"
((status == 0)) || why="status $status"
verdict 'help' "$why"

for word in shwo sho shows xhow; do
    run "$word" -b -c 1 -i 100
    why=
    ((status == 2)) || why="status $status"
    [ -s out ] && why='it ran'
    [[ $(wc -l <err) == 1 && $(<err) == *"'$word'; the nearest is show"* ]] || why="said $(<err)"
    verdict "nearly a command: $word" "$why"
done

# The classic form takes no notice of operands, so its lines must be the same with and without.
run -b -r -c 1 -i 100
grep '^ *[A-Z]' out | sed 's/[0-9].*//' >without
for word in whale ./show fleet disk; do
    run "$word" -b -r -c 1 -i 100
    why=
    ((status == 0)) || why="status $status"
    grep '^ *[A-Z]' out | sed 's/[0-9].*//' | cmp -s - without || why='other lines'
    [ -s err ] && why="said $(<err)"
    verdict "classic with the operand $word" "$why"
done

run -b --help -c 1 -i 100
why=
grep -q "unrecognized option '--help'\|invalid option" err || why="said $(<err)"
verdict 'a later --help is classic' "$why"

# --- A full disk takes no help

if [ -c /dev/full ]; then
    for words in --help --version 'live --help' 'show --help' check; do
        # shellcheck disable=SC2086 # several words
        "$wyrt" $words >/dev/full 2>err </dev/null
        status=$? why=
        [[ $(<err) == 'wyrt: the output takes no more: No space left on device' ]] || why="said $(<err)"
        ((status == 1)) || why="status $status"
        verdict "$words on a full disk" "$why"
    done
fi

# --- The other program: beside this one, then in ../libexec/wyrt, then in PATH

mkdir -p at/bin at/libexec/wyrt path
cp "$wyrt" at/bin/wyrt
run_copy() { PATH=$sandbox/path:$PATH at/bin/wyrt "$@" >out 2>err </dev/null; status=$?; }
if ! command -v wyrtlog >/dev/null; then
    run_copy show x
    why=
    [[ $(wc -l <err) == 1 && $(<err) == 'wyrt: wyrtlog, which does show, cannot be started: '* ]] || why="said $(<err)"
    ((status == 1)) || why="status $status"
    verdict 'the other program is missing' "$why"
fi
for place in path at/libexec/wyrt at/bin; do
    printf '#!/bin/sh\necho "%s: $*"\nexit 7\n' "$place" >"$place/wyrtlog"
    chmod +x "$place/wyrtlog"
    run_copy show a 'b c' --d
    why=
    [[ $(<out) == "$place: show a b c --d" ]] || why="said $(<out) $(<err)"
    ((status == 7)) || why="status $status"
    verdict "the other program in $place" "$why"
done
chmod -x at/bin/wyrtlog at/libexec/wyrt/wyrtlog path/wyrtlog
run_copy info
why=
[[ $(<err) == *'Permission denied' ]] || why="said $(<err)"
((status == 1)) || why="status $status"
verdict 'the other program may not be run' "$why"
