#!/usr/bin/env bash
# Signals that end the program, signals that only stop and continue it, and signals that it does not notice.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"

wyrt=${WYRT:?WYRT must name the program}
sandbox=$(mktemp -d) || exit 1
run=''
trap 'kill -9 $run 2>/dev/null; rm -rf "$sandbox"' EXIT
cd "$sandbox" || exit 1
ulimit -c 0

intervals() { grep -sc '^^END_OF_INTERVAL\$$' log || [ -e log ] || echo 0; }
await() { # COUNT: waits until there are this many intervals
    local tries
    for ((tries = 0; tries < 1000; tries++)); do
        (($(intervals) >= $1)) && return
        kill -0 "$run" 2>/dev/null || return
        sleep 0.02
    done
}
start() { # OPTION...: starts the program with the default signal actions, as in a terminal
    rm -f log
    env --default-signal "$wyrt" -Z -b -r "$@" >log 2>err &
    run=$!
}

# --- Signals that end it: between two intervals or while one is written, with the signal as status

for signal in TERM INT HUP QUIT PIPE; do
    start -i 50
    await 2
    kill -s "$signal" "$run"
    wait "$run" 2>/dev/null
    status=$?
    run='' why=
    ((status == 128 + $(kill -l "$signal"))) || why="status $status"
    [ "$(tail -n 1 log)" = '^END_OF_INTERVAL$' ] || why="the last line is $(tail -n 1 log)"
    verdict "$signal ends it" "$why"
done

# --- Stopped and continued: it goes on, and the interval includes the time that it was stopped

start -i 100 -c 6
await 2
kill -STOP "$run"
sleep 0.3 # until it has stopped
before=$(intervals)
sleep 1
held=$(intervals)
kill -CONT "$run"
wait "$run"
status=$?
run='' why=
((status == 0)) || why="status $status"
((before == held)) || why="it went on while it was stopped"
(($(intervals) == 6)) || why="$(intervals) intervals instead of 6"
longest=$(awk -F, '/^\^TIME,/ { sub(/\$/, "", $5); now = $2 * 1000 + $5; if (before && now - before > most) most = now - before; before = now } END { print most + 0 }' log)
((longest >= 1000)) || why="the longest interval has $longest ms"
verdict 'stopped and continued' "$why"

# --- Signals that it ignores: they must not shorten the pause

start -i 400 -c 4
await 1
for _ in {1..40}; do
    kill -WINCH "$run" 2>/dev/null
    kill -CONT "$run" 2>/dev/null
    kill -CHLD "$run" 2>/dev/null
    sleep 0.01
done
wait "$run"
status=$?
run='' why=
((status == 0)) || why="status $status"
shortest=$(awk -F, '/^\^TIME,/ { sub(/\$/, "", $5); now = $2 * 1000 + $5; if (before && (!least || now - before < least)) least = now - before; before = now } END { print least + 0 }' log)
(($(intervals) == 4)) || why="$(intervals) intervals instead of 4"
((shortest >= 400)) || why="the shortest interval has $shortest ms"
verdict 'a terminal that changes its size' "$why"

# --- The last interval when nobody reads it

mkfifo pipe
exec {reader}<>pipe
env --default-signal "$wyrt" -Z -b -i 700 -c 1 >pipe 2>err {reader}>&- &
run=$!
exec {end}<pipe
exec {reader}>&-
while IFS= read -r line <&"$end"; do [[ $line == ^disk,* ]] && break; done # the start is flushed before the first pause
exec {end}<&-
wait "$run"
status=$?
run='' why=
((status == 141)) || why="status $status"
[ -s err ] && why="said: $(head -n 1 err)"
verdict 'the end without a reader' "$why"
