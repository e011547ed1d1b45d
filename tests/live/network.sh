#!/usr/bin/env bash
# Checks interfaces, protocol counters and filesystems on the real kernel, with a known number of datagrams over
# loopback, a file of known size on a tmpfs of its own, and an interface whose name is a command.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"
export LC_ALL=C

# Uses a mount namespace of its own, if it may make one, so that no mount outlives the run.
if [ -z "${WYRT_LIVE_INSIDE:-}" ] && unshare -m true 2>/dev/null; then
    WYRT_LIVE_INSIDE=1 exec unshare -m bash "${BASH_SOURCE[0]}"
fi

sandbox=$(mktemp -d) || exit 1
program=
finish() {
    [ -n "$program" ] && kill "$program" 2>/dev/null
    mountpoint -q "$sandbox/fs" && umount "$sandbox/fs"
    rm -rf "$sandbox"
}
trap finish EXIT
cd "$sandbox" || exit 1

# during WORK...: runs the program, and does the work after its first interval. "start" gets the records up to the end
# of the first interval. "intervals" gets the next ones, up to the first interval whose TIME is after the end of the
# work.
during() {
    local line done=0 stamp
    coproc { exec "$WYRT" -n 1 -t -m -Z -i 400 2>/dev/null; }
    program=$COPROC_PID
    exec {records}<&"${COPROC[0]}"
    while IFS= read -r line <&"$records"; do
        echo "$line"
        [ "$line" = '^END_OF_INTERVAL$' ] && break
    done >start
    "$@"
    stamp=$(date +%s%3N)
    while IFS= read -r line <&"$records"; do
        echo "$line"
        [[ $line =~ ^\^TIME,([0-9]+),.*,([0-9]{3})\$$ ]] && (("${BASH_REMATCH[1]}${BASH_REMATCH[2]}" > stamp)) && done=1
        ((done)) && [ "$line" = '^END_OF_INTERVAL$' ] && break
    done >intervals
    kill "$program"
    wait "$program" 2>/dev/null
    program=
    exec {records}<&-
}

# sum PATTERN FIELD: prints the sum of a rate over the intervals, as a whole number. A negative FIELD counts from the
# end.
sum() {
    cat start intervals | awk -F, -v pattern="$1" -v field="$2" '
        { sub(/\$$/, "") }
        /^\^TIME,/ { now = $2 + $NF / 1000; seconds = now - before; before = now; n++ }
        n > 1 && index($0, pattern) == 1 { total += (field < 0 ? $(NF + 1 + field) : $field) * seconds }
        END { printf "%.0f\n", total }'
}

between() { # LOW VALUE HIGH WHAT: prints a reason when the value is not in the range
    (("$1" <= "$2" && "$2" <= "$3")) || echo "$4 is $2, not between $1 and $3"
}

loopback() { tr : ' ' </proc/net/dev | awk -v field="$1" '$1 == "lo" { print $field }'; }
datagrams() { awk '/^Udp: [A-Z]/ { for (i = 2; i <= NF; i++) if ($i == "OutDatagrams") at = i; next } /^Udp: / { print $at }' /proc/net/snmp; }

# --- Loopback

Count=60 Size=60000
counters() { echo "$(loopback 2) $(loopback 10) $(loopback 3) $(datagrams)"; }
send() {
    local i
    counters >before
    for ((i = 0; i < Count; i++)); do # a socket for each: after a refused datagram a socket sends no other
        dd bs="$Size" count=1 if=/dev/zero status=none >/dev/udp/127.0.0.1/9
    done
    counters >after
}
# counted NAME FIELD KNOWN RECORD FIELD: the program must have counted at least KNOWN and at least what the kernel
# counted during the work, which includes answers to the datagrams; and at most what the kernel counted from before the
# run to its end. A difference of one is allowed for rounding.
counted() {
    local work=$(($(cut -d' ' -f"$2" after) - $(cut -d' ' -f"$2" before)))
    local run=$(($(cut -d' ' -f"$2" last) - $(cut -d' ' -f"$2" first)))
    verdict "$1" "$(between $(((work > $3 ? work : $3) - 1)) "$(sum "$4" "$5")" $((run + 1)) "$1")"
}
if ! (dd bs=1 count=1 if=/dev/zero status=none >/dev/udp/127.0.0.1/9) 2>/dev/null; then
    echo "skip loopback: nothing can be sent to 127.0.0.1"
else
    counters >first
    during send
    counters >last
    bytes=$((Count * (Size + 28))) # including headers
    counted "bytes received" 1 "$bytes" '^NETIF,lo,' 4
    counted "bytes sent" 2 "$bytes" '^NETIF,lo,' 5
    counted "packets" 3 "$Count" '^NETIF,lo,' 6
    counted "datagrams" 4 "$Count" '^NSTAT,Udp,OutDatagrams,' 4
    if command -v ifconfig >/dev/null && ifconfig lo | grep -q 'inet .*127\.0\.0\.1'; then
        verdict addresses "$(grep -q '^^info,nif,lo,127\.0\.0\.1,255\.0\.0\.0,' start || echo "127.0.0.1 is not listed")"
    else
        echo "skip addresses: no ifconfig, or no address on loopback"
    fi
fi

# --- A filesystem

Bytes=8388608
mkdir fs
store() { dd bs="$Bytes" count=1 if=/dev/zero of=fs/file status=none; }
if [ "$(id -u)" -ne 0 ] || ! mount -t tmpfs -o size=64m,nr_inodes=1000 wyrt-live fs 2>/dev/null; then
    echo "skip filesystem: a tmpfs cannot be mounted"
elif ! grep -q '^wyrt-live ' /etc/mtab; then
    echo "skip filesystem: /etc/mtab does not follow the mounts"
else
    during store
    verdict "filesystem usage" "$(grep -q "^^fsinfo,wyrt-live,67108864,67108864,67108864,1000,999,$sandbox/fs\\$\$" start || echo "listed as $(grep wyrt-live start)")"
    # Rates have no decimals, so each interval may be wrong by half a byte per second.
    verdict "bytes stored" "$(between $((-Bytes - 20)) "$(sum '^FSDELTA,wyrt-live,' 9)" $((-Bytes + 20)) free)"
    verdict "inodes used" "$(grep '^^FSDELTA,wyrt-live,' intervals | grep -v ',1000,998,.*,tmpfs,')"
fi

# --- An interface whose name is a command

kind=
for try in dummy ifb bridge veth; do
    unshare -n ip link add name ';>oops' type $try 2>/dev/null && kind=$try && break
done
if [ -n "$kind" ]; then
    # shellcheck disable=SC2016
    unshare -n bash -c 'ip link add name ";>oops" type "$0" && exec "$WYRT" -n 9 -i 100 -c 1' "$kind" >listed 2>&1
    why=
    grep -q '^ *;>oops ' listed || why="it is not listed"
    [ -e oops ] && why="it ran"
    verdict "names are no commands" "$why"
else
    echo "skip names are no commands: no interface can be made"
fi

# --- Tables

"$WYRT" -n 4 -t -m -i 100 -c 1 >table 2>&1
status=$?
why=
((status)) && why="status $status"
for title in I/F_name 'NETWORK STATISTIC' Use%-2 '^ *Total ' '^Complete$'; do
    grep -q -- "$title" table || why="no $title"
done
verdict tables "$why"
