#!/usr/bin/env python3
"""Measures runs of the new form as a whole: the first table, the memory at rest, and how large a log grows in a day.

    WYRT=build/bench/wyrt bench/run.py [first | memory | large | less | log]...      scripts/bench new calls it

first   a terminal of its own: from the start of the program until its first table is there, wall clock
memory  resident memory of `record` with the areas of `live`, after 100 intervals
large   resident and anonymous memory of `record` on large machines, after 50 intervals and after 200, while processes
        begin and end all the time; bench-load, beside the program, makes the machines. Fails above the bounds
less    CPU time of a sample of `record proc` with less of what it wants, beside the whole: 2,000 processes, of which 500 run
log     `record -i 10s` for LOG_SECONDS (default 300) on this machine as it is: the bytes of an interval after the first,
        and what `zstd -3` makes of the whole log, for a day of 8640 intervals
"""
import fcntl, os, pty, resource, select, struct, shutil, statistics, subprocess, sys, tempfile, termios, time

WYRT = os.environ.get("WYRT", "build/bench/wyrt")


def first_table():
    start = time.monotonic()
    child, terminal = pty.fork()
    if child == 0:
        fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("4H", 40, 120, 0, 0))
        os.environ["TERM"] = "xterm"
        os.execv(WYRT, [WYRT, "live"])
    text = b""
    while b"idle%" not in text and time.monotonic() - start < 10:
        if select.select([terminal], [], [], 1)[0]:
            text += os.read(terminal, 65536)
    taken = time.monotonic() - start
    os.write(terminal, b"q")
    while True:  # the last screen must be read for the program to end
        try:
            if not os.read(terminal, 65536):
                break
        except OSError:
            break
    os.waitpid(child, 0)
    os.close(terminal)
    return taken * 1000


def kib(pid, name="VmRSS"):
    with open(f"/proc/{pid}/status") as status:
        return next(int(line.split()[1]) for line in status if line.startswith(name))


def memory():
    with subprocess.Popen([WYRT, "record", "-i", "20ms", "-c", "105"], stdout=subprocess.DEVNULL) as program:
        time.sleep(2)
        resident = kib(program.pid)
    return resident / 1024


LARGE = (  # areas, options of bench-load, MB resident
    (["proc", "file"], "--processes 100 --fds 600", 24),
    (["proc", "file"], "--processes 100 --fds 600 --active 2000", 24),
    (["proc"], "--processes 5000", 16),
    (["proc"], "--processes 5000 --busy 5000", None),
)
FORKS = ["bash", "-c", "while :; do for i in 1 2 3 4 5 6 7 8; do /bin/true & done; wait; sleep 0.05; done"]


class Intervals:
    """Counts the intervals of a log that is being written."""

    def __init__(self, program, name):
        self.program, self.name, self.file, self.seen = program, name, None, 0

    def memory_after(self, count):
        """Resident and anonymous MB of the program once the log has so many."""
        while self.seen < count:
            if self.program.poll() is not None:
                sys.exit("record has ended")
            time.sleep(0.2)
            if not self.file and os.path.exists(self.name):
                self.file = open(self.name, "rb")
            if self.file:
                self.seen += self.file.read().count(b"\nEND,")
        return kib(self.program.pid) / 1024, kib(self.program.pid, "RssAnon") / 1024


def large(areas, options):
    load_program = os.path.join(os.path.dirname(WYRT), "bench-load")
    with tempfile.TemporaryDirectory() as folder:
        log = folder + "/log"
        load = subprocess.Popen([load_program] + options.split(), stdout=subprocess.PIPE)
        load.stdout.readline()
        forks = subprocess.Popen(FORKS, start_new_session=True)
        program = subprocess.Popen([WYRT, "record", *areas, "-i", "200ms", "-o", log])
        intervals = Intervals(program, log)
        try:
            return intervals.memory_after(50) + intervals.memory_after(200)
        finally:
            program.terminate(), program.wait()
            os.killpg(forks.pid, 9), forks.wait()
            load.kill(), load.wait()
            time.sleep(1)  # until all processes of the load are gone


def large_machines():
    met = True
    print("| `record` of | on | MB | anonymous | MB later | anonymous | bound |\n" + "| --- " * 7 + "|")
    for areas, options, bound in LARGE:
        figures = large(areas, options)
        good = not bound or max(figures[0], figures[2]) <= bound
        met &= good
        print(f"| `{' '.join(areas)}` | `{options}` | " + " | ".join(f"{f:.1f}" for f in figures) +
              (f" | {bound} MB: {'met' if good else 'MISSED'} |" if bound else " | |"))
    return met


USER = "setpriv --reuid=65534 --regid=65534 --clear-groups "
HIDDEN = "unshare --mount sh -c 'mount -t proc -o hidepid=2 proc /proc && exec "
LESS = (  # what it lacks, a shell's command around the program's
    ("nothing", "{}"),
    ("room for more than 1,024 open files", "ulimit -n 1024; {}"),
    ("the rights of root", USER + "{}"),
    ("a `/proc` of its own pid namespace", "unshare --pid --fork {}"),
    ("the processes of others (`hidepid`)", HIDDEN + USER + "{}'"),
)


def sample_cost(around):
    """CPU ms of a sample: the least of three, without the start and the first samples."""
    def spent(count):
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        command = around.format(f"{os.path.abspath(WYRT)} record proc -i 100ms -c {count} >/dev/null")
        subprocess.run(["bash", "-c", command], check=True)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        return (after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime) * 1000
    few, many = 12, 52
    return min(spent(many) - spent(few) for _ in range(3)) / (many - few)


def less():
    load = subprocess.Popen([os.path.join(os.path.dirname(WYRT), "bench-load"), "--processes", "2000", "--busy", "500"],
                            stdout=subprocess.PIPE)
    load.stdout.readline()
    print("| without | CPU ms of a sample |\n| --- | --- |")
    try:
        for name, around in LESS:
            print(f"| {name} | {sample_cost(around):.2f} |", flush=True)
    finally:
        load.kill(), load.wait()


def log(seconds):
    with tempfile.TemporaryDirectory() as folder:
        name = folder + "/log"
        subprocess.run([WYRT, "record", "-i", "10s", "-c", str(max(seconds // 10, 3)), "-o", name], check=True)
        data = open(name, "rb").read()
        ends = [i for i in range(len(data)) if data.startswith(b"\nEND,", i)]
        intervals = len(ends) - 2  # without the head's own and the first one
        each = (len(data) - data.index(b"\n", ends[1] + 1)) / intervals
        ratio = None
        if shutil.which("zstd"):
            subprocess.run(["zstd", "-q", "-3", "-k", name], check=True)
            ratio = len(data) / os.path.getsize(name + ".zst")
    return each, ratio


def main():
    wanted = sys.argv[1:] or ["first", "memory", "large", "less", "log"]
    if "first" in wanted:
        times = sorted(first_table() for _ in range(11))
        print(f"first table: {times[0]:.1f} ms least, {statistics.median(times):.1f} ms median of 11")
    if "memory" in wanted:
        print(f"resident memory at rest: {memory():.1f} MB")
    if "large" in wanted and not large_machines():
        sys.exit(1)
    if "less" in wanted:
        less()
    if "log" in wanted:
        each, ratio = log(int(os.environ.get("LOG_SECONDS", "300")))
        day = each * 8640 / 1e6
        print(f"log every 10 s: {each:.0f} bytes an interval, {day:.1f} MB a day" +
              (f", {day / ratio:.1f} MB with zstd -3" if ratio else ""))


main()
