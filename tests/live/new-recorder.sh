#!/usr/bin/env bash
# wyrt record --dir: the files of a folder, its bounds, a killed recorder, a second one, a full disk, a disk that is gone.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"
in_namespaces new-recorder

wyrt=${WYRT:?WYRT must name the program}
sandbox=$(mktemp -d) || exit 1
device=''
recorder=''
cleanup() {
    [ -n "$recorder" ] && kill -9 "$recorder" 2>/dev/null
    umount "$sandbox"/mounted* 2>/dev/null
    [ -n "$device" ] && losetup -d "$device" 2>/dev/null
    rm -rf "$sandbox"
}
trap cleanup EXIT
cd "$sandbox" || exit 1
export LC_ALL=C
mkdir config
exec </dev/null
record=("$wyrt" record --config config --keep-free 0) # no function, so that $! is its process

# figure NAME LOG...: of wyrt info.
figure() { "$wyrt" info --check "${@:2}" 2>&1 | sed -n "s/^$1 *\([0-9]*\).*/\1/p"; }
# await COMMAND...: until it succeeds, for ten seconds.
await() {
    local i
    for ((i = 0; i < 200; i++)); do
        "$@" >/dev/null 2>&1 && return 0
        sleep 0.05
    done
    return 1
}
# problem LOG...: prints what is wrong with logs that must be whole, of one run; damage LOG...: of several, between which
# there may be gaps.
problem() { complaints 'gaps damaged' "$@"; }
damage() { complaints damaged "$@"; }
complaints() {
    local names=$1 name value text
    shift
    text=$("$wyrt" info --check "$@" 2>&1) || echo "info fails: ${text##*$'\n'}"
    for name in $names; do
        value=$(sed -n "s/^$name *\([0-9]*\).*/\1/p" <<<"$text")
        [ "$value" = 0 ] || echo "$name: $value"
    done
    grep -q 'cut short' <<<"$text" && echo 'cut short'
}

# --- Files

"${record[@]}" cpu self --dir logs -i 20ms -c 40 2>err || echo "status $?" >>err
why=$(<err)
file=$(readlink logs/current.wyrt)
[[ $file =~ ^[A-Za-z0-9._-]+-[0-9]{8}T[0-9]{6}Z\.wyrt$ ]] || why="current.wyrt leads to '$file'"
[ "$(stat -c %a "logs/$file")" = 640 ] || why="its mode is $(stat -c %a "logs/$file")"
[ "$(id -u)" != 0 ] || ! getent group adm >/dev/null || [ "$(stat -c %G "logs/$file")" = adm ] ||
    [ -n "$(sed -n '/^ *0 *[0-9]* *1$/p' /proc/self/uid_map)" ] || why="its group is $(stat -c %G "logs/$file")"
[ "$(figure intervals logs)" = 40 ] || why="$(figure intervals logs) intervals instead of 40"
verdict 'recorder: a folder of logs' "${why:-$(problem logs)}"

# The next one compresses what the last one has left, where the program for it is there.
"${record[@]}" cpu --dir logs -i 100ms -c 12 2>err
why=$(<err)
if [ -x "${wyrt%/*}/wyrtlog" ]; then
    [ -e "logs/$file.zst" ] || why="no $file.zst: $(echo logs/*)"
    [ ! -e "logs/$file" ] || why="$file is still there"
    [ "$(stat -c %a "logs/$file.zst")" = 640 ] || why="its mode is $(stat -c %a "logs/$file.zst")"
fi
[ "$(figure intervals logs)" = 52 ] || why="$(figure intervals logs) intervals instead of 52"
verdict 'recorder: closed files are compressed' "${why:-$(damage logs)}"

# --- Bounds

mkdir bounded
echo mine >bounded/default.log
echo mine >bounded/day.wyrt
"${record[@]}" all --dir bounded -i 50ms -c 120 --max-use 1M 2>err &
recorder=$!
largest=0
while kill -0 "$recorder" 2>/dev/null; do
    bytes=$(find bounded -name '*-*Z*.wyrt*' -printf '%s\n' 2>/dev/null | awk '{ sum += $1 } END { print sum + 0 }')
    ((bytes > largest)) && largest=$bytes
    sleep 0.02
done
wait "$recorder"
recorder=''
why=$(<err)
((largest <= 1 << 20)) || why="$largest bytes were in the folder"
files=$(find bounded -name '*Z*.wyrt*' | wc -l)
((files > 2)) || why="only $files files"
[ "$(<bounded/default.log)$(<bounded/day.wyrt)" = minemine ] || why="files of others have changed"
rm -f bounded/day.wyrt
verdict 'recorder: size' "${why:-$(problem bounded)}"

touch bounded/db7-20200101T000000Z.wyrt.zst bounded/db7-20200101T010000Z.wyrt
"${record[@]}" cpu --dir bounded -i 20ms -c 1 --max-age 1d 2>err
why=$(<err)
compgen -G "bounded/db7-*" >/dev/null && why="old files are still there"
verdict 'recorder: age' "$why"

# --- Options in files

printf '# of this host\nmax-use = 3M\ninterval = 30ms\nareas = cpu mem\n' >config/local.conf
"${record[@]}" --dir configured -c 3 2>err
why=$(<err)
grep -q '^VIEW,.*cpu mem' configured/current.wyrt || why='the areas are not those of the file'
echo 'max-uze = 1M' >config/other.conf
"${record[@]}" --dir configured -c 3 2>err && why='a wrong option is taken'
grep -q "^wyrt: config/other.conf:1: there is no option 'max-uze'; the nearest is max-use" err || why="it says: $(<err)"
rm config/*.conf
verdict 'recorder: options in files' "$why"

# --- A killed recorder, and a second one

"${record[@]}" cpu --dir killed -i 50ms 2>err &
recorder=$!
why=''
await test -s killed/current.wyrt || why='nothing is recorded'
sleep 1
"${record[@]}" cpu --dir killed -i 50ms -c 2 2>second && why='a second recorder runs'
[ "$(<second)" = "wyrt: 'killed' has a recorder already" ] || why="the second one says: $(<second)"
verdict 'recorder: one a folder' "$why"

intervals() { grep -c '^END,[^,]*,[^,]*,[1-9]' "$1"; }
file=$(readlink killed/current.wyrt)
before=$(intervals "killed/$file")
sleep 0.5
written=$(intervals "killed/$file")
kill -9 "$recorder"
wait "$recorder" 2>/dev/null
recorder=''
after=$(intervals "killed/$file")
why=''
((after >= written && written > before)) || why="$before, then $written intervals, $after when it was killed"
printf 'CPU,2026-11-21T14:05' >>"killed/$file" # as if it had been writing
"${record[@]}" cpu --dir killed -i 100ms -c 12 2>err
[ -s err ] && why=$(<err)
[ "$(figure intervals killed)" = $((after + 12)) ] || why="$(figure intervals killed) intervals, not $after and 12"
[ ! -x "${wyrt%/*}/wyrtlog" ] || [ -e "killed/$file.zst" ] || why="$(echo killed/*)"
"$wyrt" info --check killed 2>&1 | grep -q 'cut short' && why='its end is still cut short'
verdict 'recorder: killed' "$why"

# --- A full disk

# seconds LOG: of all intervals together.
seconds() { awk -F, '/^END,/ { sum += $3 } END { printf "%.1f", sum }' "$1"; }

mkdir mounted-tmpfs
if mount -t tmpfs -o size=1m tmpfs mounted-tmpfs 2>/dev/null; then
    "${record[@]}" cpu self --dir mounted-tmpfs/logs -i 50ms 2>err &
    recorder=$!
    await test -s mounted-tmpfs/logs/current.wyrt
    sleep 0.5
    head -c 2m /dev/zero >mounted-tmpfs/other 2>/dev/null
    full=$(intervals mounted-tmpfs/logs/current.wyrt)
    sleep 2
    last=$(intervals mounted-tmpfs/logs/current.wyrt)
    torn=$(tail -n 1 mounted-tmpfs/logs/current.wyrt | cut -c 1-4)
    rm mounted-tmpfs/other
    sleep 2.5
    kill "$recorder"
    wait "$recorder" || echo "status $?" >>err
    recorder=''
    log=mounted-tmpfs/logs/current.wyrt
    # Up to a block of it had room still; 2 seconds have 40 intervals.
    why=''
    ((last - full <= 12)) || why="$((last - full)) intervals found room on a full disk"
    [ "$torn" = END, ] || why='half an interval is on the full disk'
    grep -q 'No space left on device; the next interval is longer' err || why="it says: $(<err)"
    unwritten=$(awk -F, '/^#SELF,/ { for (i = 1; i <= NF; i++) if ($i == "unwritten") at = i } /^SELF,/ { sum += $at } END { print sum + 0 }' "$log")
    ((unwritten > 10)) || why="self counts $unwritten intervals that found no room"
    [ "$(awk -F, '/^END,/ && $3 > 1.5' "$log" | wc -l)" = 1 ] || why='not one longer interval'
    awk -v s="$(seconds "$log")" 'BEGIN { exit !(s >= 5) }' || why="only $(seconds "$log") s are covered"
    verdict 'recorder: a full disk' "${why:-$(problem "$log")}"
    umount mounted-tmpfs
else
    echo 'skip recorder, a full disk: no filesystem can be mounted'
fi

# --- A disk as it was in the middle of writing

# now: milliseconds since 1970.
now() { date +%s%3N; }

mkdir mounted-disk mounted-copy
truncate -s 64M disk
if mkfs.ext4 -q disk 2>/dev/null && device=$(losetup -f --show disk 2>/dev/null) && mount "$device" mounted-disk; then
    "${record[@]}" all --dir mounted-disk/logs -i 100ms --sync 2s 2>err &
    recorder=$!
    why=''
    await test -s mounted-disk/logs/current.wyrt || why='nothing is recorded'
    for copy in 1 2 3; do
        sleep 2.3
        begun=$(now)
        cp disk copy
        if mount -o loop copy mounted-copy 2>mount.err; then
            last=$(cat mounted-copy/logs/*.wyrt 2>/dev/null | sed -n 's/^END,\([^,]*\),[^,]*,[1-9].*/\1/p' | tail -n 1)
            [ -n "$last" ] || last=1970-01-01
            lost=$((begun - $(date -d "$last" +%s%3N)))
            ((lost <= 2000)) || why="copy $copy has lost $lost ms, more than --sync"
            [ "$(figure damaged mounted-copy/logs)" = 0 ] || why="copy $copy has damaged intervals"
            umount mounted-copy
        else
            why="copy $copy cannot be mounted: $(<mount.err)"
        fi
    done
    kill "$recorder"
    wait "$recorder"
    recorder=''
    verdict 'recorder: a disk that is cut off' "${why:-$(<err)}"
    umount mounted-disk
else
    echo 'skip recorder, a disk that is cut off: no loop device can be used'
fi
