#!/usr/bin/env bash
# Trouble on this kernel, in small: whether `why` names who makes it, among others who do not. The limits are lowered, so
# that a few seconds and megabytes are enough. WYRT_WHY_TIMES: how often each kind is made (3).
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"

wyrt=${WYRT:?WYRT must name the program}
times=${WYRT_WHY_TIMES:-3}
sandbox=$(mktemp -d) || exit 1
made=()
calm() { # ends what was started here
    local pid
    for pid in "${made[@]}"; do kill -9 "$pid" 2>/dev/null; done
    for pid in "${made[@]}"; do wait "$pid" 2>/dev/null; done
    made=()
}
trap 'calm; rm -rf "$sandbox"' EXIT
cd "$sandbox" || exit 1
[ -x "$(dirname -- "$wyrt")/wyrtlog" ] || {
    echo 'skip why: wyrtlog is not beside wyrt'
    exit 0
}

# A program of this name: a process is found by it.
for name in hog nicehog grower large storm cachedreader; do cp "$(command -v bash)" "$name" || exit 1; done
start() { # COMMAND...: in the background
    "$@" >/dev/null 2>&1 &
    made+=($!)
    disown
}

# culprit RESOURCE LIMIT...: who of those that were started here comes first, by name, role and mark, in a log of some
# intervals. Other programs of this machine may do more.
culprit() {
    local resource=$1 limits=() limit
    shift
    for limit in "$@"; do limits+=(--limit "$limit"); done
    "$wyrt" record why 500ms 3 "${limits[@]}" -o log.wyrt 2>err </dev/null || return
    "$wyrt" why log.wyrt "${limits[@]}" >out 2>>err </dev/null || return
    # The last interval has seen all of it.
    awk -F, -v resource="$resource" '
        $1 == "#WHO" { for (i = 1; i <= NF; i++) column[$i] = i }
        $1 == "END" { if (own != "") last = own; own = "" }
        $1 == "WHO" && $column["resource"] == resource && own == "" {
            name = $column["name"]
            if (name ~ /^(hog|nicehog|grower|large|storm|cachedreader|dd)$/)
                own = name " " $column["role"] " " $column["mark"] " " $column["place"] }
        END { print last }' log.wyrt
    rm -f log.wyrt
}

# trial EXPECTED RESOURCE LIMIT...: the trouble runs already.
first=0 unseen=0 said=
trial() {
    local expected=$1 found
    shift
    found=$(culprit "$@")
    if [[ $found == "$expected "* ]]; then
        first=$((first + 1))
    elif [[ -z $found ]]; then
        unseen=$((unseen + 1))
    else
        said="instead of $expected: $found"
    fi
    [ -s err ] && said=$(head -n 1 err)
}
result() { # NAME
    if [[ -z $said ]] && ((unseen > 0)); then
        echo "skip $1: other programs of this machine did more ($first of $times)"
    else
        verdict "$1" "$said"
    fi
    first=0 unseen=0 said=
}

for ((i = 0; i < times; i++)); do
    for ((j = 0; j < $(nproc); j++)); do start nice -n 15 ./nicehog -c 'while :; do :; done'; done
    start ./hog -c 'while :; do :; done'
    sleep 0.3
    trial hog CPU cpu.stall=1 cpu.queue=0.1
    calm
done
result 'why: a CPU hog among nice ones'

# A process whose memory grows, beside one that is large and does not.
start ./large -c 'x=$(head -c 60000000 /dev/zero | tr "\0" x); while :; do sleep 0.2; : ${#x}; done'
sleep 1.5
large=("${made[@]}")
made=()
for ((i = 0; i < times; i++)); do
    start ./grower -c 'y=$(head -c 1000000 /dev/zero | tr "\0" x); for ((i = 0; i < 60; i++)); do z+=$y; sleep 0.05; done; sleep 9'
    sleep 0.5
    trial grower MEMORY mem.available=100%
    calm
done
made=("${large[@]}")
calm
result 'why: memory that grows, beside a large process'

for ((i = 0; i < times; i++)); do
    start ./storm -c 'while :; do /bin/true; done'
    sleep 0.3
    trial storm FORKS forks.rate=20
    calm
done
result 'why: forks'

# A writer to a disk, beside a reader of what is cached.
disk=$(stat -c %Hd:%Ld . 2>/dev/null)
if ! grep -q "^ *${disk%:*} *${disk#*:} " /proc/diskstats; then
    echo "skip why, disk writer: $sandbox is on no disk that has statistics"
elif ! dd if=/dev/zero of=probe bs=64k count=1 oflag=direct 2>/dev/null; then
    echo "skip why, disk writer: no direct writes in $sandbox"
elif [ ! -r /proc/1/io ]; then
    echo 'skip why, disk writer: others who write cannot be seen'
else
    head -c 8000000 /dev/zero >cached
    for ((i = 0; i < times; i++)); do
        start ./cachedreader -c 'while :; do read -r -N 1000000 x <cached; done'
        start dd if=/dev/zero of=written bs=64k count=8000 oflag=direct,dsync # half a gigabyte at the most
        sleep 0.3
        before=$said
        trial dd DISK disk.wait=0 disk.queue=0 disk.stall=0 disk.full=0
        # When it has ended before the last interval, that interval is not about it.
        [[ $said != "$before" ]] && ! kill -0 "${made[-1]}" 2>/dev/null && said=$before unseen=$((unseen + 1))
        calm
        rm -f written
    done
    result 'why: a writer to a disk, beside a reader of what is cached'
fi
