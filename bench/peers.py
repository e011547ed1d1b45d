#!/usr/bin/env python3
"""What a sample costs wyrt and other tools: CPU time of the whole program, in turn in one run, at three sizes each.

    BUILD=build/bench bench/peers.py [machine | processes | threads | files | sockets | everything | logs | start]...

`scripts/bench peers` builds what it needs and calls it. A tool that samples at an interval runs with two different counts,
so that its start is not part of the figure; one that prints once counts whole. The least of ROUNDS rounds (default 3) is
printed; tools take turns within a round. Tools that are not installed are named in the table. The load is bench-load's.
QUICK=1 measures only the two smaller sizes, in one round.
"""
import math, os, re, shutil, subprocess, sys, tempfile, time

BUILD = os.environ.get("BUILD", "build/bench")
WYRT, LOAD, READS = (os.path.abspath(f"{BUILD}/{name}") for name in ("wyrt", "bench-load", "bench-reads"))
QUICK = "QUICK" in os.environ
ROUNDS = 1 if QUICK else int(os.environ.get("ROUNDS", "3"))


def cpu(words, output=subprocess.DEVNULL):
    """User and system time of a command with the children that it waited for, in ms; none when it fails."""
    process = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.DEVNULL,
                               env={**os.environ, "LC_ALL": "C"})
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    return (usage.ru_utime + usage.ru_stime) * 1000 if process.returncode in (0, 1) else None


class Tool:
    """A command line with COUNT in it, and two counts; without COUNT it prints once."""

    def __init__(self, line, few=1, many=4):
        self.line, self.counts = line, (few, many) if "COUNT" in line else (1,)
        self.name = re.sub(r"( -i \S+ -c| -n)? COUNT$", "", line)
        self.least = {}

    def there(self):
        return shutil.which(self.words(1)[0]) is not None

    def words(self, count):
        words = self.line.replace("COUNT", str(count)).split()
        return [{"wyrt": WYRT, "bare": READS}.get(words[0], words[0])] + words[1:]

    def measure(self):
        for count in self.counts:
            taken = cpu(self.words(count))
            if taken is not None:
                self.least[count] = min(taken, self.least.get(count, taken))

    def sample(self):
        """ms of one sample; none when a run failed."""
        if len(self.least) < len(self.counts):
            return None
        if len(self.counts) == 1:
            return self.least[1]
        few, many = self.counts
        return max(self.least[many] - self.least[few], 0) / (many - few)


def wyrt(line, many=52):
    return Tool(f"wyrt {line} -i 100ms -c COUNT", 2, many)  # the first two have more to do than the others


def classic(line, many=6):
    return Tool(f"wyrt {line} -i 20 -c COUNT", 1, many)


def bare(what, many=6):
    return Tool(f"bare {what} COUNT", 1, many)


# name, sizes with the options of the load, the tools
GROUPS = {
    "machine": ("the machine's figures", {0: ""}, lambda: [
        wyrt("record cpu mem pressure disk fs net limits"), wyrt("live cpu mem pressure disk fs net limits"),
        classic("-b -r -d 16", 101), bare("machine", 101), Tool("sar -u -r -S -B -W -q -w -d 1 COUNT"), Tool("iostat -d -x 1 COUNT"),
        Tool("nstat -asz")]),
    "processes": ("idle processes", {n: f"--processes {n}" for n in (50, 500, 5000)}, lambda: [
        wyrt("record proc"), wyrt("live proc"), classic("-p 24 -T 0"), bare("processes"),
        Tool("top -b -d 0.2 -n COUNT", 1, 6), Tool("pidstat -u -r -d -h 1 COUNT"), Tool("atop 1 COUNT")]),
    "threads": ("idle threads, ten a process", {10 * n: f"--processes {n} --threads 10" for n in (40, 200, 800)}, lambda: [
        wyrt("record proc thread"), classic("-p 24"), bare("threads"), Tool("top -b -H -d 0.2 -n COUNT", 1, 6),
        Tool("pidstat -u -r -d -t -h 1 COUNT")]),
    "files": ("open files of 100 processes", {100 * n: f"--processes 100 --fds {n}" for n in (6, 60, 600)}, lambda: [
        wyrt("record file"), classic("-p 24 -T 0 -f"), bare("files"), Tool("lsof -n -P")]),
    "sockets": ("TCP sockets of 20 processes", {20 * n: f"--processes 20 --sockets {n}" for n in (20, 200, 2000)}, lambda: [
        wyrt("record sock"), wyrt("live sock"), classic("-p 24 -T 0 -f -o 10"), bare("sockets"), Tool("ss -tanp"),
        Tool("ss -s"), Tool("lsof -n -P -i")]),
    "everything": ("processes with 8 sockets each, everything", {n: f"--processes {n} --sockets 8" for n in (50, 500, 5000)},
                   lambda: [wyrt("record"), classic("-a -m -t -r"), Tool("atop 1 COUNT"), Tool("sar -A 1 COUNT")]),
}


class Load:
    """bench-load with these options, while the block lasts."""

    def __init__(self, options):
        self.options = options.split()

    def __enter__(self):
        self.process = self.options and subprocess.Popen([LOAD, "--seconds", "3600", *self.options], stdout=subprocess.PIPE)
        if self.process and not self.process.stdout.readline():
            sys.exit("bench/peers.py: the load could not be made: " + " ".join(self.options))

    def __exit__(self, *_):
        if self.process:
            self.process.kill()
            self.process.communicate()
            time.sleep(2)  # until its processes and their connections are gone


def growth(figures):
    """The exponent between the two larger sizes: 1 is linear."""
    (n, a), (m, b) = figures[-2:]
    return f"{math.log(b / a) / math.log(m / n):.2f}" if a and b and a > 0 and b > 0 else ""


def figure(ms):
    return "failed" if ms is None else f"{ms:.2f}" if ms < 10 else f"{ms:.1f}" if ms < 100 else f"{ms:.0f}"


def group(word):
    title, sizes, make = GROUPS[word]
    if QUICK:
        sizes = dict(list(sizes.items())[:2])
    columns = {}
    for size, options in sizes.items():
        tools = make()
        with Load(options):
            for _ in range(ROUNDS):
                for tool in tools:
                    if tool.there():
                        tool.measure()
        for tool in tools:
            columns.setdefault(tool.name, []).append((size, tool.sample() if tool.there() else "not installed"))
    many = len(sizes) > 1
    print(f"\n{title[0].upper()}{title[1:]}, CPU ms of a sample:\n")
    print(f"| {title} |" + "".join(f" {n:,} |" if many else " ms |" for n in sizes) + (" growth |" if many else ""))
    print("| --- |" + " --- |" * (len(sizes) + many))
    for name, figures in columns.items():
        shown = [ms if isinstance(ms, str) else figure(ms) for _, ms in figures]
        absent = any(isinstance(ms, str) for _, ms in figures)
        print(f"| `{name}` | " + " | ".join(shown) + " |" +
              (f" {'' if absent else growth(figures)} |" if many else ""))
    sys.stdout.flush()


def libraries(program):
    """The shared libraries of a program, and their bytes."""
    text = subprocess.run(["ldd", program], capture_output=True, text=True).stdout
    paths = {word for line in text.splitlines() for word in line.split() if word.startswith("/")}
    return len(paths), sum(os.path.getsize(os.path.realpath(path)) for path in paths)


def start(_=None):
    print("\nThe start: `--version` or the like, median of 21 by the clock; libraries as `ldd` lists them.\n")
    print("| program | ms | program, KB | libraries | libraries, KB |\n| --- | --- | --- | --- | --- |")
    log = os.path.abspath(f"{BUILD}/wyrtlog")
    for name, line in {"wyrt": f"{WYRT} --version", "wyrtlog": f"{log} --version", "top": "top -v", "atop": "atop -V",
                       "pidstat": "pidstat -V", "sar": "sar -V", "iostat": "iostat -V", "ss": "ss -V", "nstat": "nstat -V",
                       "lsof": "lsof -v"}.items():
        words = line.split()
        path = shutil.which(words[0])
        if not path:
            print(f"| {name} | not installed | | | |")
            continue
        times = []
        for _ in range(21):
            begin = time.monotonic()
            cpu(words)
            times.append((time.monotonic() - begin) * 1000)
        count, size = libraries(path)
        print(f"| {name} | {sorted(times)[10]:.1f} | {os.path.getsize(os.path.realpath(path)) // 1024} | {count} | {size // 1024} |")


def logs(_=None):
    """The same minute with 500 processes in the logs of wyrt, sar and atop: what it costs to write and to read it."""
    count = 20 if QUICK else 60
    with tempfile.TemporaryDirectory() as folder, Load("--processes 500 --busy 100"):
        writers = {
            "wyrt": f"{WYRT} record -i 1s -c {count} -o {folder}/wyrt",
            "sar": f"sar -A -o {folder}/sar 1 {count}",
            "atop": f"atop -w {folder}/atop 1 {count}",
        }
        running = {name: subprocess.Popen(line.split(), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
                   for name, line in writers.items() if shutil.which(line.split()[0])}
        written = {}
        for name, process in running.items():
            usage = os.wait4(process.pid, 0)[2]
            written[name] = (usage.ru_utime + usage.ru_stime) * 1000 / count
        print(f"\n{count} samples of a machine with 500 processes, of which 100 run now and then:\n")
        print("| log | written in, CPU ms a sample | bytes a sample |\n| --- | --- | --- |")
        for name, ms in written.items():
            print(f"| `{writers[name].replace(folder + '/', '').replace(WYRT, 'wyrt')}` | {figure(ms)} | {os.path.getsize(f'{folder}/{name}') // count:,} |")
        print("\n| read by | CPU ms a sample |\n| --- | --- |")
        for name, line in (("wyrt", f"{WYRT} show all {folder}/wyrt"), ("wyrt", f"{WYRT} export --format jsonl {folder}/wyrt"),
                           ("wyrt", f"{WYRT} stats {folder}/wyrt"), ("sar", f"sar -A -f {folder}/sar"),
                           ("sar", f"sadf -j {folder}/sar -- -A"), ("atop", f"atop -r {folder}/atop"),
                           ("atop", f"atop -r {folder}/atop -P ALL")):
            if name not in written:
                continue
            taken = [ms for ms in (cpu(line.split()) for _ in range(ROUNDS)) if ms is not None]
            shown = line.replace(folder + "/", "").replace(WYRT, "wyrt")
            print(f"| `{shown}` | {figure(min(taken) / count if taken else None)} |")


def main():
    for path in (WYRT, LOAD):
        if not os.access(path, os.X_OK):
            sys.exit(f"bench/peers.py: {path} is missing; scripts/bench peers builds it")
    made = {**{name: group for name in GROUPS}, "logs": logs, "start": start}
    wanted = sys.argv[1:] or list(made)
    for name in wanted:
        if name not in made:
            sys.exit(f"bench/peers.py: there is no group {name}")
    print(f"{len([n for n in os.listdir('/proc') if n.isdigit()])} processes beside the load, load average "
          f"{open('/proc/loadavg').read().split()[0]}, {os.cpu_count()} CPUs.")
    for name in wanted:
        made[name](name)


main()
