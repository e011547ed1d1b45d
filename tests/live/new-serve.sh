#!/usr/bin/env bash
# `wyrt serve` on loopback, asked by curl, by hostile clients and by the real Prometheus, which must have what the log
# says, value by value, whatever happens to `serve` meanwhile.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"
export LC_ALL=C.UTF-8 TZ=UTC
: "${WYRT:?}"
tree=$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../..
tree=$(readlink -f -- "$tree")
maker=$(dirname -- "$WYRT")/live-logmaker

for tool in python3 curl; do
    command -v "$tool" >/dev/null || { echo "skip new-serve: there is no $tool"; exit 0; }
done
sandbox=$(mktemp -d) || exit 1
started=()
end() {
    for one in "${started[@]}"; do kill -KILL "$one" 2>/dev/null; done
    wait 2>/dev/null
    rm -rf "$sandbox"
}
trap end EXIT
cd "$sandbox" || exit 1

free_port() {
    python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}
port=$(free_port)
url=http://127.0.0.1:$port

# serve WORD...: starts it, sets `serving`, and waits until it answers.
serve() {
    "$WYRT" serve --listen "127.0.0.1:$port" "$@" 2>>serve.said &
    serving=$!
    started+=("$serving")
    answers
}
answers() {
    local try
    for ((try = 0; try < 200; try++)); do
        curl -s -o /dev/null --max-time 2 "$url/" && return 0
        kill -0 "$serving" 2>/dev/null || return 1
        sleep 0.05
    done
    return 1
}
stopped() { # SIGNAL
    kill "-$1" "$serving" 2>/dev/null
    wait "$serving" 2>/dev/null
}
status_of() { curl -s -o body --path-as-is --max-time 10 -w '%{http_code}' "$@"; }
check() { # NAME PYTHON: prints what is wrong
    verdict "$1" "$(python3 -c "$2" 2>&1 | tail -1)"
}

# --- The command
mkdir logs
serve logs --state state || bad 'it starts' "$(tail -n 1 serve.said)"
verdict 'an empty folder: nothing yet' "$(
    [ "$(status_of "$url/health")" = 503 ] || echo 'not 503'
    grep -q '"nothing yet"' body || cat body
)"
verdict 'a port in use is one clear line' "$(
    "$WYRT" serve logs --listen "127.0.0.1:$port" 2>said && echo 'no error'
    [ "$(cat said)" = "wyrt: cannot listen on 127.0.0.1:$port: Address already in use" ] || cat said
)"
ended=''
stopped TERM || ended="status $?"
verdict 'SIGTERM ends it well' "$ended"
if [ -e /proc/net/if_inet6 ] && python3 -c 'import socket; socket.socket(socket.AF_INET6).bind(("::1", 0))' 2>/dev/null; then
    "$WYRT" serve logs --listen "[::1]:$port" 2>said &
    six=$!
    started+=("$six")
    for ((try = 0; try < 100; try++)); do curl -gs -o body "http://[::1]:$port/" && break; sleep 0.05; done
    verdict 'it listens on IPv6' "$(grep -q /metrics body || cat said)"
    kill "$six" && wait "$six"
else
    echo 'skip it listens on IPv6: there is none'
fi

# --- A recorder, with processes of hostile names, and Prometheus
number=0
for name in 'a,b="c' 'back\slash' $'new\nline' $'\xff\xfe' $'sn\xc3\xb6'; do
    number=$((number + 1))
    ln -s "$(command -v bash)" "$name" 2>/dev/null || continue
    "./$name" -c 'while :; do for i in {1..20000}; do :; done; read -t 0.3 <> <(:); done' >/dev/null 2>&1 &
    started+=("$!")
done
"$WYRT" record all --dir logs -i 1s >/dev/null 2>recorder.said &
recorder=$!
started+=("$recorder")
serve logs --state state --top 20

server prometheus prometheus
prometheus=$found
server promtool prometheus
promtool=$found
if [ -n "$prometheus" ]; then
    asked=$(free_port)
    cat >prometheus.yml <<END_OF_FILE
global: {scrape_interval: 1s, scrape_timeout: 1s}
rule_files: [$tree/packaging/fleet/alerts.yml]
scrape_configs:
  - job_name: wyrt
    static_configs: [{targets: ['127.0.0.1:$port']}]
END_OF_FILE
    "$prometheus" --config.file=prometheus.yml --storage.tsdb.path=tsdb --web.listen-address="127.0.0.1:$asked" \
        >prometheus.said 2>&1 &
    started+=("$!")
fi

# Ended and started again at random, by signals that let it save its state and by one that does not.
sleep 4
for signal in TERM KILL KILL TERM KILL INT KILL; do
    sleep "0.$((RANDOM % 9))"
    sleep $((RANDOM % 2))
    stopped "$signal"
    serve logs --state state --top 20 || bad 'it starts again' "$(tail -n 1 serve.said)"
done
sleep 3

verdict 'while it records: well' "$(
    [ "$(status_of "$url/health")" = 200 ] || cat body
    grep -q '"status":"ok"' body || cat body
)"
curl -sf --retry 20 --retry-delay 1 "$url/metrics" >scraped
if [ -n "$promtool" ]; then
    # 0: well; 3: only opinions on names.
    verdict 'promtool takes what it gives, and the names' "$("$promtool" check metrics 2>&1 <scraped)"
fi
check 'hostile names are labels' '
import re
text = open("scraped", encoding="utf-8").read()
line = re.compile(r"(?:# (?:HELP|TYPE) [a-z_0-9]+ [^\n]+|[a-z_0-9]+\{[a-z_]+=\"(?:[^\"\\\n]|\\[\\\"n])*\"(?:,[a-z_]+=\"(?:[^\"\\\n]|\\[\\\"n])*\")*\} -?[0-9.e+-]+)")
for one in text.rstrip("\n").split("\n"): assert line.fullmatch(one), one
commands = set(re.findall(r"wyrt_process_cpu_seconds_total\{host=\"[^\"]*\",command=\"((?:[^\"\\]|\\.)*)\"", text))
for name in (r"a,b=\"c", r"back\\slash", r"new\nline", r"\\xFF\\xFE", "sn\u00f6"): assert name in commands, (name, commands)
'
verdict 'Accept decides' "$(
    type_of() { curl -s -o body -w '%{content_type}' "$@" "$url/metrics"; }
    [ "$(type_of)" = 'text/plain; version=0.0.4; charset=utf-8' ] || type_of
    [ "$(tail -n 1 body)" != '# EOF' ] || echo 'text has an EOF'
    [ "$(type_of -H 'Accept: application/openmetrics-text;version=1.0.0,text/plain;q=0.5')" = \
        'application/openmetrics-text; version=1.0.0; charset=utf-8' ] || echo 'no OpenMetrics'
    [ "$(tail -n 1 body)" = '# EOF' ] || echo 'OpenMetrics has no EOF'
    [ "$(type_of -H 'Accept: text/html')" = 'text/plain; version=0.0.4; charset=utf-8' ] || echo 'a browser gets no text'
)"

# --- Hostile requests
verdict 'nothing of the file system can be asked for' "$(
    for target in /../../../etc/passwd /metrics/../../etc/passwd /%2e%2e/%2e%2e/etc/passwd /metrics%00 //etc/passwd \
        /report/../../etc/passwd /metrics/ /favicon.ico; do
        status=$(status_of "$url$target")
        [ "$status" = 404 ] || echo "$target: $status"
    done
    for target in '/report?file=/etc/passwd' '/report?since=%00' '/report?since=-1h&output=x' '/report?since='; do
        status=$(status_of "$url$target")
        [ "$status" = 400 ] || echo "$target: $status"
    done
    status=$(status_of "$url/$(head -c 100000 /dev/zero | tr '\0' a)")
    case $status in 414 | 431 | 413 | 400 | 500) ;; *) echo "a long target: $status" ;; esac
    [ "$(status_of -X POST "$url/metrics")" = 405 ] || echo 'POST is taken'
    [ "$(status_of -X GET -d body "$url/metrics")" = 400 ] || echo 'a body is taken'
    grep -qs root: body && echo 'a password file'
    [ ! -e x ] || echo 'a file was written'
)"
verdict 'a report is a page, and an empty span is none' "$(
    [ "$(status_of "$url/report?since=-5m")" = 200 ] || cat body
    grep -q '<!DOCTYPE html>' body || head -c 100 body
    [ "$(status_of "$url/report?since=2001-01-01&until=2001-01-02")" = 404 ] || echo 'a page of nothing'
    [ "$(status_of "$url/report?since=noon")" = 400 ] || echo 'noon is a time'
)"

# --- A flood: many connections that say little, or read nothing
verdict 'a flood of slow clients: answered or refused, and memory is flat' "$(
    python3 "$tree/tests/live/flood.py" "$port" "$serving" 2>flood.said || tail -n 1 flood.said
)"

# --- What Prometheus has is what the log says
kill -INT "$recorder" && wait "$recorder"
sleep 4
"$WYRT" export logs --format jsonl >log.jsonl
if [ -z "$prometheus" ]; then
    echo 'skip what Prometheus has is what the log says: there is no prometheus'
else
    verdict 'what Prometheus has is what the log says, value by value' "$(python3 "$tree/tests/live/scraped.py" "$asked" 2>&1 | tail -1)"
fi

# --- Counters outlive the folder's retention
total() { awk '/^wyrt_cpu_switches_total/ { printf "%.0f\n", $2 }' "$1"; }
curl -s "$url/metrics" >before
stopped TERM
rm -rf logs/*
"$WYRT" record cpu --dir logs -i 1s -c 3 >/dev/null 2>&1
serve logs --state state --top 20
for ((try = 0; try < 40; try++)); do
    curl -sf "$url/metrics" >after && [ "$(total after)" != "$(total before)" ] && break
    sleep 0.1
done
new=$("$WYRT" export logs --format csv --kind CPU --fields switches | awk '{ sum += $1 } END { printf "%.0f\n", sum }')
verdict 'counters go on when the logs they came from are gone' "$(
    [ "$(total after)" = $(($(total before) + new)) ] || echo "$(total before) and $new are $(total after)"
)"
stopped TERM
verdict 'a damaged state is reported, and is no end' "$(
    head -c 1000 state >part && mv part state
    "$WYRT" serve logs --state state --listen "127.0.0.1:$port" 2>said &
    one=$!
    for ((try = 0; try < 100; try++)); do curl -s -o /dev/null "$url/" && break; sleep 0.05; done
    kill "$one" && wait "$one" || echo 'it did not end well'
    grep -q "^wyrt: 'state' is damaged; they begin anew$" said || cat said
)"

# --- Many hosts in one folder
if [ ! -x "$maker" ]; then
    echo 'skip many hosts in one folder: there is no live-logmaker'
else
    mkdir many
    for ((i = 0; i < 50; i++)); do "$maker" one "host$i" >"many/host$i.wyrt"; done
    serve many --since @0
    for ((try = 0; try < 100; try++)); do
        curl -s "$url/metrics" >scraped
        [ "$(grep -c '^wyrt_cpu_user_seconds_total{host="host' scraped)" = 50 ] && break
        sleep 0.1
    done
    verdict 'many hosts in one folder: each has its label' "$(
        count=$(grep -c '^wyrt_cpu_user_seconds_total{host="host' scraped)
        [ "$count" = 50 ] || echo "$count hosts"
        [ -z "$promtool" ] || "$promtool" check metrics <scraped 2>&1
    )"
    stopped TERM
fi

# --- The dashboard and the alerts
if [ -z "$promtool" ]; then
    echo 'skip promtool takes alerts and dashboard: there is no promtool'
else
    verdict 'promtool takes the alerts' "$("$promtool" check rules "$tree/packaging/fleet/alerts.yml" >said 2>&1 || tail -1 said)"
    if command -v jq >/dev/null; then
        verdict 'promtool takes every expression of the dashboard' "$(
            jq -e '.panels | length > 10' "$tree/packaging/fleet/dashboard.json" >/dev/null || echo 'no dashboard'
            # shellcheck disable=SC2016 # these are Grafana's
            jq -r '.panels[].targets[]?.expr' "$tree/packaging/fleet/dashboard.json" |
                sed 's/\$__rate_interval/5m/g; s/\$host/.*/g' |
                jq -Rn '{groups: [{name: "dashboard", rules: [inputs | {record: "x:y", expr: .}]}]}' >rules.json
            [ "$(jq '.groups[0].rules | length' rules.json)" -gt 20 ] || echo 'few expressions'
            "$promtool" check rules rules.json >said 2>&1 || grep -m 1 -i error said
        )"
    else
        echo 'skip promtool takes every expression of the dashboard: there is no jq'
    fi
fi
