#!/usr/bin/env bash
# Compares `wyrt record` with other sources of the same seconds while something writes and allocates: disks with iostat,
# filesystems with df, volumes with lsblk, and pressure, faults, forks and switches with the kernel's counters.
#
# Counters of the whole machine move at any time. They are read before the run and after its first interval, after the
# load and after the run: what the log has must not be more than between the outer two nor less than between the inner
# two. The disk is a loop device that nobody else uses, and the load lies within the run: there figures must be equal,
# but for the digits that iostat prints (1 KiB in all, 0.01 KiB of a write, 0.01 ms of a wait).
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"
export LC_ALL=C

sandbox=$(mktemp -d) || exit 1
program='' other='' loop=''
end() {
    [ -n "$program" ] && kill "$program" 2>/dev/null
    [ -n "$other" ] && kill "$other" 2>/dev/null
    if mountpoint -q "$sandbox/disk" 2>/dev/null; then umount "$sandbox/disk"; fi
    [ -n "$loop" ] && losetup -d "$loop"
    rm -rf "$sandbox"
}
trap end EXIT
cd "$sandbox" || exit 1
: "${WYRT:?}"

# sums KIND ID FIELD... : for each thing of a kind (or "-" where it has no identity) the sums of these fields.
sums() {
    awk -F, -v kind="$1" -v id="$2" -v names="${*:3}" '
        BEGIN { n = split(names, wanted, " ") }
        $1 == "#" kind { for (i = 1; i <= NF; i++) at[$i] = i }
        $1 == kind { key = id == "-" ? "-" : $at[id]; seen[key] = 1; for (i = 1; i <= n; i++) sum[key, i] += $at[wanted[i]] }
        END { for (key in seen) { line = key; for (i = 1; i <= n; i++) line = line " " sprintf("%.0f", sum[key, i]); print line } }' log
}
# last KIND FIELD... : these fields of the last row of each thing, by the first of them.
last() {
    awk -F, -v kind="$1" -v names="${*:2}" '
        BEGIN { n = split(names, wanted, " ") }
        $1 == "#" kind { for (i = 1; i <= NF; i++) at[$i] = i }
        $1 == kind { line = ""; for (i = 1; i <= n; i++) line = line (i > 1 ? " " : "") $at[wanted[i]]; row[$at[wanted[1]]] = line }
        END { for (key in row) print row[key] }' log | sort
}
# NAME TOTAL of every counter of the machine that is compared.
totals() {
    local name
    awk '$1 == "pgfault" { print "faults", $2 }' /proc/vmstat
    awk '$1 == "ctxt" { print "switches", $2 } $1 == "processes" { print "forks", $2 }' /proc/stat
    for name in cpu memory io; do
        sed -n "s/^some .*total=/$name /p" "/proc/pressure/$name" 2>/dev/null
    done
}
sampled() { grep -c '^END,' log; } # with the head's own END

# --- The load's disk
if command -v losetup mkfs.ext4 >/dev/null && truncate -s 64M image && mkfs.ext4 -q -F image &&
    loop=$(losetup -f --show image 2>/dev/null) && mkdir disk && mount "$loop" disk 2>/dev/null; then
    sync -f disk
else
    [ -n "$loop" ] && losetup -d "$loop"
    loop=
    mkdir -p disk
    echo "skip new-machine-disk: no loop device can be made"
fi
name=${loop#/dev/}

# --- The run
seconds=4 # of iostat
totals >outer.0
"$WYRT" record cpu mem pressure disk volumes fs -i 250ms -c 24 -o log 2>errors &
program=$!
for ((i = 0; i < 200; i++)); do
    [ -s log ] && [ "$(sampled)" -ge 2 ] && break
    sleep 0.02
done
if [ -n "$loop" ] && command -v iostat >/dev/null; then
    iostat -y -d -x -k "$name" "$seconds" 1 >iostat.text 2>/dev/null & # means
    iostat -y -d -k "$name" "$seconds" 1 >iostat.sums 2>/dev/null &
    other=$!
    sleep 0.2
fi
totals >inner.0
dd if=/dev/zero of=disk/file bs=64k count=300 conv=fsync 2>/dev/null
dd if=/dev/zero of=/dev/null bs=64M count=1 2>/dev/null # allocates
for ((i = 0; i < 40; i++)); do true | cat; done         # forks
[ -n "$loop" ] && sync -f disk
totals >inner.1
early=$(sampled) within=
[ -n "$other" ] && kill -0 "$other" 2>/dev/null && within=yes
wait "$program" || bad new-machine "record ended with $?: $(head -n 1 errors)"
program=
totals >outer.1
[ -n "$other" ] && wait "$other"
other=

# --- The counters of the machine
{
    sums MEM - faults | sed 's/^-/faults/'
    sums CPU - switches | sed 's/^-/switches/'
    sums CPU - forks | sed 's/^-/forks/'
    sums PSI resource some
} >seen
why=
[ "$early" -lt 25 ] || why="the load took longer than the run"
while read -r what total; do
    outer=$(($(awk -v w="$what" '$1 == w { print $2 }' outer.1) - $(awk -v w="$what" '$1 == w { print $2 }' outer.0)))
    inner=$(($(awk -v w="$what" '$1 == w { print $2 }' inner.1) - $(awk -v w="$what" '$1 == w { print $2 }' inner.0)))
    { [ "$total" -le "$outer" ] && [ "$total" -ge "$inner" ]; } || why="$what: $total, and the kernel counted $inner to $outer"
done <seen
[ "$(wc -l <seen)" -ge "$(wc -l <inner.0)" ] || why="only $(wc -l <seen) of $(wc -l <inner.0) counters are in the log"
[ "$(awk '$1 == "forks" { print $2 }' seen)" -ge 40 ] || why="40 processes began, and the log has $(grep forks seen)"
verdict new-machine-counters "$why"

# --- The disk: iostat's columns by their names
if [ -n "$loop" ] && [ -z "$within" ] && [ -s iostat.text ]; then
    echo "skip new-machine-iostat: writing took longer than $seconds seconds"
elif [ -n "$loop" ] && [ -s iostat.text ]; then
    read -r _ writes bytes wait_us <<<"$(sums DISK name writes write_bytes write_us | grep "^$name ")"
    why=$(awk -v disk="$name" -v writes="${writes:-0}" -v bytes="${bytes:-0}" -v wait_us="${wait_us:-0}" '
        function differ(a, b, by) { return a - b > by || b - a > by }
        /^Device/ { for (i = 1; i <= NF; i++) at[$i] = i }
        $1 == disk && FILENAME == "iostat.sums" { kb = $at["kB_wrtn"] }
        $1 == disk && FILENAME == "iostat.text" { size = $at["wareq-sz"]; await = $at["w_await"] }
        END {
            if (kb < 300 * 64) print "only " kb " KiB were written"
            if (differ(bytes / 1024, kb, 1)) print bytes / 1024 " KiB written, iostat " kb
            if (!writes) print "no writes"
            else if (differ(bytes / 1024 / writes, size, 0.01)) print bytes / 1024 / writes " KiB a write, iostat " size
            else if (differ(wait_us / 1000 / writes, await, 0.01)) print wait_us / 1000 / writes " ms a write, iostat " await
        }' iostat.sums iostat.text)
    verdict new-machine-iostat "$why"
elif [ -n "$loop" ]; then
    echo "skip new-machine-iostat: there is no iostat"
fi

# --- Filesystems: sizes of all that both list; use of the one that only this run writes to
df -B1 --output=target,size 2>/dev/null | awk 'NR > 1 && $2 > 0 { print $1, $2 }' | sort >expected
awk -F, '$1 == "#FS" { for (i = 1; i <= NF; i++) at[$i] = i } $1 == "FS" && $at["size"] != "" { print $at["mount"], $at["size"] }' log | sort -u >seen
why=$(join expected seen | awk '$2 != $3 { print $1 ": " $3 ", df " $2 }')
[ "$(join expected seen | wc -l)" -gt 0 ] || why="no filesystem is in both lists"
verdict new-machine-df "$why"
if [ -n "$loop" ]; then
    df -B1 --output=target,used,avail,itotal,iavail disk | awk 'NR == 2 { print $1, $2, $3, $4, $5 }' >expected
    last FS mount used available inodes inodes_free | grep "^$sandbox/disk " >seen
    verdict new-machine-df-use "$(diff expected seen)"
fi

# --- Volumes: those with a size; whole disks and partitions by name
if command -v lsblk >/dev/null && lsblk -n -r -b -o KNAME,SIZE >expected 2>/dev/null; then
    awk '$2 > 0' expected | sort -u >listed
    last VOLUME dev name size | awk '{ print $2, $3 }' | sort -u >seen
    why=$(join listed seen | awk '$2 != $3 { print $1 ": " $3 ", lsblk " $2 }')
    missing=$(join -v 1 listed seen | grep -v '^dm-' | head -n 1) # device-mapper has names of its own
    [ -z "$missing" ] || why="no volume ${missing% *}"
    verdict new-machine-lsblk "$why"
else
    echo "skip new-machine-lsblk: there is no lsblk"
fi
