#!/usr/bin/env bash
# ClickHouse takes what wyrt export gives, with the tables, the pipe and the queries as docs/fleet.md has them.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"
export LC_ALL=C.UTF-8
: "${WYRT:?}"
guide=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../../docs" && pwd)/fleet.md
skip() {
    echo "skip new-clickhouse: $1"
    exit 0
}

# The server with what it needs, unpacked beside the program.
servers=$(dirname -- "$WYRT")/servers/clickhouse
program=$servers/usr/sbin/clickhouse-server
if [ ! -x "$program" ] && command -v dpkg-deb apt-get >/dev/null; then
    mkdir -p "$servers" && (
        cd "$servers" || exit
        mapfile -t packages < <(apt-get -s install --no-install-recommends clickhouse-server clickhouse-client 2>/dev/null |
            awk '/^Inst/ { print $2 }')
        apt-get -q download "${packages[@]}" && for one in *.deb; do dpkg-deb -x "$one" . && rm -f "$one"; done
    ) >/dev/null 2>&1
fi
[ -x "$program" ] || skip 'there is no clickhouse-server'
in_namespaces new-clickhouse
command -v python3 >/dev/null || skip 'there is no python3'
python3 -c '
import fcntl, socket, struct
s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
fcntl.ioctl(s, 0x8914, struct.pack("16sh", b"lo", 1 | 64))' # SIOCSIFFLAGS: up, running

sandbox=$(mktemp -d) || exit 1
end() {
    kill -9 "${server:-}" "${recorder:-}" 2>/dev/null
    wait 2>/dev/null
    rm -rf "$sandbox"
}
trap end EXIT
cd "$sandbox" || exit 1

run() { LD_LIBRARY_PATH=$servers/usr/lib/x86_64-linux-gnu "$@"; }
clickhouse-client() { run "$servers/usr/bin/clickhouse-client" --port 9900 "$@"; }
cat >config.xml <<END
<yandex><logger><level>warning</level><log>$sandbox/log</log><errorlog>$sandbox/err</errorlog></logger>
<http_port>9123</http_port><tcp_port>9900</tcp_port><listen_host>127.0.0.1</listen_host>
<path>$sandbox/data/</path><tmp_path>$sandbox/data/tmp/</tmp_path><users_config>users.xml</users_config>
<default_profile>default</default_profile><default_database>default</default_database>
<mark_cache_size>50000000</mark_cache_size></yandex>
END
cat >users.xml <<'END'
<yandex><profiles><default></default></profiles><quotas><default></default></quotas>
<users><default><password></password><networks><ip>::/0</ip></networks><profile>default</profile><quota>default</quota></default></users></yandex>
END
mkdir data
run "$program" --config-file config.xml >out 2>&1 &
server=$!
for ((i = 0; i < 100; i++)); do
    clickhouse-client --query 'SELECT 1' >/dev/null 2>&1 && break
    kill -0 $server 2>/dev/null || skip "the server does not start: $(tail -n 1 out)"
    sleep 0.2
done

# sql N: the Nth block of SQL after the title.
sql() { awk -v wanted="$1" '/^## ClickHouse/ { on = 1 } on && /^```sql/ { n++; next } /^```/ { if (n == wanted) exit } on && n == wanted' "$guide"; }
why=
clickhouse-client --multiquery --query "$(sql 1)" 2>err || why=$(tail -n 1 err)
[ "$(clickhouse-client --query 'SHOW TABLES' | tr '\n' ' ')" = 'cpu disk proc ' ] || why=${why:-$(clickhouse-client --query 'SHOW TABLES')}
verdict 'tables' "$why"

# What is recorded goes into the tables while it is recorded.
"$WYRT" record cpu disk proc -i 1s -c 6 -o machine.wyrt 2>err </dev/null &
recorder=$!
while [ ! -s machine.wyrt ]; do sleep 0.1; done
options=$(sed -n '/clickhouse-client --max_insert/,/--query/p' "$guide" | tr -d '\\\n' | sed 's/.*clickhouse-client//; s/--query.*//')
for kind in CPU DISK PROC; do
    # shellcheck disable=SC2086 # words
    timeout 12 "$WYRT" export machine.wyrt --format jsonl --kind $kind --follow |
        clickhouse-client $options --query "INSERT INTO ${kind,,} FORMAT JSONEachRow" 2>"err.$kind" &
done
wait $recorder
for ((i = 0; i < 150; i++)); do pgrep -f usr/bin/clickhouse-client >/dev/null || break; sleep 0.1; done

# sums TABLE COLUMN...: as the server has them; sums of the same fields as CSV has them.
sums() { clickhouse-client --query "SELECT count(), sum($2), sum($3) FROM $1 FINAL" | tr '\t' ' '; }
expected() {
    "$WYRT" export machine.wyrt --format csv --kind "${1^^}" --fields "$2,$3" | python3 -c '
import csv, sys
rows = list(csv.DictReader(sys.stdin))
print(len(rows), *(sum(int(row[name] or 0) for row in rows) for name in sys.argv[1:]))' "$2" "$3"
}
for words in 'cpu user system' 'disk writes write_bytes' 'proc cpu read_bytes'; do
    # shellcheck disable=SC2086
    has=$(sums $words) wants=$(expected $words)
    why=
    [ "$has" = "$wants" ] || why="the server has $has, the log $wants: $(tail -n 1 "err.${words%% *}" 2>/dev/null)"
    verdict "rows of ${words%% *}" "$why"
done

# What is sent again replaces what is there.
before=$(sums proc cpu read_bytes)
# shellcheck disable=SC2086
"$WYRT" export machine.wyrt --format jsonl --kind PROC | clickhouse-client $options --query 'INSERT INTO proc FORMAT JSONEachRow' 2>err
why=
[ "$(sums proc cpu read_bytes)" = "$before" ] || why="from $before to $(sums proc cpu read_bytes)"
verdict 'rows that are sent twice' "$why"

why=
clickhouse-client --multiquery --query "$(sql 2)" >answers 2>err || why=$(tail -n 1 err)
[ -s answers ] || why=${why:-no answer}
verdict 'queries' "$why"
