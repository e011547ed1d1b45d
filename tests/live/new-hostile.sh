#!/usr/bin/env bash
# Hostile logs given to every command that reads logs: it ends in time with a status of its own and at the most one line
# for each log, in less than 64 MB, and prints no control character to people. What `serve` answers and `push` sends is in
# the form that the others expect. SEEDS: how many logs of each random sort (2); COUNT:
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
CONTROL = re.compile(rb"[\x00-\x08\x0b-\x1f\x7f]|\xc2[\x80-\x9f]")
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
            elif not SAID.fullmatch(said) or CONTROL.search(said.encode()): print(f"{command} {log}: said {said[:300]!r}")
            if usage.ru_maxrss / 1024 > most: print(f"{command} {log}: {usage.ru_maxrss / 1024:.0f} MB")
            texts = [out.read()] if not command.startswith("export") else [] # a file has the names as they are
            if os.path.exists("out.html"): texts.append(open("out.html", "rb").read())
            for text in texts:
                found = CONTROL.search(text)
                if found: print(f"{command} {log}: prints {text[max(0, found.start() - 40):found.end()]!r}")
print(f"# most memory: {worst[0]:.1f} MB, {worst[1]}", file=sys.stderr)
PYTHON
# Asks `serve` and takes what `push` sends, of logs: "served.py SECONDS MEGABYTES LOG...".
cat >served.py <<'PYTHON'
import gzip, http.server, json, os, re, socket, subprocess, sys, threading, time, urllib.error, urllib.request
program, limit, most = os.path.join(os.path.dirname(os.environ["WYRT"]), "wyrtlog"), float(sys.argv[1]), float(sys.argv[2])
LABELS = r'(\{([a-z_0-9]+="([^"\\\n]|\\[\\n"])*",?)*\})?'
SCRAPED = re.compile(r"(# (TYPE|UNIT|HELP) .*|# EOF|[a-z_0-9]+" + LABELS + r" -?[0-9][-+.e0-9]*)")
PUSHED = re.compile(r"\w+(,\w+=(\\[ ,=]|[^ ,=\\]|\\(?=x[0-9A-F]{2}))+)* \w+=[-+.e0-9]+i?(,\w+=[-+.e0-9]+i?)* -?\d+")
CONTROL = re.compile(r"[\x00-\x08\x0b-\x1f\x7f-\x9f]")
taken = bytearray()
class Receiver(http.server.BaseHTTPRequestHandler):
    def log_message(self, *words): pass
    def do_POST(self):
        taken.extend(gzip.decompress(self.rfile.read(int(self.headers["Content-Length"]))))
        self.send_response(204)
        self.end_headers()
receiver = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Receiver)
threading.Thread(target=receiver.serve_forever, daemon=True).start()
def start(*words): return subprocess.Popen([program, *words], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
def ended(child, what):
    try: said = child.communicate(timeout=limit)[1].decode("utf-8", "replace")
    except subprocess.TimeoutExpired:
        child.kill()
        print(f"{what}: still runs after {limit:.0f} s")
        return -1
    if child.returncode not in (0, 1): print(f"{what}: status {child.returncode}, {said[:3000]!r}")
    elif child.returncode and not said: print(f"{what}: status {child.returncode} without a word")
    if not re.fullmatch(r"(wyrt: [^\n]*\n){0,5}", said) or CONTROL.search(said.replace("\n", "")): print(f"{what}: said {said[:300]!r}")
    return child.returncode
def expect(form, text, what):
    for line in text.decode().split("\n")[:-1]:
        if not form.fullmatch(line): return print(f"{what}: {line[:200]!r}")
def push(log):
    for what in (f"push {log}", f"push {log} again"):
        taken.clear()
        status = ended(start("push", log, "--once", "--cursor", "state/cursor", "--url", f"http://127.0.0.1:{receiver.server_port}/write"), what)
        expect(PUSHED, bytes(taken), what)
    if status == 0 and taken: print(f"{what}: what was sent is sent again, {bytes(taken[:200])!r}")
def ask(url, accept="*/*"):
    try:
        with urllib.request.urlopen(urllib.request.Request(url, headers={"Accept": accept}), timeout=limit) as answer: return answer.status, answer.read()
    except urllib.error.HTTPError as error: return error.code, error.read()
    except OSError as error: return 0, str(error).encode()
def serve(log):
    with socket.socket() as free:
        free.bind(("127.0.0.1", 0))
        address = "127.0.0.1:%d" % free.getsockname()[1]
    child, url, deadline = start("serve", log, "--listen", address, "--since", "0000-01-01", "--state", "state/counters"), "http://" + address, time.monotonic() + limit
    status, text = 0, b""
    while status in (0, 503) and child.poll() is None and time.monotonic() < deadline:
        status, text = ask(url + "/metrics")
        if status != 200: time.sleep(0.05)
    if status != 200: print(f"serve {log}: {status}, {text[:200]!r}")
    expect(SCRAPED, text, f"serve {log}, /metrics")
    status, text = ask(url + "/metrics", "application/openmetrics-text;version=1.0.0")
    if not text.endswith(b"# EOF\n"): print(f"serve {log}, OpenMetrics: {status}, {text[-200:]!r}")
    expect(SCRAPED, text, f"serve {log}, OpenMetrics")
    text = ask(url + "/health")[1].decode()
    if "status" not in json.loads(text) or CONTROL.search(text.replace("\n", "")): print(f"serve {log}, /health: {text[:200]!r}")
    status, text = ask(url + "/report?since=0000-01-01")
    if status not in (200, 404): print(f"serve {log}, /report: {status}, {text[:200]!r}")
    if text.lower().count(b"</script") != text.lower().count(b"<script"): print(f"serve {log}: the report has a script too many")
    memory = int(re.search(r"VmHWM:\s*(\d+)", open(f"/proc/{child.pid}/status").read() + "VmHWM: 0")[1]) / 1024
    if memory > most: print(f"serve {log}: {memory:.0f} MB")
    child.terminate()
    ended(child, f"serve {log}")
for log in sys.argv[3:]:
    os.makedirs("state", exist_ok=True)
    push(log), serve(log)
    for file in os.listdir("state"): os.unlink("state/" + file)
PYTHON
# hostile NAME SECONDS LOG...
hostile() {
    verdict "hostile logs: $1" "$(python3 check.py "$2" "${MEGABYTES:-64}" "${@:3}" 2>memory)"
}
# served NAME LOG...
served() { verdict "hostile logs, served and pushed: $1" "$(timeout 600 python3 served.py 60 "${MEGABYTES:-64}" "${@:2}" 2>&1)"; }
# on_terminal LOG...: what a terminal gets, without what the program itself sends there.
on_terminal() {
    local log words
    for log in "$@"; do
        for words in 'show all --no-pager' 'why --no-pager' 'stats --no-pager' 'export --format csv' 'export --format jsonl' 'export --format openmetrics' 'export --format influx'; do
            timeout 60 script -qec "'${wyrt%/*}/wyrtlog' $words '$log'" /dev/null </dev/null >raw 2>&1
            grep -aq . raw || echo "$words $log: nothing is printed"
            grep -aq $'\e\\[2J\|\e\\]' raw && echo "$words $log: a name reaches the terminal as a control"
            tr -d '\r\t' <raw | sed 's/\x1b\[[0-9;?]*[A-Za-z]//g' >screen
            grep -an -m 1 $'[\x01-\x09\x0b-\x1f\x7f]\|\xc2[\x80-\x9f]' screen | cut -c 1-200 | tr '\001-\011\013-\037\177-\237' '?'
        done
    done
}

"$wyrt" record all -i 150ms -c 4 >log 2>err </dev/null || { bad 'a log to spoil' "$(<err)"; exit; }
for how in bytes numbers texts words times lines; do
    logs=()
    for ((seed = first; seed < first + seeds; seed++)); do
        "$spoiler" "$how" "$seed" <log >"$how-$seed" || { bad 'live-spoiler' "$how"; exit; }
        logs+=("$how-$seed")
    done
    hostile "$how" 20 "${logs[@]}"
    served "$how" "${logs[@]}"
    if [ "$how" = words ] && command -v script >/dev/null; then
        verdict 'hostile logs on a terminal' "$(on_terminal "${logs[@]}")"
    fi
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
    served "$count $how" "$how"
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
