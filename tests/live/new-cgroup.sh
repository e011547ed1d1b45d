#!/usr/bin/env bash
# Makes a control group with limits, lets a loop and a process that holds memory run in it, and compares what `wyrt
# record cgroup` wrote with the files of the group. Version 2 where the machine has it with controllers, else version 1.
#
# The group has done nothing before the run and nothing after the load, so its amounts must be those of its files: equal
# in version 2, and within 50 us in version 1, whose files have nanoseconds. The kernel adds up memory from
# batches of each core: 1 MiB is allowed. A period that ends after the group's last work is seen with its next work.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"
: "${WYRT:?}"

root=/sys/fs/cgroup name=wyrt-live-$$
[ "$(id -u)" = 0 ] || { echo "skip cgroup: only root makes groups"; exit 0; }
if [ -e $root/cgroup.controllers ]; then
    version=2 folders=("$root/$name")
    echo "+cpu +memory +pids" >$root/cgroup.subtree_control 2>/dev/null
elif [ -d $root/cpuacct ] && [ -d $root/cpu ] && [ -d $root/memory ] && [ -d $root/pids ]; then
    version=1 folders=("$root/cpuacct/$name" "$root/cpu/$name" "$root/memory/$name" "$root/pids/$name")
else
    echo "skip cgroup: no controllers that a group could have"
    exit 0
fi

sandbox=$(mktemp -d) || exit 1
load='' program=''
end() {
    [ -n "$program" ] && kill "$program" 2>/dev/null
    [ -n "$load" ] && kill "$load" 2>/dev/null
    wait
    rmdir "${folders[@]}" 2>/dev/null
    rm -rf "$sandbox"
}
trap end EXIT
cd "$sandbox" || exit 1
mkdir -p "${folders[@]}" 2>/dev/null || { echo "skip cgroup: no group can be made"; exit 0; }

# --- Its limits: a quarter of a core, 96 MiB, 40 tasks
if [ $version = 2 ]; then
    for file in memory.max cpu.max pids.max; do
        [ -e "${folders[0]}/$file" ] || { echo "skip cgroup: a group has no $file here"; exit 0; }
    done
    echo "25000 100000" >"${folders[0]}/cpu.max"
    echo 100663296 >"${folders[0]}/memory.max"
    echo 40 >"${folders[0]}/pids.max"
else
    echo 100000 >"$root/cpu/$name/cpu.cfs_period_us"
    echo 25000 >"$root/cpu/$name/cpu.cfs_quota_us"
    echo 100663296 >"$root/memory/$name/memory.limit_in_bytes"
    echo 40 >"$root/pids/$name/pids.max"
fi

# What the files say: CPU in us, periods, throttled ones, memory, tasks.
used() {
    if [ $version = 2 ]; then
        awk '$1 == "usage_usec" { cpu = $2 } $1 == "nr_periods" { periods = $2 } $1 == "nr_throttled" { throttled = $2 }
             END { print cpu, periods, throttled }' "${folders[0]}/cpu.stat"
    else
        awk -v ns="$(cat "$root/cpuacct/$name/cpuacct.usage")" '
            $1 == "nr_periods" { periods = $2 } $1 == "nr_throttled" { throttled = $2 }
            END { printf "%d %d %d\n", ns / 1000, periods, throttled }' "$root/cpu/$name/cpu.stat"
    fi
}
held() {
    if [ $version = 2 ]; then cat "${folders[0]}/memory.current" "${folders[0]}/pids.current"
    else cat "$root/memory/$name/memory.usage_in_bytes" "$root/pids/$name/pids.current"
    fi | paste -sd' '
}
# FIELD... of the group's rows: the sum of an amount, the last of a level.
sums() { fields sum "$@"; }
levels() { fields last "$@"; }
fields() {
    awk -F, -v path="/$name" -v how="$1" -v names="${*:2}" '
        BEGIN { n = split(names, wanted, " ") }
        $1 == "#CGROUP" { for (i = 1; i <= NF; i++) at[$i] = i }
        $1 == "CGROUP" && $at["path"] == path {
            for (i = 1; i <= n; i++) { value = $at[wanted[i]]; got[i] = how == "sum" ? got[i] + value : value }
        }
        END { for (i = 1; i <= n; i++) printf "%s%s", got[i], i < n ? " " : "\n" }' log
}

# --- The run
# after COUNT LOG: waits until the log has so many intervals more.
after() {
    local from i
    from=$(grep -c '^END,' "$2" 2>/dev/null)
    for ((i = 0; i < 300; i++)); do
        (($(grep -c '^END,' "$2" 2>/dev/null) >= from + $1)) && return
        sleep 0.1
    done
}
read -r cpu periods throttled <<<"$(used)"
"$WYRT" record cgroup -i 400ms -o log &
program=$!
after 2 log # the head's own END is one of them
(
    for folder in "${folders[@]}"; do echo "$BASHPID" >"$folder/cgroup.procs"; done
    { head -c 40000000 /dev/zero; : >filled; exec sleep 60; } | tail -c 40000000 >/dev/null & # tail keeps what it reads
    timeout 1 sh -c 'while :; do :; done'
    : >worked
    exec sleep 60
) &
load=$!
for ((i = 0; i < 300; i++)); do [ -e worked ] && [ -e filled ] && break; sleep 0.1; done
after 4 log
read -r memory tasks <<<"$(held)"
read -r cpu_after periods_after throttled_after <<<"$(used)"
after 2 log
kill -TERM "$program"
wait "$program"
program=''

# --- What it wrote
read -r c p t <<<"$(sums cpu periods throttled_periods)"
verdict "a group's CPU time is that of its files" "$(awk -v a="$c" -v b=$((cpu_after - cpu)) -v v=$version 'BEGIN {
    allowed = v == 1 ? 50 : 0
    if (b < 100000 || a - b > allowed || b - a > allowed) print "log " a " us, files " b " us" }')"
verdict "its periods and throttled periods are those of its files" "$(awk -v a="$p $t" \
    -v b="$((periods_after - periods)) $((throttled_after - throttled))" 'BEGIN {
    split(a, log_, " ")
    split(b, files, " ")
    if (files[2] < 1) print "the quota has throttled nothing: " b
    else if (files[1] - log_[1] < 0 || files[1] - log_[1] > 1 || files[2] != log_[2]) print "log " a ", files " b }')"
read -r m n <<<"$(levels memory pids)"
verdict "its memory is that of its files" "$(awk -v a="$m" -v b="$memory" 'BEGIN {
    if (b < 40000000 || a - b > 1048576 || b - a > 1048576) print "log " a ", files " b }')"
verdict "its tasks are those of its files" "$([ "$n" = "$tasks" ] || echo "log $n, files $tasks")"
verdict "its limits are those that were set" "$(limits=$(levels quota memory_limit pids_limit)
    [ "$limits" = "0.25 100663296 40" ] || echo "log $limits")"
verdict "wyrt show has the tables of the run" "$("$WYRT" show log | grep -q "^/$name " || echo "no line of /$name")"

# --- A group that ends
pkill -P "$load" 2>/dev/null
kill "$load" 2>/dev/null
wait "$load" 2>/dev/null
load=
"$WYRT" record cgroup -i 300ms -o ended &
program=$!
after 2 ended
for folder in "${folders[@]}"; do
    for ((i = 0; i < 300; i++)); do
        rmdir "$folder" 2>/dev/null && break
        xargs -r kill -9 <"$folder/cgroup.procs" 2>/dev/null
        sleep 0.02
    done
done
ended=$(grep -c '^END,' ended)
after 3 ended
kill -TERM "$program"
wait "$program"
status=$?
program=''
verdict "a group that ends has no rows afterwards" "$(awk -F, -v path="/$name" -v after="$ended" -v status=$status '
    $1 == "END" { seen++ }
    $1 == "#CGROUP" { for (i = 1; i <= NF; i++) at[$i] = i }
    $1 == "CGROUP" && $at["path"] == path { first = 1; if (seen > after) late++ }
    END { if (status) print "status " status; else if (!first) print "it never had one"; else if (late) print late " rows" }' ended)"
