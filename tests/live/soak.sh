#!/usr/bin/env bash
# Runs all reports with the smallest pause, as records and as tables, while processes, threads, sockets, descriptions,
# mounts and interfaces come and go. Every line must be as documented, memory and descriptors must not grow, and the
# figures must agree with /proc at the start and at the end. Runs in namespaces of its own, where no other program
# interferes. PASSES: least number of samples of each form (150). FORMS: "records tables". LOG: a file for the measured
# figures.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"

wyrt=${WYRT:?WYRT must name the program}
passes=${PASSES:-150} log=${LOG:-/dev/null}
here=$(cd "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
documents=$here/../../docs/records.md
churner=${wyrt%/*}/live-churner

in_namespaces soak
for tool in ip mount umount "$churner"; do
    if ! command -v "$tool" >/dev/null; then
        echo "skip soak: there is no $tool"
        exit 0
    fi
done

sandbox=$(mktemp -d) || exit 1
workers=()
finish() {
    cd / || exit 1
    kill "${workers[@]}" 2>/dev/null
    umount -l "$sandbox" 2>/dev/null # with all mounts below it
    rm -rf --one-file-system "$sandbox"
}
trap finish EXIT # other processes end with this one, the first of its namespace
mount -t tmpfs wyrt-soak "$sandbox" 2>/dev/null
cd "$sandbox" || exit 1
mkdir desc fs come
mkfifo never
exec {never}<>never
ip link set lo up
if ! mount -t tmpfs -o size=64m wyrt-known fs; then
    echo "skip soak: no filesystem can be mounted"
    exit 0
fi

pause() { read -rt "$1" -u "$never"; } # starts no process
now() { printf -v "$1" '%s' "$((${EPOCHREALTIME/[.,]/} / 1000))"; } # sets a variable, ms

# --- Readers: they write a line for each interval to "intervals", and what is wrong to "faults"

# A line has: number, TIME in ms, processes, threads, sockets; then per second the burner's ticks, the bytes received
# and sent through lo, and the bytes freed on wyrt-known. Records must have the fields that the document lists; only a
# text at the end may hold commas.
cat >records.awk <<'AWK'
BEGIN {
    while ((getline line < documents) > 0) {
        if (line ~ /^### /) { names = line; rows = 0; type = "" }
        if (line !~ /^\|/ || line ~ /^\| (field \| type|record \| field|type \| as|---)/) {
            if (rows || line ~ /^```/) while (match(names, /`\^[A-Z0-9_]+`/)) {
                tag = substr(names, RSTART + 1, RLENGTH - 2); names = substr(names, RSTART + RLENGTH)
                fields[tag] = rows; open_end[tag] = type == "text"
            }
            continue
        }
        split(line, cell, / *\| */); type = cell[3]; rows++
    }
    if (!("^PID" in fields) || fields["^TIME"] != 4) print "the document cannot be read" > "faults"
}
function fault(what) { print "interval " number ": " what ": " $0 > "faults"; fflush("faults") }
/^\^TIME,/ {
    if (open || $3 != number + 1) fault("out of order")
    open = 1; number = $3; stamp = $2 * 1000 + $NF; processes = 0
    ticks = received = sent = freed = 0
}
# Some messages are plain text. When a process ends while its files are opened, the kernel sometimes answers "No such
# process", which is reported. Usually it answers "No such file", which is not.
!/^\^/ && open && !/^(Previous netif count|\+\+\+\+ Reuse|==== Invalid|---- Port inode|---- Reset inode|\[ERROR\] Failed to open \/proc\/[0-9]+\/.*:No such process\]$)/ { fault("no record") }
/^\^/ && open {
    tag = $1; sub(/\$.*/, "", tag); n = NF - 1
    if (!/\$$/) fault("no end")
    else if (!(tag in fields)) fault("unknown")
    else if (n < fields[tag] || (n > fields[tag] && !open_end[tag])) fault(n " fields, not " fields[tag])
    seen[tag] = 1
}
$1 == "^PROCINFO" { processes = $2; threads = $3; sockets = $4 }
$1 == "^PID" && $2 == burner { ticks = $6 }
$1 == "^NETIF" && $2 == "lo" { received = $4; sent = $5 }
$1 == "^FSDELTA" && $2 == "wyrt-known" { freed = $9 }
$1 == "^END_OF_INTERVAL$" {
    open = 0
    # The stamp needs a format: some awks print large numbers in another form.
    printf "%d %.0f %d %d %d %s %s %s %s\n", number, stamp, processes, threads, sockets, ticks, received, sent, freed
    fflush()
}
END { # each kind of record must have been there
    for (tag in fields)
        if (!(tag in seen) && tag !~ /^\^(elapsedtime|DISK|LVMVG|LVMLV|CPROC|TPROC|N0STAT)$/)
            print "no " tag > "faults"
    close("faults")
    print "all is read" > "read"
}
AWK

cat >tables.awk <<'AWK'
function fault(what) { print "interval " number ": " what ": " $0 > "faults"; fflush("faults") }
/^TIME : / {
    if (number > 0) printf "%d %.0f %d %d %d 0 0 0 0\n", number, stamp, processes, threads, sockets
    fflush()
    match($0, /\[[0-9]+\/#/); seconds = substr($0, RSTART + 1, RLENGTH - 3)
    match($0, /#[0-9]+/)
    if (substr($0, RSTART + 1, RLENGTH - 1) != number + 1) fault("out of order")
    number++; processes = threads = sockets = -1
    match($0, /\.[0-9][0-9][0-9] \[/); stamp = seconds * 1000 + substr($0, RSTART + 1, 3)
}
/^Total Process# : / { split($0, f, /[:,] ?/); processes = f[2] + 0; threads = f[4] + 0; sockets = f[6] + 0 }
/\[ERROR\]/ && !/Failed to open \/proc\/[0-9]+\/.*:No such process\]$/ { fault("an error") }
{ seen[$1] = 1 }
/\[a thread of the churn\]/ { seen["description"] = 1 }
END {
    n = split("USER MEM CORE TCP Total PID I/F_name Device --> ++++ ---- NETWORK description", word, " ")
    for (i = 1; i <= n; i++) if (!(word[i] in seen)) print "no row of " word[i] > "faults"
    close("faults")
    print "all is read" > "read"
}
AWK

# --- Checks of what was read. They are in files, because the records contain the command lines of these checks, too.

# The counters of a sample are read between its stamp and the stamp of the next sample. So the samples between the two
# snapshots counted at most what the snapshots did, and the samples around them at least as much.
cat >compare.awk <<'AWK'
FNR == 1 && ++file <= 2 { for (i = 1; i <= 5; i++) shot[file, i] = $i; next }
{ n++; stamp[n] = $2; for (i = 6; i <= 9; i++) amount[n, i] = $i * ($2 - stamp[n - 1]) / 1000 }
function amounts(from, to, field,   k, all) { for (k = from + 1; k <= to; k++) all += amount[k, field]; return all }
# Rates and stamps are rounded.
function within(name, field, shot_field,   low, high, known, slack) {
    low = amounts(inner, inner_end, field); high = amounts(outer, outer_end, field)
    known = shot[2, shot_field] - shot[1, shot_field]
    figures = figures " " name " " known " (" low " to " high ")"
    slack = 1 + known / 1000
    if (low > known + slack || high < known - slack || known <= 0) print name " is " known " in /proc, counted " low " to " high
    return known
}
END {
    for (k = 2; k < n; k++) {
        if (stamp[k + 1] < shot[1, 1]) outer = k
        if (!inner && stamp[k] > shot[1, 2]) inner = k
        if (stamp[k + 1] < shot[2, 1]) inner_end = k
        if (!outer_end && stamp[k] > shot[2, 2]) outer_end = k
    }
    if (!outer || !outer_end || inner_end <= inner) { print "no samples around and between"; exit }
    within("ticks", 6, 3)
    if (within("received", 7, 4) < traffic || within("sent", 8, 5) < traffic) print "less than was sent"
    freed = amounts(outer, outer_end, 9)
    # The times are doubles of seconds since 1970, good to a quarter of a microsecond: of a millisecond, 1/4000.
    slack = stored / 4000
    if (freed < -stored - slack || freed > -stored + slack) print "of " stored " bytes " (0 - freed) " were seen to be stored"
    print figures " stored " (0 - freed) > "/dev/stderr"
}
AWK

cat >counts.awk <<'AWK'
# Uses only samples that begin and end between the two times; a sample has ended when the next one begins.
line != "" && $2 > b && $2 < e { n++; split(line, f, " "); if (f[2] > b && (f[3] != p || f[4] != t || f[5] != s)) { why = f[3] " processes, " f[4] " threads, " f[5] " sockets; /proc has " p ", " t ", " s; exit } }
{ line = $0 }
END { print n < 2 ? "no sample between" : why }
AWK

last() { # sets `number` and `stamp` to those of the last interval
    read -r number stamp _ < <(tail -n 1 intervals) || number=0 stamp=0
}
await() { # VARIABLE VALUE: waits until the variable is above the value
    until last && ((${!1} > $2)); do
        kill -0 "$run" 2>/dev/null || return
        measure
        pause 0.3
    done
}

# --- Figures of /proc

measure() { # adds a line: interval, KB resident, KB anonymous, descriptors
    local key value rss=0 own=0 fd=(/proc/"$run"/fd/*)
    while read -r key value _; do
        case $key in
            VmRSS:) rss=$value ;;
            RssAnon:) own=$value ;;
        esac
    done <"/proc/$run/status"
    echo "$number $rss $own ${#fd[@]}" >>memory
}

count() { # sets processes, threads and sockets; starts no process
    local key value file
    processes=0 threads=0 sockets=0
    for file in /proc/[0-9]*/status; do
        while read -r key value _; do
            [[ $key == Threads: ]] && processes=$((processes + 1)) threads=$((threads + value))
        done <"$file"
    done 2>/dev/null
    for file in /proc/[0-9]*/fd/*; do [[ -S $file ]] && sockets=$((sockets + 1)); done
}

snapshot() { # FILE: writes begin and end in ms, the burner's ticks, bytes received and sent through lo
    local begin end stat line lo
    now begin
    read -r -a stat <"/proc/$burner/stat"
    while read -r -a line; do [[ ${line[0]} == lo: ]] && lo=("${line[@]}"); done </proc/net/dev
    now end
    echo "$begin $end $((stat[13] + stat[14])) ${lo[1]} ${lo[9]}" >"$1"
}

compare() {
    awk -v stored="$Stored" -v traffic="$Traffic" -f compare.awk "$1" "$2" intervals
}

# check NAME: compares the figures of a known load while nothing else happens, then the counts.
Stored=8388608 Traffic=$((50 * 1028))
check() {
    local i begin end why
    if [ "$form" = records ]; then
        last
        await number $((number + 2))
        snapshot before
        for ((i = 1; i <= 50; i++)); do
            printf '%01000d' "$i" >/dev/udp/127.0.0.1/9
            ((i % 5)) || pause 0.1
        done
        dd bs="$Stored" count=1 if=/dev/zero of="fs/$1" status=none
        snapshot after
        await stamp "$(($(cut -d' ' -f2 after) + 1))"
        await number $((number + 1))
        why=$(compare before after 2>figures)
        verdict "$form: $1: figures" "$why"
        echo "$form: $1:$(cat figures)" >>"$log"
    fi
    # Several times, because commands of this script may still be ending.
    for i in {1..9}; do
        pause 0.1
        now begin
        pause "0.$i"
        count
        pause 0.1
        now end
        await stamp "$end"
        why=$(awk -v b="$begin" -v e="$end" -v p="$processes" -v t="$threads" -v s="$sockets" -f counts.awk intervals)
        [ -z "$why" ] && break
    done
    verdict "$form: $1: counts" "$why"
    echo "$form: $1: $processes processes, $threads threads, $sockets sockets" >>"$log"
}

# --- The churn

come_and_go() {
    local i
    while :; do
        for i in {1..5}; do
            (exec 3<>/dev/udp/127.0.0.1/9; read -rt 0.01 <&3) 2>/dev/null &
            (exec 3</dev/null) &
        done
        wait
        pause 0.03
    done
}
mount_and_unmount() {
    local i
    while :; do
        for i in 1 2; do mkdir -p "come/$i" && mount -t tmpfs "wyrt-come-$i" "come/$i"; done
        printf '%010000d' 1 >come/1/file
        pause 0.05
        for i in 2 1; do umount "come/$i"; done
        pause 0.05
    done
}
plug_and_unplug() {
    local i=0
    while :; do
        i=$(((i + 1) % 7))
        ip link add "come$i" type veth peer name "go$i" && ip link set "come$i" up && ip link set "go$i" up
        pause 0.2
        ip link del "come$i"
        pause 0.2
    done
}

run_form() { # FORM
    local reader busy=() why options=(-a -m -t -r -V -v -R 0 -i 1)
    # shellcheck disable=SC2034 # await reads both by their names
    form=$1 number=0 stamp=0
    rm -f intervals memory faults read fs/*
    : >intervals
    : >memory
    : >faults
    (while :; do :; done) &
    burner=$!
    # shellcheck disable=SC2217 # keeps a socket open
    sleep 1000000 </dev/udp/127.0.0.1/9 &
    workers=("$burner" $!)
    if [ "$form" = records ]; then
        exec {reader}> >(exec awk -F, -v burner="$burner" -v documents="$documents" -f records.awk >intervals)
        options+=(-Z -S) # not for tables: the listing of -S turns threads off
    else
        exec {reader}> >(exec awk -f tables.awk >intervals)
    fi
    "$wyrt" "${options[@]}" 1>&"$reader" 2>err &
    run=$!
    workers+=("$run")
    exec {reader}>&-
    await number 3
    check start

    SECONDS=0
    : >memory
    for work in come_and_go mount_and_unmount plug_and_unplug; do
        "$work" 2>/dev/null &
        busy+=($!)
    done
    "$churner" &
    busy+=($!)
    await number "$passes"
    while ((SECONDS < 3)); do await number "$((number + 10))"; done
    kill "${busy[@]}" && wait "${busy[@]}" 2>/dev/null
    echo "$form: $number passes, $SECONDS s of churn" >>"$log"
    # Cleans up what the churn has left.
    umount come/2 come/1 2>/dev/null
    for ((i = 0; i < 7; i++)); do ip link del "come$i" 2>/dev/null; done
    for ((i = 0; i < 300; i++)); do
        count
        ((processes == ${#workers[@]} + 2)) && break
        pause 0.1
    done
    check end
    await number "$number"

    why=$(growth memory 'KB resident:256' 'KB anonymous:256' descriptors:3)
    verdict "$form: memory and descriptors" "$why"
    awk -v form="$form" 'NR % every == 1 || NR == 1 { print form ": pass " $1 ": resident " $2 " KB, anonymous " $3 " KB, descriptors " $4 }' every="$(($(wc -l <memory) / 24 + 1))" memory >>"$log"
    tail -n 1 memory >>"$log"

    kill "$run"
    wait "$run" 2>/dev/null
    status=$? why=
    ((status == 143)) || why="status $status instead of the signal's"
    kill "${workers[@]}" 2>/dev/null
    wait
    for ((i = 0; i < 100; i++)); do
        [ -e read ] && break
        pause 0.1
    done
    [ -e read ] || why="not read to the end"
    verdict "$form: every line" "${why:-$(head -n 1 faults)}"
    # Standard error may report tools that are not installed, and threads and interfaces that ended before they were
    # read.
    verdict "$form: standard error" "$(grep -a -v -e 'not found$' -e '/task.*: No such file or directory$' -e '^come\|^go' -e 'No such process$' err | head -n 1)"
}

for form in ${FORMS:-records tables}; do run_form "$form"; done
