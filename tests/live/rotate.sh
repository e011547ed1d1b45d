#!/usr/bin/env bash
# Saved logs: neither a rotation by renaming nor a stop may lose or cut an interval. A full disk may cost only whole
# intervals.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"

here=$(cd "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
writer=${WYRT%/*}/wyrt-log
sandbox=$(mktemp -d) || exit 1
trap 'rm -rf "$sandbox"' EXIT
cd "$sandbox" || exit 1

# saved LOG COMMAND...: returns when the writer has ended, too, because the writer keeps the pipe to cat open until
# then.
saved() { "$writer" "$@" | cat; return "${PIPESTATUS[0]}"; }

# rotate_while PID LOG: while the process runs, renames the log as soon as it has data.
rotate_while() {
    local n=1000
    while kill -0 "$1" 2>/dev/null; do
        # Like logrotate, which ignores empty and missing logs.
        [ -s "$2" ] && mv "$2" "$2.$((n++))"
        sleep 0.01
    done
    [ -s "$2" ] && mv "$2" "$2.$((n++))"
}

# problem LAST FILE...: prints what is wrong with these logs, which in this order must hold the intervals 1 to LAST
# (any: at least one). An interval begins with its TIME line; the lines before the first one belong to the start-up.
problem() {
    awk -F, -v last="$1" '
        FNR == 1 && NR > 1 && !/^\^TIME,|^Complete$/ { print FILENAME " begins within an interval"; exit }
        FNR == 1 && NR > 1 && open { print FILENAME " follows a file that ends within an interval"; exit }
        /^\^TIME,/ { if (open || $3 != n + 1) { print "interval " $3 " follows " n; exit } n++; open = 1 }
        /^\^END_OF_INTERVAL\$$/ { if (!open) { print "interval " n " ends twice"; exit } open = 0 }
        END {
            if (last == "any" ? n < 1 : n != last) print "the last interval is " n + 0
            else if (open) print "half an interval at the end"
        }
    ' "${@:2}" 2>&1 | head -n 1
}

files_at_least() { # COUNT FILE...: prints a reason when there are fewer
    (($# > $1)) || echo "only $(($# - 1)) files"
}

# --- The program, with other processes coming and going

churn() { for ((i = 0; i < 300; i++)); do /bin/true; sleep 0.005; done; }
churn &
saved run.log "$WYRT" -Z -b -r -i 2 -c 800 &
rotate_while $! run.log
why=$(problem 800 run.log.*)
verdict rotation "${why:-$(files_at_least 20 run.log.*)}"
wait

# --- Byte for byte, at full speed

awk 'BEGIN { for (i = 1; i <= 40000; i++) {
    print "^TIME,1," i ",now,0$"
    for (j = i % 7; j > 0; j--) print "^PID," i "," j ",^END_OF_INTERVAL$" # not the line that ends an interval
    print "^END_OF_INTERVAL$" } }' >input
saved bytes.log cat input &
rotate_while $! bytes.log
why=$(problem 40000 bytes.log.*)
cat bytes.log.* | cmp -s - input || why=${why:-the logs together differ from what was written}
verdict full-speed "${why:-$(files_at_least 3 bytes.log.*)}"

# --- The shipped rule

if command -v logrotate >/dev/null; then
    sed "s|^/var/log/wyrt/|$sandbox/rule/|" "$here/../../packaging/logrotate" >rule.conf
    chmod 644 rule.conf
    mkdir -m 750 rule
    saved rule/run.log "$WYRT" -Z -b -i 5 -c 300 &
    pid=$! why=
    for ((n = 0; n < 60; n++)); do
        kill -0 "$pid" 2>/dev/null || break
        # Twice in a row: the second run finds either the new log or none.
        for once in 1 2; do
            said=$(logrotate -f -s rule.state rule.conf 2>&1) || why=${why:-logrotate ($once): $said}
        done
        [ -e rule/run.log.12.gz ] && break # 14 are kept
    done
    wait "$pid"
    for ((n = 14; n > 1; n--)); do
        [ -e "rule/run.log.$n.gz" ] && zcat "rule/run.log.$n.gz" >"rule/part.$((100 - n))"
    done
    [ -e rule/run.log ] || : >rule/run.log
    why=${why:-$(problem 300 rule/part.* rule/run.log.1 rule/run.log)}
    verdict logrotate "${why:-$(files_at_least 5 rule/part.*)}"
else
    echo "skip logrotate: not installed"
fi

# --- A stop sends the signal to all processes of the service at once

# stopped LOG SECONDS COMMAND...: stops the command this many seconds after the first interval. Returns when the writer
# has ended, which it must do by itself.
stopped() {
    local pid tries
    exec 3< <(exec setsid "$writer" "$1" "${@:3}")
    pid=$!
    for ((tries = 0; tries < 200; tries++)); do
        grep -qs '^^END_OF_INTERVAL' "$1" && break
        sleep 0.02
    done
    sleep "$2"
    kill -TERM -- "-$pid"
    timeout 5 cat <&3 >/dev/null || return
    exec 3<&-
    wait "$pid" 2>/dev/null
}

why=
for seconds in 0 0.1 0.15; do
    rm -f stop.log
    stopped stop.log "$seconds" "$WYRT" -Z -b -i 2
    status=$?
    ((status == 143)) || why=${why:-status $status}
    why=${why:-$(problem any stop.log)}
done
verdict stop "$why"

why=
stopped last.log 0 sh -c 'trap "cat input; exit 0" TERM; tail -n 1 input; while :; do sleep 0.02; done' 2>/dev/null ||
    why="status $?"
{ tail -n 1 input && cat input; } | cmp -s - last.log || why=${why:-what is written after the signal is not in the log}
verdict stop-writes "$why"

# --- No room: a limit on the file size acts like a full disk, and a rename makes room again

(
    ulimit -f 64
    # shellcheck disable=SC2016
    saved full.log sh -c 'head -n 4025 input; sleep 0.3; mv full.log full.log.1; tail -n +4026 input | head -n 4025'
) 2>full.said
ends='^\^END_OF_INTERVAL\$$'
lost=$(awk '/lost intervals: / { sum += $NF } END { print sum + 0 }' full.said)
why=$(awk -v ends="$ends" '
    /^\^TIME,/ { if (open) { print "half an interval in " FILENAME; exit } open = 1 }
    !open { print FILENAME " begins within an interval"; exit }
    $0 ~ ends { open = 0 }' full.log.1 full.log)
((lost > 0 && lost + $(cat full.log.1 full.log | grep -c "$ends") == $(head -n 8050 input | grep -c "$ends"))) ||
    why=${why:-"said that $lost intervals are lost"}
grep -q 'full.log: File too large$' full.said || why=${why:-"said: $(cat full.said)"}
verdict full-disk "$why"

# --- The end of a command, and a log that a crash has left

why=
printf 'half a line' >torn.log
saved torn.log echo whole || why="status $?"
[ "$(cat torn.log)" = $'half a line\nwhole' ] || why="joined lines: $(cat torn.log)"
saved new.log printf 'no newline' || why="status $?"
[ "$(cat new.log)" = 'no newline' ] || why="lost the end: $(cat new.log)"
[ "$(stat -c %a new.log)" = 640 ] || why="mode $(stat -c %a new.log)"
saved new.log sh -c 'exit 3'
(($? == 3)) || why="the status is not the command's"
saved new.log ./missing 2>/dev/null
(($? == 127)) || why="a missing command is not reported"
saved missing/new.log true 2>/dev/null
(($? == 1)) || why="a log that cannot be opened is not reported"
verdict ends "$why"
