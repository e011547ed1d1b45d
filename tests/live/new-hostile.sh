#!/usr/bin/env bash
# Hostile logs given to every command that reads logs: it ends in time with a status of its own and at the most one line
# for each log, in less than 64 MB, and prints no control character. SEEDS: how many logs of each random sort (2); COUNT:
# how many columns, intervals ... the large ones have (5000).
set -u
# shellcheck source=tests/live/common.bash
. "$(dirname -- "${BASH_SOURCE[0]}")/common.bash"

wyrt=${WYRT:?WYRT must name the program}
spoiler=${wyrt%/*}/live-spoiler
seeds=${SEEDS:-2} count=${COUNT:-5000} first=${FIRST:-1}
skip() {
    echo "skip new-hostile: $1"
    exit 0
}
[ -x "${wyrt%/*}/wyrtlog" ] || skip 'wyrtlog is not beside wyrt'
[ -x "$spoiler" ] || skip 'live-spoiler is not beside wyrt'
python3 -c '' 2>/dev/null || skip 'there is no python3'
sandbox=$(mktemp -d) || exit 1
trap 'rm -rf "$sandbox"' EXIT
cd "$sandbox" || exit 1
export LC_ALL=C TZ=CET-1CEST

# Runs commands on logs: "check.py SECONDS MEGABYTES LOG...". What is wrong is a line on standard output.
cat >check.py <<'PYTHON'
import os, re, resource, subprocess, sys, tempfile
wyrt, limit, most = os.environ["WYRT"], float(sys.argv[1]), float(sys.argv[2])
COMMANDS = ["show", "show all --damaged", "show --every 1m", "why", "stats", "stats --by command", "info --check", "chart -o out.html",
            "export --format csv", "export --format jsonl", "export --format tsv --rates", "export --format openmetrics",
            "export --format influx", "export -o out.db"]
SAID = re.compile(r"(wyrt: [^\n]*\n){0,4}")
worst = (0, "")
for log in sys.argv[3:]:
    for command in os.environ.get("COMMANDS", "").split(";")[:-1] or COMMANDS:
        words = command.split() + ([log] if log != "-" else [])
        for file in ("out.html", "out.db"):
            if os.path.exists(file): os.unlink(file)
        with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
            child = subprocess.Popen([os.path.join(os.path.dirname(wyrt), "wyrtlog")] + words, stdin=subprocess.DEVNULL, stdout=out, stderr=err)
            pid = child.pid
            import signal, time
            start, status = time.monotonic(), None
            while time.monotonic() - start < limit:
                got, status, usage = os.wait4(pid, os.WNOHANG)
                if got: break
                time.sleep(0.002 if time.monotonic() - start < 0.2 else 0.02)
            else:
                os.kill(pid, signal.SIGKILL); os.wait4(pid, 0)
                print(f"{command} {log}: still runs after {limit:.0f} s"); continue
            child.returncode = 0
            worst = max(worst, (usage.ru_maxrss / 1024, f"{command} {log}"))
            out.seek(0); err.seek(0)
            said = err.read().decode("utf-8", "replace")
            if not os.WIFEXITED(status) or os.WEXITSTATUS(status) > 2: print(f"{command} {log}: status {status:#x}, {said[:3000]!r}")
            elif os.WEXITSTATUS(status) and not said: print(f"{command} {log}: status {os.WEXITSTATUS(status)} without a word")
            elif not SAID.fullmatch(said): print(f"{command} {log}: said {said[:300]!r}")
            if usage.ru_maxrss / 1024 > most: print(f"{command} {log}: {usage.ru_maxrss / 1024:.0f} MB")
            while True:
                text = out.read(1 << 20)
                if not text: break
                found = re.search(rb"[\x00-\x08\x0b-\x1f\x7f]", text)
                if found: print(f"{command} {log}: prints {text[max(0, found.start() - 40):found.end()]!r}"); break
print(f"# most memory: {worst[0]:.1f} MB, {worst[1]}", file=sys.stderr)
PYTHON
# hostile NAME SECONDS LOG...
hostile() {
    verdict "hostile logs: $1" "$(python3 check.py "$2" "${MEGABYTES:-64}" "${@:3}" 2>memory | sed -n 1,20p | tee /dev/stderr)" 2>>complaints
}

"$wyrt" record all -i 150ms -c 4 >log 2>err </dev/null || { bad 'a log to spoil' "$(<err)"; exit; }
for how in bytes numbers texts times lines; do
    logs=()
    for ((seed = first; seed < first + seeds; seed++)); do
        "$spoiler" "$how" "$seed" <log >"$how-$seed" || { bad 'live-spoiler' "$how"; exit; }
        logs+=("$how-$seed")
    done
    hostile "$how" 20 "${logs[@]}"
    rm -f "${logs[@]}"
done
logs=()
size=$(stat -c %s log)
for ((cut = 1; cut <= seeds; cut++)); do
    head -c $((size * cut / (seeds + 1))) log >"cut-$cut"
    logs+=("cut-$cut")
done
hostile 'cut short' 20 "${logs[@]}"
for how in columns kinds rows ticks runs hosts names leaps; do
    "$spoiler" "$how" "$count" >"$how"
    hostile "$count $how" 60 "$how"
    rm -f "$how"
done

# --- Files that are no logs

mkdir -p nested folder/current.wyrt
deep=nested
for ((i = 0; i < 40; i++)); do deep+=/folder.wyrt; done
mkdir -p "$deep"
ln -s . nested/loop.wyrt
cp log nested/good.wyrt
mkfifo pipe.wyrt folder/pipe.wyrt
ln -s nothing folder/dangling.wyrt
ln -s loop.wyrt folder/loop.wyrt
ln -s /dev/zero folder/zero.wyrt
cp log folder/good.wyrt
: >empty
hostile 'folders in folders' 20 nested
hostile 'a folder of other things' 20 folder
hostile 'a pipe that nobody writes to' 20 pipe.wyrt
hostile 'nothing' 20 empty /dev/null nowhere
head -c 30000000 /dev/zero | tr '\0' x >line
hostile 'a line without an end' 30 line
if command -v zstd >/dev/null; then
    head -c 200000000 /dev/zero | zstd -q >bomb.wyrt.zst
    { cat log; head -c 200000000 /dev/zero | tr '\0' '\n'; } | gzip >bomb.wyrt.gz
    zstd -q --ultra -22 --long=31 <log >window.wyrt.zst
    zstd -q <log | head -c 3000 >cut.wyrt.zst
    hostile 'compressed ones' 60 bomb.wyrt.zst bomb.wyrt.gz window.wyrt.zst cut.wyrt.zst
fi
