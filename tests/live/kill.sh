#!/usr/bin/env bash
# Killed at any moment, a saved log ends in a whole interval or in a tail that begins after one, and intervals are counted
# without a gap. KILLS: how often (200).
set -u

wyrt=${WYRT:?WYRT must name the program}
kills=${KILLS:-200}
sandbox=$(mktemp -d) || exit 1
run=''
trap 'kill -9 $run 2>/dev/null; rm -rf "$sandbox"' EXIT

# What is wrong with a log: intervals begin with ^TIME and the next number, end with ^END_OF_INTERVAL$, and nothing but
# the last one may be cut.
fault() {
    awk -F, '
        /^\^TIME,/ && /\$$/ {
            if (open) { print "interval " number " has no end"; exit }
            if ($3 != number + 1) { print "interval " $3 " follows " number + 0; exit }
            number = $3; open = 1
        }
        /^\^END_OF_INTERVAL\$$/ {
            if (!open) { print "an end without a beginning after interval " number + 0; exit }
            open = 0; whole++
        }
        /^\^(BASIC|CPU|PROCINFO|PID),/ && !open { print "a record outside of an interval after " number + 0; exit }
        END { print whole + 0 > "/dev/stderr" }' "$1" 2>"$sandbox/whole"
}

why='' whole=0
for ((i = 0; i < kills; i++)); do
    "$wyrt" -Z -b -r -p 24 -T 0 -i 1 >"$sandbox/log" 2>/dev/null &
    run=$!
    sleep "$(printf '0.%02d' $((RANDOM % 20 + 5)))" # up to a quarter of a second, the start among it
    kill -9 "$run"
    wait "$run" 2>/dev/null
    run=''
    found=$(fault "$sandbox/log")
    if [ -n "$found" ]; then why="kill $i: $found"; break; fi
    whole=$((whole + $(cat "$sandbox/whole")))
done
if [ -z "$why" ]; then echo "ok whole intervals"; else echo "not ok whole intervals: $why"; fi
if ((whole >= kills)); then echo "ok intervals were saved"; else echo "not ok intervals were saved: only $whole"; fi
