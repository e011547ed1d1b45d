#!/usr/bin/env bash
# The readers that docs/log.md shows, on logs of this kernel, hostile ones, damaged ones: they agree with show and info.
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"

wyrt=${WYRT:?WYRT must name the program}
document=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)/docs/log.md
sandbox=$(mktemp -d) || exit 1
trap 'rm -rf "$sandbox"' EXIT
cd "$sandbox" || exit 1

if [ ! -x "$(dirname -- "$wyrt")/wyrtlog" ]; then
    echo 'skip log: wyrtlog is not beside wyrt'
    exit 0
fi

# block LANGUAGE: what the document shows in it.
block() { sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/{/^\`\`\`/!p}" "$document"; }
# shellcheck disable=SC2016 # the reader's $1
block awk | sed 's/ LOG$/ "$1"/' >reader.sh
block python >reader.py
figure() { sed -n "s/^$1 *\([0-9]*\).*/\1/p" info.txt; } # of info
LC_ALL=C

"$wyrt" live all 200ms 3 --save log >tables 2>err </dev/null
why=$(head -n 1 err)
[ "$(grep -c '^END,' log)" = 4 ] || why="$(grep -c '^END,' log) ENDs instead of 4"
verdict 'a log to read' "$why"

# --- A terminal with a pager: every interval is as wide as the terminal

if command -v script >/dev/null; then
    "$wyrt" live disk cpu 50ms 3 --save wide >/dev/null 2>err </dev/null
    timeout 60 script -qec "stty cols 70 rows 24; WYRT_PAGER=cat '$wyrt' show --color never wide" /dev/null </dev/null >out 2>&1
    why=$(tr -d '\r' <out | awk 'length($0) > 70 { print length($0) " columns: " $0; exit }')
    (($(grep -c '^CPU' out) == 3)) || why="$(grep -c '^CPU' out) tables instead of 3: $(head -n 1 out)"
    verdict 'a pager gets the width of the terminal' "$why"
else
    echo 'skip a pager gets the width of the terminal: there is no script'
fi

# --- Pipes that have a name: what was read of them is gone

"$wyrt" live cpu 50ms 2 --save later >/dev/null 2>err </dev/null
why=
"$wyrt" show cpu log later >expected 2>err
"$wyrt" show cpu <(cat log) <(cat later) >out 2>err
cmp -s expected out || why="show of two pipes: $(head -n 1 err)"
"$wyrt" export --format csv --kind CPU log >expected 2>err
"$wyrt" export --format csv --kind CPU <(cat log) >out 2>err
cmp -s expected out || why="export of a pipe: $(head -n 1 err)"
[ -s expected ] || why='nothing was exported'
verdict 'pipes are read once' "$why"

# --- awk

# The table has the share of every state; busy are all but idle and iowait. Both are rounded to 0.1.
sh reader.sh log >busy 2>err
awk '$1 == "CPU" { for (i = 1; i <= NF; i++) c[$i] = i - 1; getline; print 100 - $c["idle%"] - $c["iow%"] }' tables >shown
why=$(paste -d ' ' busy shown | awk '
    { d = $2 - $3; if (NF != 3 || d > 0.16 || d < -0.16) print "the reader has " $2 ", the table " $3 "%" }
    END { if (NR != 3) print NR " lines instead of 3" }')
[ -s err ] && why=$(head -n 1 err)
verdict 'awk: the CPU as the table has it' "$why"

if ! python3 -c '' 2>/dev/null; then
    echo 'skip log, in Python: python3 is missing'
    exit 0
fi

# --- Python

# agrees NAME LOG GOOD DAMAGED: with each other and with these counts.
agrees() {
    local good damaged why='' counts
    python3 reader.py "$2" >read.txt 2>err || why="the reader fails: $(tail -n 1 err)"
    good=$(grep -c '^[1-9][0-9]* good' read.txt) damaged=$(grep -c 'damaged' read.txt)
    "$wyrt" info --check "$2" >info.txt 2>err || why="info fails: $(<err)"
    counts="$(figure intervals) $(figure damaged)"
    [ "$counts" = "$3 $4" ] || why="info counts $counts instead of $3 $4"
    [ "$good $damaged" = "$3 $4" ] || why="the reader counts $good $damaged instead of $3 $4"
    verdict "$1" "$why"
}

agrees 'Python: a whole log' log 3 0

why=
while read -r kind expected; do
    python3 - "$kind" >count.txt <<'PYTHON' || why='the reader cannot be used'
import sys
from reader import intervals
print(sum(kind == sys.argv[1].encode() for _, _, rows in intervals(open("log", "rb")) for kind, _ in rows))
PYTHON
    [ "$(<count.txt)" = "$expected" ] || why="$kind: $(<count.txt) records, info counts $expected"
done < <(awk '/^KIND/ { on = 1; next } on { print $1, $2 }' info.txt)
grep -q '^CPU ' info.txt || why='no kind CPU'
verdict 'Python: as many records of each kind' "$why"

# --- Texts that would break a line, a field or a terminal

mkdir -p other/proc/sys/kernel
printf 'db,7"\033[2J\\x41\n' >other/proc/sys/kernel/hostname
name=$'s,d"\\\001\033\177\200\377\302\205\303\244'
printf '   8       0 %s 10 0 80 5 4 0 32 2 0 7 7\n' "$name" >other/proc/diskstats
"$wyrt" record disk --root other 50ms 2 -o hostile 2>err </dev/null
printf '%s' "$name" >name
python3 - >found.txt 2>&1 <<'PYTHON'
from reader import intervals
rows = [r for _, good, rows in intervals(open("hostile", "rb")) if good for r in rows]
disks = {fields[b"name"] for kind, fields in rows if kind == b"DISK"}
hosts = {fields[b"name"] for kind, fields in rows if kind == b"HOST"}
if disks != {open("name", "rb").read()}: print("the disks", disks)
if hosts != {b'db,7"\x1b[2J\\x41'}: print("the hosts", hosts)
PYTHON
why=$(head -n 1 found.txt)
tr -d '[:print:]\n\200-\377' <hostile | grep -q . && why='control characters in the log'
grep -q 's\\x2Cd\\x22\\x5C\\x01\\x1B\\x7F\\x80\\xFF\\xC2\\x85'$'\303\244' hostile || why='not escaped as the document says'
verdict 'Python: hostile texts come back' "$why"
agrees 'Python: a log of hostile texts' hostile 2 0
"$wyrt" show hostile >out 2>err
why=$(head -n 1 err)
grep -q $'[\001\033\177]' out && why='control characters in the tables'
[ -s out ] || why='nothing was shown'
verdict 'show of hostile texts' "$why"

# --- Damage

# change FILE POSITION BYTE
change() { printf '%s' "$3" | dd of="$1" bs=1 seek="$2" conv=notrunc status=none; }
position() { grep -abo -m "$2" "^$1" log | tail -n 1 | cut -d : -f 1; } # of the n-th such line
# damages NAME OFFSET BYTE GOOD DAMAGED: one byte of the log is changed.
damages() {
    cp log changed
    change changed "$2" "$3"
    if cmp -s log changed; then
        bad "$1" 'nothing was changed'
    else
        agrees "$1" changed "$4" "$5"
    fi
}
second=$(position CPU, 2) end=$(position END, 3) # both of the second interval
sum=$(sed -n 's/^END,[^,]*,[^,]*,2,.*,//p' log)
damages 'a changed figure' $((second + 36)) x 2 1
damages 'a changed kind' "$second" X 2 1
damages 'a lost newline' $((second - 1)) , 2 1
damages 'a line too many' $((second + 10)) $'\n' 2 1
damages 'a changed END' "$end" X 2 1
damages 'a changed number in END' $((end + 45)) x 2 1
damages 'a changed checksum' $(($(position END, 3) + $(sed -n '/^END,[^,]*,[^,]*,2,/p' log | wc -c) - 9)) \
    "$([ "${sum:0:1}" = 0 ] && echo 1 || echo 0)" 2 1
damages 'a changed head' 7 3 3 1
"$wyrt" show changed >out 2>err
why=
[ -s out ] && why='intervals of a damaged head are shown'
verdict 'show of a changed head' "$why"

# --- Cut short

size=$(stat -c %s log)
for cut in 1 5 60; do # in the last END, or before it
    head -c $((size - cut)) log >short
    agrees "cut $cut bytes short" short 2 0
    grep -q 'the end is cut short' info.txt || bad "info of it" 'nothing is said'
done
head -c $((size - 60)) log >resumed
"$wyrt" record cpu 50ms 2 -o resumed 2>err </dev/null
agrees 'resumed after a cut' resumed 4 0
for cut in 5 40 60 90; do # the last of them in a row before END
    { head -c $((size - cut)) log && cat log; } >joined
    agrees "two logs in a row, the first cut $cut bytes short" joined 5 1
done
