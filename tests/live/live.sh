#!/usr/bin/env bash
# live and record on this kernel: their ends, their grid, what they write.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"

wyrt=${WYRT:?WYRT must name the program}
sandbox=$(mktemp -d) || exit 1
run=''
trap '[ -n "$run" ] && kill -9 "$run" 2>/dev/null; rm -rf "$sandbox"' EXIT
cd "$sandbox" || exit 1

ends() { grep -c '^END,' "$1"; }
await_lines() { # FILE COUNT: until it has so many lines
    local tries
    for ((tries = 0; tries < 500; tries++)); do
        (($(wc -l <"$1" 2>/dev/null || echo 0) >= $2)) && return
        sleep 0.02
    done
}

"$wyrt" live cpu -c 3 -i 100ms >out 2>err </dev/null
status=$?
why=
((status == 0)) || why="status $status"
[ -s err ] && why="said $(head -n 1 err)"
(($(grep -c '^CPU' out) == 3)) || why="$(grep -c '^CPU' out) tables instead of 3"
grep -q $'\033' out && why='escape sequences in a file'
verdict 'so many intervals' "$why"

"$wyrt" live cpu 100ms 2 --save log -o tables >out 2>err </dev/null
status=$?
why=
((status == 0)) || why="status $status"
[ -s out ] && why='something on standard output'
(($(grep -c '^CPU' tables) == 2)) || why="$(grep -c '^CPU' tables) tables instead of 2"
(($(ends log) == 3)) || why="$(ends log) ENDs instead of that of the head and 2"
verdict 'tables and a log in files' "$why"

cp log before
"$wyrt" live cpu 100ms 2 --save log >out 2>err </dev/null
why=
cmp -s before <(head -c "$(stat -c %s before)" log) || why='what the log had is not there any more'
(($(ends log) == 6)) || why="$(ends log) ENDs instead of twice those of a head and 2"
echo words >words
"$wyrt" live cpu 100ms 1 --save words >out 2>err </dev/null
(($? == 1)) || why='a file that is no log is taken'
[[ $(<words) == words && $(<err) == "wyrt: 'words' is no log of wyrt, and is left as it is" ]] || why="no log: said $(<err)"
verdict 'a log goes on, and what is none stays' "$why"
rm log

if [ -x "$(dirname -- "$wyrt")/wyrtlog" ]; then
    "$wyrt" live all 100ms 4 --save log >out 2>err </dev/null
    "$wyrt" show log >again 2>>err </dev/null
    why=
    [ -s out ] || why='nothing was shown'
    cmp -s out again || why=$(diff out again | sed -n 2p)
    [ -s err ] && why="said $(head -n 1 err)"
    verdict 'show gives the tables of the log again' "$why"
else
    echo 'skip show gives the tables of the log again: wyrtlog is not beside wyrt'
fi

"$wyrt" record cpu -i 100ms -c 3 >log 2>err </dev/null
status=$?
why=
((status == 0)) || why="status $status"
[[ $(head -n 1 log) == '#wyrt,2,'* ]] || why="begins with $(head -n 1 log)"
(($(grep -c '^CPU,' log) == 3)) || why="$(grep -c '^CPU,' log) rows instead of 3"
[[ $(tail -n 1 log) == END,*,3,* ]] || why="ends with $(tail -n 1 log)"
verdict 'a log to standard output' "$why"

for signal in INT TERM; do
    env --default-signal "$wyrt" record cpu -i 10s -o "log.$signal" 2>err </dev/null &
    run=$!
    sleep 0.5
    kill -s "$signal" "$run"
    wait "$run"
    status=$?
    run='' why=
    ((status == 0)) || why="status $status"
    (($(ends "log.$signal") == 2)) || why="$(ends "log.$signal") ENDs instead of that of the head and 1"
    length=$(tail -n 1 "log.$signal" | cut -d, -f3)
    awk -v s="$length" 'BEGIN { exit !(s > 0.05 && s < 5) }' || why="the last interval has $length s"
    verdict "$signal takes a last, shorter interval" "$why"
done

env --default-signal "$wyrt" live cpu -i 50ms 2>err </dev/null | head -n 3 >out
status=${PIPESTATUS[0]}
why=
((status == 0)) || why="status $status"
[ -s err ] && why="said $(head -n 1 err)"
verdict 'nobody reads on' "$why"

env --default-signal "$wyrt" record cpu -i 50ms 2>err </dev/null | head -n 20 >out
status=${PIPESTATUS[0]}
why=
((status == 0)) || why="status $status"
[ -s err ] && why="said $(head -n 1 err)"
verdict 'nobody reads the log on' "$why"

# --- Limits of this process

(ulimit -n 24 && exec "$wyrt" live all -c 1 -i 50ms >out 2>err </dev/null)
status=$?
why=
((status == 0)) || why="status $status"
[[ $(<err) == 'wyrt: only 24 files may be open (ulimit -n); figures of files beyond them are missing' ]] || why="said $(<err)"
verdict 'few descriptors' "$why"
why=
# In small steps until a little more is there than the libraries need, then in large ones.
began=0
for ((limit = 4000; limit <= 32000; limit += began < 15 ? 20 : 1500)); do
    { (ulimit -v "$limit" && exec "$wyrt" record all -c 2 -i 20ms >out 2>err </dev/null); } 2>/dev/null
    status=$?
    # 127, or with hardly anything 139: not even the libraries found room.
    case "$status $(<err)" in
        127* | '139 ') ((began == 0)) || why="with $limit KB: status $status, but not with less" ;;
        '0 ' | '1 wyrt: there is not enough memory') ((began += 1)) ;;
        *) why="with $limit KB: status $status, $(head -n 1 err)" ;;
    esac
done
((began > 15)) || why="it began with $began limits only"
verdict 'little memory' "$why"

# An interval leaves at once.
mkfifo pipe
"$wyrt" record cpu -i 200ms -c 2 >pipe 2>err </dev/null &
run=$!
exec 3<pipe
before=$(date +%s%N) first=
while IFS= read -r line <&3; do [[ $line == END,*,1,* ]] && first=$(($(date +%s%N) - before)); done
exec 3<&-
wait "$run"
run='' why=
if [ -z "$first" ]; then why='no interval'; elif ((first > 390000000)); then why="after $((first / 1000000)) ms"; fi
verdict 'an interval leaves a pipe at once' "$why"

why=
"$wyrt" live cpu -c 1 -i 50ms >/dev/full 2>err </dev/null
status=$?
((status == 1)) || why="status $status"
[[ $(wc -l <err) == 1 && $(<err) == *'No space left on device' ]] || why="said $(<err)"
verdict 'the output is full' "$why"

why=
"$wyrt" live cpu -c 1 -i 50ms --root /nowhere >out 2>err </dev/null
status=$?
((status == 1)) || why="status $status"
[ -s out ] && why='it ran'
[[ $(<err) == "wyrt: '/nowhere/proc' cannot be read: No such file or directory" ]] || why="said $(<err)"
verdict 'a root without files' "$why"

why=
"$wyrt" live cpu -c 1 -i 50ms --save /nowhere/log >out 2>err </dev/null
status=$?
((status == 1)) || why="status $status"
[ -s out ] && why='it ran'
[[ $(<err) == *"'/nowhere/log' cannot be written: No such file or directory" ]] || why="said $(<err)"
verdict 'a log that cannot be made' "$why"

# --- The grid, while all cores work

workers=()
for ((i = $(nproc); i > 0; i--)); do
    timeout 30 sh -c 'while :; do :; done' &
    workers+=($!)
done
"$wyrt" record self -i 50ms -c 400 >log 2>err </dev/null
status=$?
kill "${workers[@]}" 2>/dev/null
wait 2>/dev/null
# Times of the rows less their number on the grid: what each was late, and what was left out, make up for all of it.
why=$(awk -F, '
    $1 == "#SELF" { for (i = 1; i <= NF; i++) column[$i] = i }
    $1 == "SELF" { rows++; elapsed += $3; skipped += $column["skipped"]; last = $column["late"] / 1e6 }
    END {
        if (rows != 400) print rows " intervals instead of 400"
        expected = (rows + skipped) * 0.05
        drift = elapsed - expected - last
        if (drift > 0.005 || drift < -0.005) print "drifted by " drift " s, " skipped " left out"
    }' log)
((status == 0)) || why="status $status"
verdict 'no drift under load' "$why"

"$wyrt" live cpux 2>err
status=$?
why=
((status == 2)) || why="status $status"
[[ $(<err) == *"'cpux'; the nearest is cpu"* ]] || why="said $(<err)"
verdict 'wrong usage' "$why"
