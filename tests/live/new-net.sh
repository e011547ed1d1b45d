#!/usr/bin/env bash
# Compares the interfaces, addresses and protocol counters of `wyrt record` with what ip and nstat say of the same
# seconds, in a network namespace of its own: there the figures must be equal.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"
export LC_ALL=C

for tool in ip nstat; do
    command -v "$tool" >/dev/null || { echo "skip new-net: there is no $tool"; exit 0; }
done
in_namespaces new-net

sandbox=$(mktemp -d) || exit 1
program=
trap '[ -n "$program" ] && kill "$program" 2>/dev/null; rm -rf "$sandbox"' EXIT
cd "$sandbox" || exit 1
ip link set lo up
# A bridge without ports, and a pair of veths: one of them comes while the program runs.
ip link add wyrt0 type bridge || { echo "skip new-net: no bridge can be made"; exit 0; }
ip addr add 192.0.2.1/24 dev wyrt0
ip link set wyrt0 up mtu 1400

# cells KIND FIELD... : these fields of the log's lines of a kind, by the names of its head.
cells() {
    awk -F, -v kind="$1" -v names="${*:2}" '
        $1 == "#" kind { for (i = 1; i <= NF; i++) at[$i] = i; n = split(names, wanted, " ") }
        $1 == kind { for (i = 1; i <= n; i++) printf "%s%s", $at[wanted[i]], i < n ? " " : "\n" }' log
}
counters() { awk '{ sub(":", " ") } $1 == "lo" { print $2, $3, $10, $11 }' /proc/net/dev; }
quiet() { # the same counters twice: nothing is under way any more
    local was=
    until [ "$was" = "$(counters)" ]; do was=$(counters); sleep 0.05; done
}

quiet
read -r rx_bytes rx_packets tx_bytes tx_packets <<<"$(counters)"
NSTAT_HISTORY=$sandbox/history nstat -n
"$WYRT" record net proto -i 200ms -c 8 -o log 2>errors &
program=$!
for ((i = 0; i < 100; i++)); do
    [ -s log ] && grep -q '^LINK,' log && break
    sleep 0.02
done
for ((i = 0; i < 40; i++)); do echo "datagram $i" >/dev/udp/127.0.0.1/9; done 2>/dev/null
ip addr add 127.0.0.2/8 dev lo
ip link set wyrt0 down && ip link set wyrt0 name renamed
ip link add wyrt1 type veth peer name wyrt2 && ip link set wyrt1 up && ip addr add 2001:db8::7/64 dev wyrt1 nodad
wait "$program" || bad new-net "record ended with $?: $(head -n 1 errors)"
program=
quiet

read -r rx_bytes_now rx_packets_now tx_bytes_now tx_packets_now <<<"$(counters)"
expected="$((rx_bytes_now - rx_bytes)) $((rx_packets_now - rx_packets)) $((tx_bytes_now - tx_bytes)) $((tx_packets_now - tx_packets))"
seen=$(cells LINK name rx_bytes rx_packets tx_bytes tx_packets | awk '$1 == "lo" { a += $2; b += $3; c += $4; d += $5 } END { print a + 0, b + 0, c + 0, d + 0 }')
why=
[ "$seen" = "$expected" ] || why="record has $seen, the kernel $expected"
[ "${expected%% *}" -gt 1000 ] || why="only $expected was sent"
verdict new-net-traffic "$why"

# Interfaces as they were at the end: the last row of each.
ip -o link | awk '{ sub(":", "", $2); sub("@.*", "", $2); mtu = ""; state = ""
    for (i = 3; i < NF; i++) { if ($i == "mtu") mtu = $(i + 1); if ($i == "state") state = tolower($(i + 1)) }
    print $2, state, mtu }' | sort >expected
cells LINK index name state mtu | awk '{ last[$1] = $2 " " $3 " " $4 } END { for (i in last) print last[i] }' | sort >seen
verdict new-net-links "$(diff expected seen)"

ip -o addr | awk '{ print $2, $4 }' | sort >expected
cells ADDR name address prefix present | awk '{ last[$1 " " $2 "/" $3] = $4 } END { for (i in last) if (last[i]) print i }' |
    sed 's/^wyrt0 /renamed /' | sort -u >seen
verdict new-net-addresses "$(diff expected seen)"

# Counters of nstat have their protocol in their names. What moved after the last sample cannot be in the log: nothing.
NSTAT_HISTORY=$sandbox/history nstat | awk '!/^#/ && $2 > 0 { print $1, $2 }' | grep -v -e CurrEstab -e '^TcpRto' | sort >expected
cells PROTO protocol name amount | awk '$3 != "" { sum[$1 $2] += $3 } END { for (i in sum) if (sum[i]) print i, sum[i] }' | sort >seen
why=$(diff expected seen)
grep -q '^UdpOutDatagrams 40$' seen || why="40 datagrams were sent, and record has $(grep UdpOut seen)"
verdict new-net-counters "$why"

# The interfaces of another namespace, while a process is in it: what they have moved in all, from the first sample on.
unshare --net bash -c 'ip link set lo up; echo $$ >inside; exec sleep 30' &
other=$!
trap 'kill "$other" 2>/dev/null; rm -rf "$sandbox"' EXIT
for ((i = 0; i < 100; i++)); do [ -s inside ] && break; sleep 0.02; done
inside=$(<inside)
moved() { awk '{ sub(":", " ") } $1 == "lo" { print $2, $3 }' "/proc/$inside/net/dev"; }
read -r rx_bytes rx_packets <<<"$(moved)"
"$WYRT" record net proc -i 300ms -c 6 -o log 2>errors &
program=$!
for ((i = 0; i < 100; i++)); do
    grep -q '^END,' log 2>/dev/null && grep -q '^NSLINK,' log && break
    sleep 0.02
done
# shellcheck disable=SC2016 # the other bash counts
nsenter --net="/proc/$inside/ns/net" bash -c 'for ((i = 0; i < 60; i++)); do echo "datagram $i" >/dev/udp/127.0.0.1/9; done' 2>/dev/null
wait "$program" || bad new-net-namespace "record ended with $?: $(head -n 1 errors)"
program=
read -r rx_bytes_now rx_packets_now <<<"$(moved)"
expected="$((rx_bytes_now - rx_bytes)) $((rx_packets_now - rx_packets))"
number=$(stat -Lc %i "/proc/$inside/ns/net")
seen=$(cells NSLINK netns name rx_bytes rx_packets | awk -v wanted="$number" '$1 == wanted && $2 == "lo" { a += $3; b += $4 } END { print a + 0, b + 0 }')
why=
[ "$seen" = "$expected" ] || why="record has $seen, the kernel $expected"
[ "${expected#* }" -ge 60 ] || why="only $expected was sent"
kill "$other" 2>/dev/null
verdict new-net-namespace "$why"
