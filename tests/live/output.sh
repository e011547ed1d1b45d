#!/usr/bin/env bash
# Sends the output to a file, a full disk, a pipe that is closed, and nowhere. The run must go on or end as it should,
# and must never loop without a pause.
# shellcheck disable=SC2016 # another shell expands the commands
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"

folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
trap 'exit 1' INT TERM

# run STATUS NAME COMMAND: runs a shell command, in which $WYRT is the program. It must end by itself with this status.
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

# SIGPIPE (13) must end it, because nobody would read the rest.
run 0 'into a pipe that closes' 'bash -c "$WYRT -b -c 1000000 -i 50; echo \$? >$folder/status" | head -n 40 >/dev/null'
for ((i = 0; i < 100; i++)); do
    [ -s "$folder/status" ] && break
    sleep 0.1
done
if [ "$(cat "$folder/status" 2>/dev/null)" = 141 ]; then ok 'the closed pipe ends it'; else bad 'the closed pipe ends it' "$(cat "$folder/status" 2>/dev/null)"; fi

# With SIGPIPE ignored it must go on without output and keep its pauses: 20 of 0.1 s, with very little work.
run 0 'with the signal ignored' 'trap "" PIPE; TIMEFORMAT=%U+%S+%R; { time $WYRT -b -c 20 -i 100 2>/dev/null | true; } 2>"$folder/time"'
IFS=+ read -r user system wall <"$folder/time"
if awk -v u="$user" -v s="$system" -v w="$wall" 'BEGIN { exit !(w >= 2 && u + s < w / 2) }'; then
    ok 'the pace is kept'
else
    bad 'the pace is kept' "$user + $system s of $wall s"
fi

# A program that reads from a pipe must get each interval at once, the first one long before the run ends.
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

# When it is killed in a pause, no interval may be cut.
kill "$program" 2>/dev/null
rest=$(cat <&"$pipe")
exec {pipe}<&-
last=$(tail -n 1 <<<"$rest")
if [ -z "$rest" ] || [ "$last" = '^END_OF_INTERVAL$' ]; then ok 'killed between intervals'; else bad 'killed between intervals' "$last"; fi

# A small filesystem fills up: the run must keep its pauses, and store its output again when there is room.
cat >"$folder/small.sh" <<'END'
mkdir "$folder/small" && mount -t tmpfs -o size=128k wyrt-small "$folder/small" || exit 3
dd if=/dev/zero of="$folder/small/other" bs=64k count=1 status=none
$WYRT -Z -b -r -p 24 -i 20 >"$folder/small/log" &
program=$!
free() { stat -f -c %f "$folder/small"; }
wait_for() { for ((i = 0; i < 1000; i++)); do eval "$1" && return; sleep 0.02; done; echo "no $2"; kill "$program"; exit; }
spent() { read -r -a f <"/proc/$program/stat" && echo "$((f[13] + f[14]))"; }
wait_for '(($(free) == 0))' 'full filesystem'
before=$(spent)
sleep 1
after=$(spent)
kill -0 "$program" || echo "ended on a full filesystem"
# The CPU ticks of one second. A run without pauses would use all of them, 100 to 1000.
((after - before < $(getconf CLK_TCK) / 2)) || echo "$((after - before)) ticks in a second"
size=$(stat -c %s "$folder/small/log")
rm "$folder/small/other"
wait_for '(($(stat -c %s "$folder/small/log") > size + 4096))' 'more in the log'
kill "$program"
wait "$program" 2>/dev/null
# One record is cut, where the room ended.
cut=$(tail -c +"$((size + 1))" "$folder/small/log" | grep '^^' | grep -vc '\$$')
((cut <= 1)) || echo "$cut cut records"
END
for user in --mount --map-root-user; do
    said=$(timeout 60 unshare "$user" --mount bash "$folder/small.sh" 2>/dev/null)
    status=$?
    ((status == 0)) && break
done
if ((status != 0)); then
    echo "skip a filesystem that fills up: none can be mounted"
elif [ -z "$said" ]; then
    ok 'a filesystem that fills up'
else
    bad 'a filesystem that fills up' "${said%%$'\n'*}"
fi
