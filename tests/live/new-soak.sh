#!/usr/bin/env bash
# `wyrt record --dir` of every area with small files, compression and bounds, while processes, threads, connections,
# files, control groups, mounts, interfaces and network namespaces come and go. Memory, descriptors and threads must not
# grow, no namespace may be kept alive, no interval may be lost, and every sum must be what the kernel counted. Beside it
# `wyrt push` sends the logs and `wyrt serve` is asked every second: neither may grow, and both must end with the same sum.
# Runs in namespaces of its own. SAMPLES: how many at the least (150), every INTERVAL milliseconds (50). LOG: a file for the
# measured figures.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"

wyrt=${WYRT:?WYRT must name the program}
samples=${SAMPLES:-150} interval=${INTERVAL:-50} log=${LOG:-/dev/null}
churner=${wyrt%/*}/live-churner
in_namespaces new-soak
export LC_ALL=C

[ -x "${wyrt%/*}/wyrtlog" ] || { echo 'skip new-soak: wyrtlog is not beside wyrt'; exit 0; }
for tool in ip mount python3 "$churner"; do
    command -v "$tool" >/dev/null || { echo "skip new-soak: there is no $tool"; exit 0; }
done

sandbox=$(mktemp -d) || exit 1
groupFor soak
finish() {
    cd / || exit 1
    leaveGroup
    umount -l "$sandbox"/come/* 2>/dev/null
    rm -rf --one-file-system "$sandbox"
}
trap finish EXIT
cd "$sandbox" || exit 1
mkdir come desc files kept config
mkfifo never
exec {never}<>never
ip link set lo up
pause() { read -rt "$1" -u "$never"; } # starts no process

# --- What comes and goes

processes() {
    while :; do
        for ((i = 0; i < 5; i++)); do (exec 3<>/dev/udp/127.0.0.1/9; read -rt 0.01 <&3) 2>/dev/null & done
        wait
        pause 0.1
    done
}
files() {
    local i=0 part
    printf -v part '%08192d' 0
    while :; do
        i=$(((i + 1) % 9))
        { for ((k = 0; k < 20; k++)); do printf %s "$part"; pause 0.01; done; } >"files/$i"
        ((i % 4)) || rm -f files/*
    done
}
groups() {
    local i=0
    while :; do
        i=$(((i + 1) % 30))
        mkdir -p "$group/come$i"
        (echo "$BASHPID" >"$group/come$i/cgroup.procs"; for ((k = 0; k < 2000; k++)); do :; done; pause 0.05)
        rmdir "$group/come$i"
        pause 0.1
    done
}
mounts() {
    while :; do
        for i in 1 2; do mkdir -p "come/$i" && mount -t tmpfs "wyrt-come-$i" "come/$i"; done
        printf '%010000d' 1 >come/1/file
        pause 0.2
        umount come/2 come/1
        pause 0.1
    done
}
# A pair of interfaces ends with the namespace that one of them is in, if nobody keeps that alive.
networks() {
    local i=0 there
    while :; do
        i=$(((i + 1) % 50))
        unshare --net "$churner" &
        there=$!
        pause 0.1
        ip link add "come$i" type veth peer name "go$i" netns "$there" && ip link set "come$i" up
        nsenter --net="/proc/$there/ns/net" ip link set lo up
        pause 0.4
        kill "$there"
        wait "$there"
    done
}
traffic() {
    local part
    printf -v part '%01000d' 0
    while :; do
        for ((k = 0; k < 10; k++)); do printf %s "$part" >/dev/udp/127.0.0.1/9; done
        pause 0.1
    done
}

# --- What the kernel counts

# NAME VALUE: what it says now of what is compared, in the log's units.
counters() {
    awk '$1 == "ctxt" { print "CPU.switches", $2 } $1 == "processes" { print "CPU.forks", $2 }' /proc/stat
    awk '$3 !~ /^(loop|ram|zram)/ { printf "DISK.reads:%s %.0f\nDISK.write_bytes:%s %.0f\n", $3, $4, $3, $10 * 512 }' /proc/diskstats
    awk '$1 == "lo:" { printf "LINK.rx_bytes:lo %.0f\nLINK.tx_packets:lo %.0f\n", $2, $11 }' /proc/net/dev
    # Its CPU clock up to now: schedstat has it as of the last tick. Whole microseconds, cut as the recorder cuts them.
    python3 -c 'import sys, time; pid = int(sys.argv[1]); print(f"PROC.cpu:{pid}", time.clock_gettime_ns(~pid << 3 | 2) // 1000)' "$steady"
}
# The same of the log: the sums of its amounts.
sums() {
    local kind fields
    while read -r kind fields; do
        "$wyrt" export kept --format csv --kind "$kind" --fields "$fields" | awk -F, -v kind="$kind" -v steady="$steady" '
            NR == 1 { for (i = 1; i <= NF; i++) name[i] = $i; next }
            { from = name[1] == "name" || name[1] == "pid" ? 2 : 1
              if (name[1] == "pid" && $1 != steady) next
              for (i = from; i <= NF; i++) sum[kind "." name[i] (from > 1 ? ":" $1 : "")] += $i }
            END { for (key in sum) printf "%s %.0f\n", key, sum[key] }'
    done <<'KINDS'
CPU switches,forks
DISK name,reads,write_bytes
LINK name,rx_bytes,tx_packets
PROC pid,cpu
KINDS
}


# Links to the files keep what the recorder removes.
keep() {
    while :; do
        for file in logs/*Z*.wyrt logs/*Z*.wyrt.zst; do
            [ -e "kept/${file##*/}" ] || [ -e "kept/${file##*/}.zst" ] || ln "$file" kept/
            case $file in *.zst) rm -f "kept/$(basename "$file" .zst)" ;; esac
        done 2>/dev/null
        pause 0.3
    done
}

measure() { # PID FILE: adds a line: seconds, KB resident, KB anonymous, descriptors, threads; starts no process
    local key value rss=0 own=0 threads=0 fd=(/proc/"$1"/fd/*)
    while read -r key value _; do
        case $key in
            VmRSS:) rss=$value ;;
            RssAnon:) own=$value ;;
            Threads:) threads=$value ;;
        esac
    done <"/proc/$1/status"
    echo "$SECONDS $rss $own ${#fd[@]} $threads" >>"$2"
}

# Takes what is pushed and asks what is served; `pushed` and `served` have how often the processors switched, as they know
# it, and `unanswered` what went wrong.
cat >store.py <<'END'
import gzip, http.server, os, re, threading, time, urllib.request
def write(name, text):
    with open(name + ".new", "w") as file: file.write(text)
    os.rename(name + ".new", name)
class Store(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    def log_message(self, *words): pass
    def do_POST(self):
        body = gzip.decompress(self.rfile.read(int(self.headers["Content-Length"]))).decode()
        found = re.findall(r"^wyrt_cpu,\S* \S*switches_total=(\d+)i", body, re.M)
        if found: write("pushed", found[-1])
        self.send_response(204)
        self.send_header("Content-Length", "0")
        self.end_headers()
threading.Thread(target=http.server.ThreadingHTTPServer(("127.0.0.1", 8428), Store).serve_forever, daemon=True).start()
begun = False
while True:
    time.sleep(1)
    try:
        page = urllib.request.urlopen("http://127.0.0.1:9428/metrics", timeout=20).read().decode()
        begun = True
        found = re.findall(r"^wyrt_cpu_switches_total\S* (\d+)", page, re.M)
        if found: write("served", found[-1])
    except Exception as why:
        if not begun: continue
        with open("unanswered", "a") as file: print(repr(why), file=file)
END

# --- The run

"$churner" 1 &
steady=$!
counters >outer1
"$wyrt" record all --dir logs --config config -i "${interval}ms" --max-use 2M --keep-free 0 2>err &
run=$!
for ((i = 0; i < 500; i++)); do
    [ "$(grep -c ^END, logs/current.wyrt 2>/dev/null)" = 2 ] && break # the head's, and the first interval's
    pause 0.01
done
counters >inner1
python3 store.py 2>store.err &
store=$!
for ((i = 0; i < 200; i++)); do (exec 3<>/dev/tcp/127.0.0.1/8428) 2>/dev/null && break; pause 0.05; done
"$wyrt" push logs --cursor cursor --url http://127.0.0.1:8428/write 2>push.err &
push=$!
"$wyrt" serve logs --listen 127.0.0.1:9428 --state state 2>serve.err &
serve=$!
keep &
keeper=$!
SECONDS=0
for work in processes files mounts networks traffic ${group:+groups}; do
    "$work" 2>/dev/null &
    busy+=($!)
done
"$churner" &
busy+=($!)
number=0
while ((number < samples)) && kill -0 "$run" 2>/dev/null; do
    pause 0.25
    measure "$run" memory
    measure "$push" memory.push
    measure "$serve" memory.serve
    read -r number < <(tail -c 300 logs/current.wyrt | sed -n 's/^END,[^,]*,[^,]*,\([0-9]*\),.*/\1/p' | tail -n 1)
done
kill "${busy[@]}" && wait "${busy[@]}" 2>/dev/null
# shellcheck disable=SC2009 # those that the works have started
for pid in $(ps -o pid=,comm= | awk -v steady="$steady" '/live-churner/ && $1 != steady { print $1 }'); do kill "$pid"; done
counters >inner2
left=$(compgen -G '/sys/class/net/come*')
for ((i = 0; i < 50; i++)); do
    [ -z "$left" ] && break
    pause 0.1
    left=$(compgen -G '/sys/class/net/come*')
done
verdict 'soak: no network namespace is kept' "$left"
kill -INT "$run"
wait "$run"
status=$?
run=''
counters >outer2
pause 0.7
kill "$keeper"
wait "$keeper" 2>/dev/null

why=
((status == 0)) || why="status $status"
verdict 'soak: it ends by itself' "${why:-$(<err)}"
# Four files of each process that runs all the time stay open, and ten more of these may run on this machine now.
verdict 'soak: memory, descriptors and threads' "$(growth memory 'KB resident:1024' 'KB anonymous:1024' descriptors:43 threads:0)"
verdict 'soak: memory, descriptors and threads of push' "$(growth memory.push 'KB resident:4096' 'KB anonymous:4096' descriptors:3 threads:0)"
verdict 'soak: memory, descriptors and threads of serve' "$(growth memory.serve 'KB resident:4096' 'KB anonymous:4096' descriptors:3 threads:0)"
for file in memory memory.push memory.serve; do
    awk 'NR == 1 || NR % every == 0 { print name " after " $1 " s: resident " $2 " KB, anonymous " $3 " KB, descriptors " $4 ", threads " $5 }' \
        name="$file" every="$(($(wc -l <memory) / 20 + 1))" "$file" >>"$log"
done

"$wyrt" info --check kept >info 2>&1
figure() { sed -n "s/^$1 *\([0-9]*\).*/\1/p" info; }
why=
made=$(figure intervals)
((${made:-0} >= samples)) || why="only ${made:-no} intervals of $samples"
[ "$(figure gaps)" = 0 ] || why="$(figure gaps) gaps"
[ "$(figure damaged)" = 0 ] || why="$(figure damaged) damaged intervals"
verdict 'soak: no interval is lost' "$why"
((samples < 1000)) || cat info >>"$log"
why=
(($(find logs -name '*Z*.wyrt*' -printf '%s\n' | awk '{ sum += $1 } END { print sum + 0 }') <= 2 << 20)) ||
    why="$(du -sk logs) KB are in the folder"
(($(find kept -name '*.zst' | wc -l) > 0)) || why='no file is compressed'
verdict 'soak: files are compressed and removed' "$why"

sums >sums
why=$(for file in outer1 inner1 inner2 outer2 sums; do sed "s/^/$file /" "$file"; done | awk '
    { value[$1, $2] = $3; names[$2] = 1 }
    END {
        for (name in names) {
            if (("inner1", name) in value == 0 || ("outer2", name) in value == 0) continue
            low = value["inner2", name] - value["inner1", name]; high = value["outer2", name] - value["outer1", name]
            sum = value["sums", name]
            if (sum < low || sum > high) print name " is " sum ", not " low " to " high
            compared++; moved += low > 0
            printf "%s %.0f (%.0f to %.0f)\n", name, sum, low, high >figures
        }
        if (moved < 6) print "only " moved + 0 " of " compared + 0 " figures have moved"
    }' figures=figures)
sort figures >>"$log"
verdict 'soak: sums are what the kernel counted' "$why"

# --- What the others have

switches=$(sed -n 's/^CPU.switches //p' sums)
for name in pushed served; do
    for ((i = 0; i < 100; i++)); do
        [ "$(cat "$name" 2>/dev/null)" = "$switches" ] && break
        pause 0.1
    done
    echo "$name CPU.switches $(cat "$name" 2>&1)" >>"$log"
    verdict "soak: the sum that is $name" "$([ "$(cat "$name" 2>&1)" = "$switches" ] || echo "$(cat "$name" 2>&1), not $switches $(cat unanswered "${name%ed}.err" 2>/dev/null)")"
done
verdict 'soak: every question is answered' "$(tail -n 1 unanswered 2>/dev/null)"
kill "$push" "$serve" && wait "$push" "$serve"
verdict 'soak: push and serve have no trouble' "$(grep -hv ' answers on ' push.err serve.err store.err)"
kill "$store"
