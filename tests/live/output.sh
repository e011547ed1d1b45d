#!/usr/bin/env bash
# Where the output may go: a file, a full disk, a pipe that closes, nowhere. The run goes on or ends as it should, and
# never turns without pause.
# shellcheck disable=SC2016 # the commands are for another shell
set -u

folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
trap 'exit 1' INT TERM

ok() { echo "ok $1"; }
bad() { echo "not ok $1: $2"; }

# run STATUS NAME COMMAND: a shell command in which $WYRT is the program; it must end by itself.
run() {
    local status
    timeout 20 bash -c "$3" 2>"$folder/errors"
    status=$?
    if ((status == $1)); then ok "$2"; else bad "$2" "status $status"; fi
}

options='-b -r -c 3 -i 100'
export WYRT folder options

run 0 'into a file' '$WYRT $options >"$folder/out"'
if [ "$(grep -c '^TIME : ' "$folder/out")" = 3 ] && [ "$(tail -n 1 "$folder/out")" = Complete ]; then
    ok 'the file is whole'
else
    bad 'the file is whole' "$(tail -n 1 "$folder/out")"
fi
run 0 'onto a full disk' '$WYRT $options >/dev/full'
run 0 'with standard output closed' '$WYRT $options >&-'
run 0 'with all three streams closed' '$WYRT $options <&- >&- 2>&-'
run 0 'without an input' '$WYRT $options </dev/null >/dev/null'

# SIGPIPE (13) ends it: nobody would read what follows.
run 0 'into a pipe that closes' 'bash -c "$WYRT -b -c 1000000 -i 50; echo \$? >$folder/status" | head -n 40 >/dev/null'
for ((i = 0; i < 100; i++)); do
    [ -s "$folder/status" ] && break
    sleep 0.1
done
if [ "$(cat "$folder/status" 2>/dev/null)" = 141 ]; then ok 'the closed pipe ends it'; else bad 'the closed pipe ends it' "$(cat "$folder/status" 2>/dev/null)"; fi

# With SIGPIPE ignored it goes on without an output, and at its own pace: 20 pauses of 0.1 s and next to no work.
run 0 'with the signal ignored' 'trap "" PIPE; TIMEFORMAT=%U+%S+%R; { time $WYRT -b -c 20 -i 100 2>/dev/null | true; } 2>"$folder/time"'
IFS=+ read -r user system wall <"$folder/time"
if awk -v u="$user" -v s="$system" -v w="$wall" 'BEGIN { exit !(w >= 2 && u + s < w / 2) }'; then
    ok 'the pace is kept'
else
    bad 'the pace is kept' "$user + $system s of $wall s"
fi

# A reader behind a pipe has each interval at once: the first one long before the run ends.
intervals() {
    local line
    while IFS= read -r line; do
        case $line in
            ^END_OF_INTERVAL*) echo "$line" && return ;;
        esac
    done
}
SECONDS=0
exec {pipe}< <(exec "$WYRT" -Z -b -c 1000 -i 300)
program=$!
if [ "$(intervals <&"$pipe")" = '^END_OF_INTERVAL$' ] && ((SECONDS < 10)); then ok 'interval by interval'; else bad 'interval by interval' "$SECONDS s"; fi

# Killed in a pause it leaves whole lines and nothing half.
kill "$program" 2>/dev/null
rest=$(cat <&"$pipe")
exec {pipe}<&-
last=$(tail -n 1 <<<"$rest")
if [ -z "$rest" ] || [ "$last" = '^END_OF_INTERVAL$' ]; then ok 'killed between intervals'; else bad 'killed between intervals' "$last"; fi
