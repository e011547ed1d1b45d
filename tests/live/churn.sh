#!/usr/bin/env bash
# Hundreds of processes and sockets start and end each second while the program samples them. It must run to its end,
# print no errors about processes that have just ended, agree with /proc before and after, and neither grow nor leak
# descriptors. PASSES: number of samples (500). SLACK: how many processes others may start or end meanwhile (40).
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"

wyrt=${WYRT:?WYRT must name the program}
passes=${PASSES:-500} slack=${SLACK:-40}
sandbox=$(mktemp -d) || exit 1
run='' worker=''
trap 'kill $run $worker 2>/dev/null; rm -rf "$sandbox"' EXIT

# Sets `processes` and `threads` to their present numbers.
count() {
    processes=0 threads=0
    local status key value
    for status in /proc/[0-9]*/status; do
        while read -r key value _; do
            [[ $key == Threads: ]] && processes=$((processes + 1)) threads=$((threads + value))
        done 2>/dev/null <"$status"
    done 2>/dev/null
}

# await N: waits for the summary of interval N and sets `total` and `total_threads` to its figures.
await() {
    local line=''
    total=-1 total_threads=-1
    until line=$(awk -v mark="/#$1]" 'index($0, mark) { seen = 1 } seen && /^Total/ { print; exit }' "$sandbox/out") &&
        [ -n "$line" ]; do
        kill -0 "$run" 2>/dev/null || return
        sleep 0.05
    done
    [[ $line =~ Process#\ :\ ([0-9]+),\ Thread#\ :\ ([0-9]+) ]] || return
    total=${BASH_REMATCH[1]} total_threads=${BASH_REMATCH[2]}
}

disagreement() { # prints a reason when the last summary and the last count are too far apart
    local off=$((total - processes)) off_threads=$((total_threads - threads))
    if ((${off#-} > slack || ${off_threads#-} > slack)); then
        echo "$total processes and $total_threads threads, /proc has $processes and $threads"
    fi
}

# Sets `memory` (KB) and `descriptors` to those of the program.
measure() {
    memory=$(awk '$1 == "VmRSS:" { print $2 }' "/proc/$run/status")
    descriptors=$(find "/proc/$run/fd" -type l | wc -l)
}

# Starts and ends processes and sockets until it is killed.
churn() {
    while :; do
        for _ in {1..10}; do
            (exec 3<>/dev/udp/127.0.0.1/9; read -rt 0.01 <&3) 2>/dev/null &
            (exec 3</dev/null) &
        done
        wait
    done
}

# Keeps the lines that are checked. "Permission denied" is printed in every pass for files that this user may not read,
# and is no fault. Nor is "No such process", which the kernel sometimes returns for a process that is just ending.
filter() {
    grep -a --line-buffered -E '^TIME|^Total|Created|\[ERROR\]|^Complete' |
        grep -a --line-buffered -v -e 'Permission denied' -e 'No such process' >"$sandbox/out"
}

: >"$sandbox/out"
"$wyrt" -p 24 -f -k -o 10 -R 0 -i 5 -c "$passes" 2>"$sandbox/err" > >(filter) &
run=$!

await 3
count
verdict start "$(disagreement)"

churn &
worker=$!
await 20
measure
before=$memory open_before=$descriptors
await $((passes - 60))
measure
kill "$worker"
wait "$worker" 2>/dev/null
worker=''
why=
# The first samples allocate the buffers. A sample larger than all before may enlarge them a little.
((memory * 100 <= before * 101 + 12800)) || why="from $before KB to $memory KB"
verdict memory "$why"
why=
((descriptors <= open_before + 4)) || why="from $open_before to $descriptors"
verdict descriptors "$why"

await $((passes - 1))
count
verdict end "$(disagreement)"

wait "$run"
status=$?
run=''
sleep 0.2 # for the filter to write its last lines
why=
((status == 0)) || why="status $status"
[[ $(tail -n 1 "$sandbox/out") == Complete ]] || why="the last line is not Complete"
verdict complete "$why"
why=
created=$(grep -a -c '++++ Created' "$sandbox/out")
((created >= 20)) || why="only $created created processes were seen"
verdict churn "$why"
verdict messages "$(grep -a '\[ERROR\]' "$sandbox/out" | head -n 1)"
# On standard error the program reports threads that end before they are read, and the shell reports missing tools.
# Nothing else may be there.
verdict 'standard error' "$(grep -a -v '/task.*: No such file or directory$' "$sandbox/err" |
    grep -a -Ev '^sh: (line )?[0-9]+: [a-z_]+: ((command )?not found|Permission denied)$' | head -n 1)"
