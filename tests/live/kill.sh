#!/usr/bin/env bash
# Kills the program at random moments. The saved log, of records or of tables, must end with a whole interval or with
# part of one that follows a whole interval, and its intervals must be numbered without a gap. KILLS: number of kills
# (60).
set -u

wyrt=${WYRT:?WYRT must name the program}
kills=${KILLS:-60}
sandbox=$(mktemp -d) || exit 1
run=''
trap 'kill -9 $run 2>/dev/null; rm -rf "$sandbox"' EXIT

# These two print what is wrong with a log and write the number of whole intervals to "whole". Only the last interval
# may be cut. In records, an interval begins with ^TIME and the next number and ends with ^END_OF_INTERVAL$.
fault_records() {
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
# In tables, an interval is a line of dashes, TIME with the next number, then the tables in their order and a blank
# line. The table of cores is missing when no tick has passed.
fault_tables() {
    awk '
        /^-----------/ { if (parts != "" && parts !~ /^USER MEM (CORE )?Total PID $/) { print "interval " number " has only " parts; exit } parts = "" }
        /^TIME : .*\]$/ {
            n = $NF; sub(/.*#/, "", n); sub(/\]/, "", n)
            if (n != number + 1) { print "interval " n " follows " number + 0; exit }
            if (parts != "") { print "TIME within interval " number + 0; exit }
            number = n
        }
        number && $1 ~ /^(USER|MEM|CORE|Total|PID)$/ { parts = parts $1 " " }
        number && $0 == "" && parts ~ /PID $/ { whole++ }
        END { print whole + 0 > "/dev/stderr" }' "$1" 2>"$sandbox/whole"
}

# kill_often FORM OPTION...: kills half of the runs at any moment from the start on, the others soon after the first
# interval.
kill_often() {
    local form=$1 mark=$2 why='' whole=0 i tries found
    shift 2
    for ((i = 0; i < kills / 2; i++)); do
        # On a slow machine fewer kills are enough.
        ((SECONDS > 60 && i >= 10)) && break
        "$wyrt" "$@" -b -r -p 24 -T 0 -i 1 >"$sandbox/log" 2>/dev/null &
        run=$!
        if ((i % 2)); then
            for ((tries = 0; tries < 1000; tries++)); do
                grep -qs "$mark" "$sandbox/log" && break
                sleep 0.02
            done
            sleep "0.00$((RANDOM % 10))"
        else
            sleep "$(printf '0.%02d' $((RANDOM % 20 + 5)))"
        fi
        kill -9 "$run"
        wait "$run" 2>/dev/null
        run=''
        found=$("fault_$form" "$sandbox/log")
        if [ -n "$found" ]; then why="kill $i: $found"; break; fi
        whole=$((whole + $(cat "$sandbox/whole")))
    done
    if [ -z "$why" ]; then echo "ok whole intervals: $form"; else echo "not ok whole intervals: $form: $why"; fi
    if ((whole >= i / 2)); then echo "ok intervals were saved: $form"; else echo "not ok intervals were saved: $form: only $whole"; fi
}

kill_often records '^^END_OF_INTERVAL' -Z
SECONDS=0
kill_often tables '^TIME : '
