#!/usr/bin/env bash
# What `wyrt export` writes is read by other programs: Python's csv, json and sqlite3, jq, sqlite3 and promtool, and
# compared with the log as the reader of docs/log.md has it. The log has names that would break a format that does not
# quote them.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"
export LC_ALL=C.UTF-8
: "${WYRT:?}"
tree=$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../..

sandbox=$(mktemp -d) || exit 1
writers=()
end() {
    for one in "${writers[@]}"; do kill "$one" 2>/dev/null; done
    wait 2>/dev/null
    rm -rf "$sandbox"
}
trap end EXIT
cd "$sandbox" || exit 1
if ! command -v python3 >/dev/null; then
    echo 'skip new-export: there is no python3'
    exit 0
fi

# --- A log with processes and files of hostile names
mkdir names
number=0
for name in 'a,b' 'say "hi"' 'back\slash' $'new\nline' $'tab\there' $'\x01\x7f' $'\xff\xfe' $'sn\xc3\xb6' '=1+1' '\x41' "it's"; do
    number=$((number + 1))
    (
        exec -a "name $name" bash -c 'while :; do echo text; done' >"names/$name" 2>/dev/null &
        echo $! >"pid.$number"
    )
    writers+=("$(cat "pid.$number")")
done
"$WYRT" record all -i 500ms -c 4 -o log || { bad 'a log to export' 'record failed'; exit 0; }
for one in "${writers[@]}"; do kill "$one" 2>/dev/null; done

# The reader of docs/log.md.
awk '/^```python$/ { on = 1; next } /^```$/ { on = 0 } on' "$tree/docs/log.md" >wyrtlog.py
cat >truth.py <<'END'
import wyrtlog
# The log's own records: (kind, {field: bytes}) with the texts as an export has them.
def valid(raw):
    out = ""
    while raw:
        try:
            out += raw.decode()
            raw = b""
        except UnicodeDecodeError as e:
            out += raw[:e.start].decode() + "".join("\\x%02X" % b for b in raw[e.start:e.start + 1])
            raw = raw[e.start + 1:]
    return out.replace("\0", "\\x00")
def records(path="log"):
    for number, good, rows in wyrtlog.intervals(open(path, "rb")):
        if number == 0 or not good: continue
        for kind, fields in rows:
            yield kind.decode(), {name.decode(): valid(value) for name, value in fields.items()}
END

# --- CSV, TSV, JSON Lines
compare() { # NAME PYTHON: prints what is wrong
    verdict "$1" "$(python3 -c "$2" 2>&1 | tail -1)"
}
"$WYRT" export log --format csv >log.csv
compare "Python's csv reads what csv writes" '
import csv, truth
rows, titles = [], {}
for line in csv.reader(open("log.csv", newline="", encoding="utf-8"), strict=True):
    if line[0] == "record": titles_next = line[1:]
    else:
        if line[0] not in titles: titles[line[0]] = titles_next
        assert len(line) - 1 == len(titles[line[0]]), line
        rows.append((line[0], dict(zip(titles[line[0]], line[1:]))))
wanted = list(truth.records())
assert len(rows) == len(wanted) > 100, (len(rows), len(wanted))
for (kind, row), (own, fields) in zip(rows, wanted):
    assert kind == own, (kind, own)
    for name, value in fields.items(): assert row[name] == value, (kind, name, row[name], value)
    assert set(row) - set(fields) == {"host"}, row
'
"$WYRT" export log --format csv -o folder/ # which is made
compare 'a CSV file for each kind' '
import csv, truth, collections
wanted = collections.Counter(kind for kind, fields in truth.records())
for kind, count in wanted.items():
    rows = list(csv.DictReader(open("folder/%s.csv" % kind, newline="", encoding="utf-8"), strict=True))
    assert len(rows) == count, (kind, len(rows), count)
    assert all(None not in row and None not in row.values() for row in rows), kind
'
"$WYRT" export log --format tsv --kind PROC >log.tsv
compare 'tab-separated values split at tabs' '
import re, truth
lines = open("log.tsv", encoding="utf-8", newline="").read().split("\n")
assert lines.pop() == ""
names = lines[0].split("\t")
letters = {"t": "\t", "n": "\n", "r": "\r", "\\": "\\"}
rows = [dict(zip(names, (re.sub(r"\\(.)", lambda m: letters[m[1]], cell) for cell in line.split("\t")))) for line in lines[1:]]
wanted = [fields for kind, fields in truth.records() if kind == "PROC"]
assert len(rows) == len(wanted)
for row, fields in zip(rows, wanted):
    for name, value in fields.items(): assert row[name] == value, (name, row[name], value)
'
"$WYRT" export log --format jsonl >log.jsonl
compare "Python's json reads what jsonl writes" '
import json, truth
rows = [json.loads(line) for line in open("log.jsonl", encoding="utf-8", newline="\n")]
wanted = list(truth.records())
assert len(rows) == len(wanted)
for row, (kind, fields) in zip(rows, wanted):
    assert row.pop("record") == kind
    row.pop("host")
    for name, value in fields.items():
        if value == "": assert name not in row, (name, row)
        elif isinstance(row[name], str): assert row[name] == value, (kind, name, row[name], value)
        else: assert float(row[name]) == float(value), (kind, name, row[name], value)
    assert set(row) == {name for name in fields if fields[name] != ""}, row
'
if command -v jq >/dev/null; then
    verdict 'jq reads what jsonl writes' "$(
        jq -c .record log.jsonl >records 2>&1 || head -1 records
        [ "$(wc -l <records)" = "$(wc -l <log.jsonl)" ] || echo 'another number of records'
    )"
else
    echo 'skip jq reads what jsonl writes: there is no jq'
fi
for name in 'a,b' 'say "hi"' $'new\nline' $'sn\xc3\xb6' '\xFF\xFE'; do
    NAME=$name compare "the name $(printf %q "$name") comes through" '
import json, os
rows = (json.loads(line) for line in open("log.jsonl", encoding="utf-8", newline="\n"))
wanted = os.environ["NAME"]
if not any(row["record"] == "FILE" and row["path"].endswith("/names/" + wanted) for row in rows): print("no file has it")
'
done
"$WYRT" export log --format csv --kind CPU --fields secs,user >amounts
"$WYRT" export log --format csv --kind CPU --fields user --rates >rates
verdict 'a rate is the amount divided by the seconds' "$(paste -d, amounts rates | awk -F, '
    NR == 1 && $3 != "user_per_s" { print "the title is " $3 }
    NR > 1 && $2 != "" { n++; want = $2 / $1; if ($3 < want * .999999 || $3 > want * 1.000001) print $0 }
    END { if (n < 3) print n + 0 " rates" }')"

# --- SQLite
"$WYRT" export log -o log.db && "$WYRT" export log -o log.db
compare "Python's sqlite3 reads what sqlite writes, once" '
import collections, sqlite3, truth
db = sqlite3.connect("log.db")
assert db.execute("PRAGMA integrity_check").fetchall() == [("ok",)]
records = list(truth.records())
for kind, count in collections.Counter(kind for kind, fields in records).items():
    table = "\"" + kind.lower() + "\""
    assert db.execute("SELECT count(*) FROM " + table).fetchone() == (count,), kind
    rows = db.execute("SELECT * FROM " + table + " ORDER BY rowid")
    names = [column[0] for column in rows.description]
    for row, fields in zip(rows, (fields for own, fields in records if own == kind)):
        for name, value in zip(names, row):
            if name in ("interval", "time"): continue
            text = fields[name]
            if value is None: assert text == "", (kind, name, text)
            elif isinstance(value, str): assert value == text, (kind, name, value, text)
            elif isinstance(value, int): assert value == int(text), (kind, name, value, text)
            else: assert value == float(text), (kind, name, value, text)
assert db.execute("SELECT count(*) FROM intervals").fetchone() == (4,)
for (view,) in db.execute("SELECT name FROM sqlite_master WHERE type = \"view\"").fetchall():
    db.execute("SELECT * FROM \"%s\"" % view).fetchall()
'

# --- Time series
server promtool prometheus
"$WYRT" export log --format openmetrics >log.om
"$WYRT" export log --format influx >log.lp
if [ -z "$found" ]; then
    echo 'skip promtool reads what openmetrics writes: there is no promtool'
else
    verdict 'promtool reads what openmetrics writes' "$(
        if "$found" tsdb create-blocks-from openmetrics log.om blocks >said 2>&1; then
            mkdir blocks/wal # without it nothing is dumped
            "$found" tsdb dump blocks >points 2>said || tail -1 said
        else
            tail -1 said
        fi
    )"
    compare 'the last value of a counter is the sum of its amounts' '
import collections, re, truth
points, sums = collections.defaultdict(dict), collections.Counter()
for line in open("points", encoding="utf-8"):
    series, value, at = line.rstrip("\n").rsplit(" ", 2)
    labels = dict(re.findall(r"(\w+)=\"((?:[^\"\\]|\\.)*)\"", series))
    points[labels["__name__"], labels.get("disk") or labels.get("interface") or ""][int(at)] = float(value)
for kind, fields in truth.records():
    for field, name, unit in (("reads", "reads", 1), ("write_bytes", "write_bytes", 1), ("busy_us", "busy_seconds", 1e6)):
        if kind == "DISK": sums["wyrt_disk_%s_total" % name, fields["name"]] += int(fields[field] or 0) / unit
    if kind == "CPU": sums["wyrt_cpu_switches_total", ""] += int(fields["switches"]); sums["wyrt_cpu_user_seconds_total", ""] += int(fields["user"]) / 1e6
assert len(sums) >= 5, sums
for series, total in sums.items():
    values = [value for at, value in sorted(points[series].items())]
    assert values == sorted(values) and values[0] == 0 and abs(values[-1] - total) < 1e-5, (series, values, total)
'
fi
compare 'a reader of the line protocol finds every point once' '
import collections, re
line = re.compile(r"(\w+)((?:,\w+=(?:\\[ ,=]|[^ ,=\\]|\\(?=x[0-9A-F]{2}))+)*) (\w+=[-+.e0-9]+i?(?:,\w+=[-+.e0-9]+i?)*) (\d+)\n")
points = collections.Counter()
for text in open("log.lp", encoding="utf-8", newline="\n"):
    found = line.fullmatch(text)
    assert found, text
    for field in found[3].split(","): points[found[1], found[2], field.split("=")[0], found[4]] += 1
assert len(points) > 500 and set(points.values()) == {1}, points.most_common(1)
'

# --- There and back: sums in the database are what the kernel counted
# The counters of the machine go on between our reading and the recorder's: each sum lies between what moved from the
# start of the run's first sample to the start of its last, and the same with the ends.
counters() { # NAME VALUE of what is compared, in the units of the log
    awk '$1 == "ctxt" { print "switches", $2 } $1 == "processes" { print "forks", $2 }' /proc/stat
    awk '$3 !~ /^(loop|ram|zram)/ { printf "reads:%s %.0f\nread_bytes:%s %.0f\nwrites:%s %.0f\nwrite_bytes:%s %.0f\n", $3, $4, $3, $6 * 512, $3, $8, $3, $10 * 512 }' /proc/diskstats
}
rm -f new log2.db
counters >outer1
"$WYRT" record cpu disk -i 1s -o new 2>/dev/null &
recorder=$!
writers+=("$recorder")
until [ "$(grep -c ^END, new 2>/dev/null)" = 2 ]; do sleep 0.02; done # the head's, and the first interval's
counters >inner1
dd if=/dev/zero of=load bs=1M count=64 conv=fsync 2>/dev/null
rm -f load
counters >inner2
before=$(grep -c ^END, new)
until [ "$(grep -c ^END, new)" -gt $((before + 1)) ]; do sleep 0.05; done
kill -INT "$recorder" && wait "$recorder"
counters >outer2
"$WYRT" export new -o new.db
compare "sums in the database are what the kernel counted" '
import sqlite3
db = sqlite3.connect("new.db")
read = lambda name: {k: int(v) for k, v in (line.split() for line in open(name))}
outer1, inner1, inner2, outer2 = map(read, ("outer1", "inner1", "inner2", "outer2"))
sums = dict(zip(("switches", "forks"), db.execute("SELECT sum(switches), sum(forks) FROM cpu").fetchone()))
for row in db.execute("SELECT name, sum(reads), sum(read_bytes), sum(writes), sum(write_bytes) FROM disk GROUP BY name"):
    for name, value in zip(("reads", "read_bytes", "writes", "write_bytes"), row[1:]): sums[name + ":" + row[0]] = value
moved = 0
for name, least in inner2.items():
    low, high = least - inner1[name], outer2[name] - outer1[name]
    got = sums.get(name) or 0
    assert low <= got <= high, (name, low, got, high)
    moved += low > 0
assert moved >= 2, moved
'

# --- A classic log
"$WYRT" -Z -a -s 1 -c 3 >classic.log 2>/dev/null
"$WYRT" export classic.log --format jsonl >classic.jsonl 2>said
"$WYRT" export classic.log -o classic.db 2>said
compare 'a classic log comes through, with its own kinds' '
import collections, json, re, sqlite3
rows = [json.loads(line) for line in open("classic.jsonl", encoding="utf-8", newline="\n")]
counts = collections.Counter(row["record"] for row in rows)
log = open("classic.log", encoding="utf-8", errors="replace").read()
for tag in ("TIME", "END_OF_INTERVAL", "TCP"): assert counts[tag] == len(re.findall(r"^\^" + tag + r"[,$]", log, re.M)) > 0, (tag, counts)
times = re.findall(r"^\^TIME,(\d+),", log, re.M)
assert [str(row["seconds"]) for row in rows if row["record"] == "TIME"] == times, times
db = sqlite3.connect("classic.db")
assert [str(s) for (s,) in db.execute("SELECT seconds FROM \"time\" ORDER BY rowid")] == times
'
