#!/usr/bin/env bash
# Names as an attacker would choose them, of processes, their arguments, open files, users, control groups, mounts,
# interfaces and network namespaces: the tables, the log and everything that is made of it show them without a control
# byte, and no row is forged or lost. Runs as root and as an ordinary user, in namespaces of its own.
# shellcheck disable=SC2016,SC1003 # names like "$(>oops)" must not be expanded
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"

wyrt=${WYRT:?WYRT must name the program}
if ! [ -x "${wyrt%/*}/wyrtlog" ] || ! python3 -c '' 2>/dev/null; then
    echo 'skip new-attack: wyrtlog or python3 is missing'
    exit 0
fi
in_namespaces new-attack
export LC_ALL=C
sandbox=$(mktemp -d) || exit 1
groupFor attack
finish() {
    cd / || exit 1
    leaveGroup
    umount -l "$sandbox" 2>/dev/null # with all mounts below it
    rm -rf --one-file-system "$sandbox"
}
trap finish EXIT
mount -t tmpfs wyrt-attack "$sandbox" 2>/dev/null
cd "$sandbox" || exit 1
chmod 755 .
mkfifo never
exec {never}<>never
pause() { read -rt "$1" -u "$never"; } # starts no process

# --- The names

Names=('a) R 1 2 (b' '(((' $'two\nlines' $'\e[31mred\a' '%s%n%x%d' $'\x9b31m\xc2\x9b31m' $'tab\tblank ' $'\n'
    $'\xff\xfe' '"quo",te' '\' '\x41' '</script>' '=1+2' '{"a":[' "'; --" ' ' '')
printf '%s\0' "${Names[@]}" >names
cat >named.py <<'PYTHON'
import os, time
for number, name in enumerate(open("names", "rb").read().split(b"\0")[:-1]):
    if os.fork(): continue
    with open("/proc/self/comm", "wb", 0) as comm: comm.write(name + b"\0") # the shell would write it line by line
    with open(b"file %d " % number + name.replace(b"/", b""), "wb", 0) as file:
        while True: # works a little, for ever
            file.write(name)
            time.sleep(0.03)
PYTHON
python3 named.py
printf -v long '%0120000d' 7
bash -c 'while :; do read -rt 0.05; done' "$long" $'\e]0;title\a' "$long" <&"$never" &
(exec -a '' sleep 1000) &
if { cat /etc/passwd; printf 'u\e[1m\x9b",;$(>oops):x:64321:64321::/:/bin/sh\n'; } >passwd &&
    mount --bind passwd /etc/passwd 2>/dev/null && command -v setpriv >/dev/null; then
    setpriv --reuid 64321 --clear-groups bash -c 'while :; do read -rt 0.05; done' <&"$never" &
fi
if [ -n "$group" ]; then
    for name in $'\e[2Jgroup' 'a,b"c' '\x41' '</script>' $'\xff.service' '%n.scope' "lxc.payload.${long:0:200}"; do
        mkdir "$group/${name//\//}" 2>/dev/null || continue
        (echo "$BASHPID" >"$group/${name//\//}/cgroup.procs" && while :; do read -rt 0.03 -u "$never"; done) &
    done
fi
for name in $'m \t\n\\\e[31m\x9b,"' '%s%n' '</script>' "${long:0:250}"; do
    mkdir "mount-${name//\//}" && mount -t tmpfs -o size=1m $'dev \e[31m,"' "mount-${name//\//}"
done 2>/dev/null
ip link set lo up 2>/dev/null
for name in ';>oops' '$(>oops)' $'e\e[31m' 'a,b' '"' '\x41' '</b>' '%s%n'; do
    for try in dummy ifb veth; do ip link add name "${name//\//}" type $try 2>/dev/null && break; done
    ip link set "${name//\//}" up 2>/dev/null
done

# --- What reads a log and its exports

cat >readers.py <<'PYTHON'
import csv, io, json, os, re, sqlite3, sys
control = re.compile(r"[\x00-\x08\x0b-\x1f\x7f\x80-\x9f]")
def complain(what): print(what); sys.exit(0)
def text(name): return open(name, encoding="utf-8", newline="\n").read()
log = text("log")
heads, counts = {}, {}
for line in log.split("\n")[:-1]:
    if re.search(r"[\x00-\x1f\x7f-\x9f\"]", line): complain("the log has " + repr(line[:100]))
    cells = line.split(",")
    if cells[0].startswith("#"): heads[cells[0][1:]] = cells
    elif cells[0] not in heads: complain("the log has a line of no kind: " + repr(line[:100]))
    elif len(cells) != len(heads[cells[0]]): complain("%s has %d cells" % (repr(line[:100]), len(cells)))
    elif cells[0] not in ("END", "VIEW"): counts[cells[0]] = counts.get(cells[0], 0) + 1
undo = lambda cell: re.sub(rb"\\x(..)", lambda m: bytes.fromhex(m[1].decode()), cell.encode())
at = heads["PROC"].index("name")
names = {undo(line.split(",")[at]) for line in log.split("\n") if line.startswith("PROC,")}
wanted = {name[:15] for name in open("names", "rb").read().split(b"\0")[:-1]}
if wanted - names: complain("no process has the name " + repr(sorted(wanted - names)[0]))
rows = list(csv.reader(io.StringIO(text("proc.csv"), newline="")))
if len(rows) != counts["PROC"] + 1: complain("csv has %d rows, the log %d" % (len(rows) - 1, counts["PROC"]))
if any(len(row) != len(rows[0]) for row in rows): complain("csv has a row of another width")
rows = text("proc.tsv").split("\n")[:-1]
if len(rows) != counts["PROC"] + 1 or any(row.count("\t") != rows[0].count("\t") for row in rows): complain("tsv is not a table")
objects = [json.loads(line) for line in text("log.jsonl").split("\n")[:-1]]
if len(objects) != sum(counts.values()): complain("jsonl has %d records, the log %d" % (len(objects), sum(counts.values())))
db = sqlite3.connect("log.db")
if db.execute("PRAGMA integrity_check").fetchone() != ("ok",): complain("the database is damaged")
if db.execute("SELECT count(*) FROM proc").fetchone()[0] != counts["PROC"]: complain("the database has other rows")
point = re.compile(r"(# (TYPE|UNIT|HELP) .*|# EOF|[a-z_0-9]+(\{([a-z_0-9]+=\"([^\"\\\n]|\\[\\n\"])*\",?)*\})? \S+ \S+)")
for line in text("log.om").split("\n")[:-1]:
    if not point.fullmatch(line): complain("openmetrics has " + repr(line[:200]))
point = re.compile(r"\w+(,\w+=(\\[ ,=]|[^ ,=\\]|\\(?=x[0-9A-F]{2}))+)* \w+=[-+.e0-9]+i?(,\w+=[-+.e0-9]+i?)* \d+")
for line in text("log.lp").split("\n")[:-1]:
    if not point.fullmatch(line): complain("the line protocol has " + repr(line[:200]))
page = text("page.html")
if page.lower().count("</script") != page.lower().count("<script"): complain("the page has a script too many")
for name in ("tables", "shown", "why", "stats", "info", "page.html"):
    found = control.search(text(name).replace("\t", "") if name == "page.html" else text(name))
    if found: complain("%s has %r" % (name, text(name)[max(0, found.start() - 60):found.end()]))
PYTHON

# limited COMMAND...: in time and with an address space of 400 MB.
limited() { (ulimit -v 400000 && exec timeout 60 "$@") </dev/null; }
attack() { # NAME COMMAND...: with wyrt run by COMMAND
    local name=$1 why=
    shift
    limited "$@" "$wyrt" live all -i 700ms -c 3 -n 1000 --save "$PWD/out/log" -o "$PWD/out/tables" 2>err || why="live: status $?, $(tail -n 1 err)"
    [ -s err ] && why="live says: $(head -n 1 err)"
    verdict "hostile names, $name: tables" "$why"
    [ -n "$why" ] && return
    (
        cd out || exit
        limited "$wyrt" show log >shown && limited "$wyrt" why log >why && limited "$wyrt" stats log >stats &&
            limited "$wyrt" info --check log >info && limited "$wyrt" chart log -o page.html &&
            for format in csv tsv; do limited "$wyrt" export log --format $format --kind PROC >proc.$format || exit; done &&
            limited "$wyrt" export log --format jsonl >log.jsonl && limited "$wyrt" export log --format openmetrics >log.om &&
            limited "$wyrt" export log --format influx >log.lp && rm -f log.db && limited "$wyrt" export log -o log.db
    ) 2>err || why="a command fails: $(head -n 1 err)"
    if [ -z "$why" ]; then
        cp names readers.py out
        cmp -s out/tables out/shown || why='show prints other tables'
        [ -n "$why" ] || why=$(cd out && python3 readers.py 2>&1 | tail -n 1)
    fi
    verdict "hostile names, $name: log, show, why, stats, info, chart, exports" "$why"
}
mkdir out
attack 'this user' env
if [ "$(id -u)" = 0 ] && setpriv --reuid 65534 --regid 65534 --clear-groups true 2>/dev/null; then
    chmod 777 out
    rm -f out/*
    attack 'an ordinary user' setpriv --reuid 65534 --regid 65534 --clear-groups
fi
verdict 'no name is a command' "$(find . -name 'oops*' | head -n 1)"

# --- On a terminal

if command -v script >/dev/null; then
    printf '%s\n' 'stty cols 200 rows 100' "'$wyrt' live all -i 500ms -c 2 -n 1000 --color never" >show.sh
    for format in csv tsv jsonl openmetrics influx; do echo "'$wyrt' export out/log --format $format"; done >>show.sh
    timeout 60 script -qec 'sh show.sh' /dev/null </dev/null >screen 2>&1
    why=$(tr -d '\r\t' <screen | sed 's/\x1b\[[0-9;?]*[A-Za-z]//g' | grep -an -m 1 $'[\x01-\x09\x0b-\x1f\x7f]\|\xc2\x9b' | cut -c 1-200)
    grep -q 'two' screen || why="the names are not shown: $(tail -n 2 screen)"
    grep -aq $'\e\\[31mred\|\e\\]0;title\|\e\\[2Jgroup' screen && why='a name reaches the terminal as a control'
    verdict 'hostile names on a terminal' "$(printf '%s' "$why" | tr '\033\233' '??')"
fi
