#!/usr/bin/env bash
# Compares the real program with /proc/stat and /proc/meminfo at about the same time. The shell takes snapshots; a
# sample of the program was taken between the last snapshot before its TIME stamp and the first one after its output.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"

folder=$(mktemp -d) || exit 1
watcher=
trap '[ -n "$watcher" ] && kill "$watcher"; rm -rf "$folder"' EXIT
trap 'exit 1' INT TERM
mkfifo "$folder/wake" || exit 1

now() { printf -v "$1" '%s' "${EPOCHREALTIME/[.,]/}"; } # sets a variable, microseconds

# Prints one line a snapshot: its begin and end, then user+nice, system+irq+softirq and all jiffies of the cpu line,
# interrupts, context switches and forks. It starts no processes, because they would be counted.
watch() {
    local begin end cpu intr ctxt forks w fd
    exec {fd}<>"$folder/wake"
    while :; do
        now begin
        while read -r -a w; do
            case ${w[0]:-} in
                cpu) cpu="$((w[1] + w[2])) $((w[3] + w[6] + w[7])) $((w[1] + w[2] + w[3] + w[4] + w[5] + w[6] + w[7] + w[8]))" ;;
                intr) intr=${w[1]} ;;
                ctxt) ctxt=${w[1]} ;;
                processes) forks=${w[1]} ;;
            esac
        done </proc/stat
        now end
        echo "$begin $end $cpu $intr $ctxt $forks"
        read -r -t 0.02 -u "$fd"
    done
}

watch >"$folder/snapshots" &
watcher=$!

# Each line of the records, preceded by the time of its arrival.
moment=0
"$WYRT" -Z -b -r -c 2 -i 700 | while IFS= read -r line; do
    now moment
    echo "$moment $line"
done >"$folder/records"
sleep 0.1
kill "$watcher" && wait "$watcher" 2>/dev/null
watcher=

# --- Figures that do not depend on the time

value() { awk -v key="$1:" '$1 == key { print $2 }' /proc/meminfo; }
cores=$(grep -c '^cpu[0-9]' /proc/stat)
mapfile -t basics < <(grep -o '\^BASIC,.*\$' "$folder/records" | tr -d '$')
if ((${#basics[@]} == 2)); then ok "two intervals"; else bad "two intervals" "${#basics[@]}"; fi
for ((n = 0; n < ${#basics[@]}; n++)); do
    IFS=, read -r -a f <<<"${basics[n]}"
    if ((${#f[@]} == 36)); then ok "35 fields in interval $((n + 1))"; else bad "35 fields in interval $((n + 1))" "${#f[@]}"; fi
    if [ "${f[14]}" = "$(($(value MemTotal) * 1024)).00" ]; then ok "total memory"; else bad "total memory" "${f[14]}"; fi
    if [ "${f[18]}" = "$(($(value SwapTotal) * 1024)).00" ]; then ok "total swap"; else bad "total swap" "${f[18]}"; fi
    sum=$(awk -v l="${basics[n]}" 'BEGIN { split(l, f, ","); print f[2] + f[3] + f[4] + f[5] + f[6] + f[7] + f[8] + f[9] }')
    if awk -v s="$sum" 'BEGIN { exit !(s > 99.9 && s < 100.1) }'; then ok "shares of all CPU time"; else bad "shares of all CPU time" "$sum"; fi
done
rows=$(grep -c '\^CPU,' "$folder/records")
if ((rows == 2 * cores)); then ok "a row for each core"; else bad "a row for each core" "$rows rows, $cores cores"; fi

# --- Figures between the snapshots

# The rates of interval 2: both of its samples have a stamp and an arrival.
awk -v basic="${basics[1]:-}" '
    function stamp(line, f) { split(line, f, ","); sub(/\$.*/, "", f[5]); return f[2] * 1000000 + f[5] * 1000 }
    FILENAME ~ /records$/ {
        if ($2 ~ /^\^TIME,/) stamps[++passes] = stamp($2 " " $3)
        if ($2 ~ /^\^END_OF_INTERVAL/) arrivals[passes] = $1
        next
    }
    # The last snapshot that ended before a stamp, and the first one that began after an arrival.
    { for (p = 1; p <= passes; p++) {
          if ($2 <= stamps[p]) before[p] = $0
          if ($1 >= arrivals[p] && !(p in after)) after[p] = $0
      } }
    function range(field,   a, b) {
        split(before[2], b, " "); split(after[1], a, " "); least = b[field] - a[field]
        split(after[2], b, " "); split(before[1], a, " "); most = b[field] - a[field]
    }
    function check(name, value, field, slack) {
        range(field)
        if (value >= least - slack && value <= most + slack) print "ok " name
        else print "not ok " name ": " value " is not from " least " to " most
    }
    END {
        split(basic, f, ",")
        if (!(1 in before) || !(2 in after) || basic == "") { print "skip rates: no snapshots around the samples"; exit }
        seconds = (stamps[2] - stamps[1]) / 1000000
        check("context switches", f[14] * seconds, 7, 0.01 * seconds + 0.5)
        check("interrupts", f[13] * seconds, 6, 0.01 * seconds + 0.5)
        check("forks", f[12] * seconds, 8, 0.01 * seconds + 0.5)
        # Shares of all jiffies, within the range that the snapshots allow and two jiffies for rounding.
        range(5); some = least; all = most
        range(3); low = least - 2; high = most + 2; share = f[2] + f[3]
        if (share >= 100 * low / all - 0.1 && (some <= 0 || share <= 100 * high / some + 0.1)) print "ok user time"
        else print "not ok user time: " share " % of " some " to " all ", " low " to " high " jiffies"
        range(4); low = least - 2; high = most + 2; share = f[4] + f[5] + f[6]
        if (share >= 100 * low / all - 0.1 && (some <= 0 || share <= 100 * high / some + 0.1)) print "ok system time"
        else print "not ok system time: " share " % of " some " to " all ", " low " to " high " jiffies"
    }' "$folder/records" "$folder/snapshots"

# --- The table of the same machine

"$WYRT" -b -r -c 1 -i 200 >"$folder/table" 2>"$folder/errors"
status=$?
if ((status == 0)) && [ "$(tail -n 1 "$folder/table")" = Complete ]; then ok "the table ends"; else bad "the table ends" "status $status"; fi
# The shell prints which of the tools of the start are missing.
errors=$(grep -Ev '^sh: (line )?[0-9]+: [a-z_]+: ((command )?not found|Permission denied)$' "$folder/errors" | head -n 1)
if [ -n "$errors" ]; then bad "no errors" "$errors"; else ok "no errors"; fi
rows=$(awk '/CORE   USER/ { core = 1; next } core && NF == 9 { rows++ } END { print rows + 0 }' "$folder/table")
if ((rows == cores)); then ok "a table row for each core"; else bad "a table row for each core" "$rows rows, $cores cores"; fi
if grep -q "^      PageSize     : $(getconf PAGESIZE)$" "$folder/table"; then ok "page size"; else bad "page size" "not $(getconf PAGESIZE)"; fi
if grep -q "^      Logical Core : $cores$" "$folder/table"; then ok "number of cores"; else bad "number of cores" "not $cores"; fi
if grep -qF "      Hostname     : $(uname -n | cut -c1-63)" "$folder/table"; then ok "host name"; else bad "host name" "not $(uname -n)"; fi
