#!/usr/bin/env bash
# Compares the open files of `wyrt record file` with processes that move files by known amounts, and their positions
# with those of lsof.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"
export LC_ALL=C

wyrt=${WYRT:?WYRT must name the program}
filer=${wyrt%/*}/live-filer
[ -x "$filer" ] || { echo "skip new-file: there is no $filer"; exit 0; }
sandbox=$(mktemp -d) || exit 1
program=
work=
trap '[ -n "$program" ] && kill "$program" 2>/dev/null; [ -n "$work" ] && kill "$work" 2>/dev/null; rm -rf "$sandbox"' EXIT

# cells KIND FIELD... : these fields of the log's lines of a kind, by the names of its head; "-" for an empty one.
cells() {
    awk -F, -v kind="$1" -v names="${*:2}" '
        $1 == "#" kind { for (i = 1; i <= NF; i++) at[$i] = i; n = split(names, wanted, " ") }
        $1 == kind { for (i = 1; i <= n; i++) { cell = $at[wanted[i]]; printf "%s%s", cell == "" ? "-" : cell, i < n ? " " : "\n" } }' "$sandbox/log"
}
await_end() { # COUNT: until the log has so many intervals
    local tries
    for ((tries = 0; tries < 500; tries++)); do
        [ -s "$sandbox/log" ] && (($(grep -c '^END,' "$sandbox/log") > $1)) && return
        sleep 0.02
    done
}

coproc WORK { exec "$filer" "$sandbox"; }
work=$WORK_PID
roles=
while read -r line <&"${WORK[0]}"; do
    [ "$line" = ready ] && break
    roles+=$line$'\n'
done
[ "$line" = ready ] || { bad new-file "the writers could not be started"; exit 0; }

"$wyrt" record file -i 250ms -c 40 -o "$sandbox/log" 2>"$sandbox/errors" &
program=$!
await_end 1
rounds=6
for ((round = 0; round < rounds; round++)); do
    echo go >&"${WORK[1]}"
    read -r _ <&"${WORK[0]}"
    sleep 0.15
done
# A running task's CPU clock lags, so activity may show one sample late: three more.
await_end $(($(grep -c '^END,' "$sandbox/log") + 3))
command -v lsof >/dev/null && while read -r role pid fd _; do
    [ -n "$role" ] && lsof -w -n -P -o -a -p "$pid" -d "$fd" -F o 2>/dev/null | sed -n "s/^o0t/$pid $fd /p"
done <<<"$roles" >"$sandbox/lsof"
kill -INT "$program"
wait "$program" || bad new-file "record ended with $?: $(head -n 1 "$sandbox/errors")"
program=

cells FILE pid fd forward backward mark evidence position growth name deleted path >"$sandbox/files"
why=
while read -r role pid fd bytes path; do
    [ "$role" = parent ] && { grep -q "^$pid $fd " "$sandbox/files" && why="the sharer's parent, which slept, has a row"; continue; }
    [ -n "$role" ] || continue
    read -r forward back marks evidence growth last <<<"$(awk -v pid="$pid" -v fd="$fd" '
        $1 == pid && $2 == fd { forward += $3; back += $4; marks = marks $5; if (!index(seen, $6)) seen = seen $6; growth += $8; last = $11 }
        END { print forward + 0, back + 0, marks == "" ? "-" : marks, seen == "" ? "-" : seen, growth + 0, last }' "$sandbox/files")"
    [ "$forward" = $((bytes * rounds)) ] || why="$role moved $((bytes * rounds)) bytes, record has $forward"
    [ "$back" = 0 ] || why="$role was never wound back, record has $back"
    case $role in
    database)
        # What is written to files in memory is no storage.
        [ "$(stat -f -c %T "$sandbox")" = tmpfs ] && continue
        [ "$evidence" = written ] || why="the database's evidence is $evidence"
        [ "$growth" = $((8192 * (2 * rounds - 1))) ] || why="the database grew by $growth"
        ;;
    *)
        [ "$evidence" = moved ] || why="$role: $evidence"
        # Positions are read a moment after what the process has read and written. A round in between is inferred.
        [[ $marks == *=* ]] || why="$role is never exact: $marks"
        ;;
    esac
    [ "$last" = "$path" ] || why="$role: path $last instead of $path"
    grep -q "^$pid $fd .* f-$role $([ "$role" = deleted ] && echo 1 || echo 0) " "$sandbox/files" || why="$role: name or deleted mark is wrong"
done <<<"$roles"
verdict new-file-known-writers "$why"

if [ -s "$sandbox/lsof" ]; then
    # The last position of each that moved. The parent's is that of the child with which it shares the file.
    awk '$3 != "-" { last[$1 " " $2] = $7 } END { for (i in last) print i, last[i] }' "$sandbox/files" | sort >"$sandbox/positions"
    why=
    known=0
    while read -r pid fd position; do
        grep -q "^$pid $fd " "$sandbox/positions" || continue
        known=$((known + 1))
        grep -qx "$pid $fd $position" "$sandbox/positions" || why="lsof has $position for $pid $fd, record $(grep "^$pid $fd " "$sandbox/positions")"
    done <"$sandbox/lsof"
    [ "$known" -ge 5 ] || why="only $known positions could be compared"
    verdict new-file-lsof "$why"
else
    echo "skip new-file-lsof: there is no lsof"
fi
