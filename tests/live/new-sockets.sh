#!/usr/bin/env bash
# Compares the sockets of `wyrt record` with what ss and the programs that use them say, in namespaces of its own: bytes of
# connections of both families, short connections, owners that inherit, a listener that nobody serves, and another network
# namespace over a pair of veths that ends while it is watched.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"
export LC_ALL=C

for tool in ip ss python3; do
    command -v "$tool" >/dev/null || { echo "skip new-sockets: there is no $tool"; exit 0; }
done
in_namespaces new-sockets

sandbox=$(mktemp -d) || exit 1
children=()
end() {
    for child in "${children[@]}"; do kill "$child" 2>/dev/null; done
    rm -rf "$sandbox"
}
trap end EXIT
cd "$sandbox" || exit 1
ip link set lo up
ss -tin >/dev/null 2>&1 || { echo "skip new-sockets: ss does not work here"; exit 0; }

# sums LOG KIND CONDITION FIELD...: the sums of these fields over the lines for which the awk condition holds. In it c["name"]
# is the number of a field.
sums() {
    awk -F, -v kind="$2" -v names="${*:4}" '
        $1 == "#" kind { for (i = 1; i <= NF; i++) c[$i] = i; n = split(names, wanted, " ") }
        $1 == kind && ('"$3"') { for (i = 1; i <= n; i++) sum[i] += $c[wanted[i]] }
        END { for (i = 1; i <= n; i++) printf "%d%s", sum[i], i < n ? " " : "\n" }' "$1"
}
# wait_for FILE: until the file is there
wait_for() { for ((i = 0; i < 500 && ! $(test -e "$1" && echo 1 || echo 0); i++)); do sleep 0.02; done; }
record() { # LOG INTERVALS
    "$WYRT" record sock why -i 500ms -c "$2" -o "$1" 2>errors || bad new-sockets "record ended with $?: $(head -n 1 errors)"
}

# --- Connections that move a known number of bytes, both families

cat >talk.py <<'E'
import os, socket, time
pairs = []
for address, family, port in (("127.0.0.1", socket.AF_INET, 7001), ("::1", socket.AF_INET6, 7002)):
    listener = socket.create_server((address, port), family=family)
    here = socket.create_connection((address, port))
    pairs.append((here, listener.accept()[0], listener))
open("ready", "w").close()
while not os.path.exists("go"):
    time.sleep(0.01)
time.sleep(0.7)
for size, (here, there, _) in zip((3000000, 5000000), pairs):
    for _ in range(0, size, 100000):
        here.sendall(b"x" * 100000)
        left = 100000
        while left:
            left -= len(there.recv(left))
        time.sleep(0.005)
open("finished", "w").close()
time.sleep(30)
E
python3 talk.py &
talker=$!
children+=("$talker")
wait_for ready
touch go
record talk 5
wait_for finished
why=
for case in "7001 3000000" "7002 5000000"; do
    read -r port bytes <<<"$case"
    read -r received _ <<<"$(sums talk SOCK "\$c[\"port\"] == $port" received sent)"
    read -r _ sent <<<"$(sums talk SOCK "\$c[\"peer_port\"] == $port" received sent)"
    [ "$received" = "$bytes" ] || why+="$port received $received of $bytes; "
    [ "$sent" = "$bytes" ] || why+="$port sent $sent of $bytes; "
    told=$(ss -tinH state established "sport = :$port" | grep -o 'bytes_received:[0-9]*' | cut -d: -f2)
    [ "$told" = "$bytes" ] || why+="ss says $told of $bytes; "
done
verdict new-sockets-bytes "$why"

why=
owners=$(awk -F, '$1 == "#SOCK" { for (i = 1; i <= NF; i++) c[$i] = i }
    $1 == "SOCK" && ($c["port"] ~ /^700[12]$/ || $c["peer_port"] ~ /^700[12]$/) { print $c["pid"] }' talk | sort -u)
[ "$owners" = "$talker" ] || why="the owners are '$owners', not $talker"
ss -tnpH "sport = :7001" | grep -q "pid=$talker," || why="ss does not name $talker"
verdict new-sockets-owner "$why"
read -r segments explained <<<"$(sums talk SELF 1 tcp_segments tcp_explained)"
why=
[ "$segments" -gt 100 ] && [ $((explained * 100)) -ge $((segments * 98)) ] || why="$explained of $segments segments are explained"
verdict new-sockets-segments "$why"
kill "$talker"
wait "$talker" 2>/dev/null

# --- Short connections

cat >short.py <<'E'
import os, socket, sys, threading, time
listener = socket.create_server(("127.0.0.1", 7003), backlog=4000)
def serve():
    while True:
        one = listener.accept()[0]
        while one.recv(65536):
            pass
        one.close()
threading.Thread(target=serve, daemon=True).start()
open("ready2", "w").close()
while not os.path.exists("go2"):
    time.sleep(0.01)
time.sleep(0.7)
start, count = time.monotonic(), int(sys.argv[1])
for i in range(count):
    one = socket.create_connection(("127.0.0.1", 7003))
    one.sendall(b"x" * 1000)
    one.close()
    late = start + i / 2000 - time.monotonic()
    if late > 0:
        time.sleep(late)
open("rate", "w").write("%d\n" % (count / (time.monotonic() - start)))
time.sleep(1.5)
E
rm -f ready2 go2
python3 short.py 4000 &
children+=($!)
wait_for ready2
touch go2
record short 12
wait_for rate
sleep 0.1
read -r received sent lost <<<"$(sums short NETNS "\$c[\"own\"] == 1" received sent reports_lost)"
why=
if [ "$lost" -gt 0 ]; then
    echo "skip new-sockets-short: reports were lost $lost times"
else
    # The end of a connection counts one byte where it is received.
    [ "$received" -ge 3920000 ] && [ "$received" -le 4010000 ] || why="received $received of 4000000 at $(cat rate)/s"
    [ "$sent" -ge 3920000 ] && [ "$sent" -le 4010000 ] || why="sent $sent of 4000000 at $(cat rate)/s"
    verdict new-sockets-short "$why"
fi

# --- A listener that four processes have and none serves, beside one that is served: three times

cat >full.py <<'E'
import os, socket, sys, threading, time
port = int(sys.argv[1])
deaf = socket.socket()
deaf.bind(("127.0.0.1", port))
deaf.listen(5)
for _ in range(3):
    if os.fork() == 0:
        time.sleep(30)
        os._exit(0)
good = socket.create_server(("127.0.0.1", port + 1))
threading.Thread(target=lambda: [good.accept()[0].close() for _ in iter(int, 1)], daemon=True).start()
open("ready%d" % port, "w").close()
waiting = []
for _ in range(400):
    for where in (port, port + 1):
        one = socket.socket()
        one.setblocking(False)
        try:
            one.connect(("127.0.0.1", where))
        except BlockingIOError:
            pass
        waiting.append(one)
    time.sleep(0.01)
E
why=
for port in 7100 7200 7300; do
    python3 full.py $port &
    full=$!
    children+=("$full")
    wait_for ready$port
    record full$port 4
    who=$(awk -F, -v object="127.0.0.1:$port" '$1 == "#WHO" { for (i = 1; i <= NF; i++) c[$i] = i }
        $1 == "WHO" && $c["resource"] == "LISTEN" && $c["object"] == object && $c["place"] == 1 { print $c["pid"], $c["count"] }' full$port | sort -u)
    [ "$who" = "$full 4" ] || why+="$port: the culprit is '$who', not '$full 4'; "
    grep -q "^WHO,.*,LISTEN,127.0.0.1:$((port + 1))," full$port && why+="$port: the one that is served is named; "
    pkill -P "$full"
    kill "$full"
    wait "$full" 2>/dev/null
done
verdict new-sockets-listener "$why"

# --- Another network namespace

if ! ip netns add wyrt0 2>/dev/null || ! ip link add wyrt1 type veth peer name wyrt2 netns wyrt0 2>/dev/null; then
    echo "skip new-sockets-namespace: no network namespace can be made"
    exit 0
fi
ip addr add 192.0.2.1/24 dev wyrt1 && ip link set wyrt1 up
ip -n wyrt0 addr add 192.0.2.2/24 dev wyrt2 && ip -n wyrt0 link set wyrt2 up && ip -n wyrt0 link set lo up
inode=$(ip netns exec wyrt0 stat -L -c %i /proc/self/ns/net)
cat >there.py <<'E'
import socket
listener = socket.create_server(("192.0.2.2", 7400))
open("ready3", "w").close()
one = listener.accept()[0]
while one.recv(65536):
    pass
E
ip netns exec wyrt0 python3 there.py &
there=$!
children+=("$there")
wait_for ready3
"$WYRT" record sock -i 500ms -c 8 -o there 2>errors &
program=$!
children+=("$program")
sleep 0.8
python3 - <<'E'
import socket, time
one = socket.create_connection(("192.0.2.2", 7400))
for _ in range(20):
    one.sendall(b"x" * 50000)
    time.sleep(0.02)
time.sleep(0.7)
E
wait "$there"
ip netns del wyrt0
sleep 0.6 # an interval
why=
ip link show wyrt1 >/dev/null 2>&1 && why="the pair of veths is still there after the end of the namespace"
kill -0 "$program" 2>/dev/null || why="the recorder has ended before"
verdict new-sockets-namespace-ends "$why"
wait "$program"
read -r received <<<"$(sums there SOCK "\$c[\"netns\"] == $inode && \$c[\"port\"] == 7400" received)"
why=
[ "$received" -ge 1000000 ] && [ "$received" -le 1000001 ] || why="received $received of 1000000 in namespace $inode"
verdict new-sockets-namespace "$why"
