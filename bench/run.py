#!/usr/bin/env python3
"""Measures runs of the new form as a whole: the first table, the memory at rest, and how large a log grows in a day.

    WYRT=build/bench/wyrt bench/run.py [first | memory | log]...      scripts/bench new calls it

first   a terminal of its own: from the start of the program until its first table is there, wall clock
memory  resident memory of `record` with the areas of `live`, after 100 intervals
log     `record -i 10s` for LOG_SECONDS (default 300) on this machine as it is: the bytes of an interval after the first,
        and what `zstd -3` makes of the whole log, for a day of 8640 intervals
"""
import fcntl, os, pty, select, struct, shutil, statistics, subprocess, sys, tempfile, termios, time

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


def resident(pid):
    with open(f"/proc/{pid}/status") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmRSS"))


def memory():
    with subprocess.Popen([WYRT, "record", "-i", "20ms", "-c", "105"], stdout=subprocess.DEVNULL) as program:
        time.sleep(2)
        kib = resident(program.pid)
    return kib / 1024


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
    wanted = sys.argv[1:] or ["first", "memory", "log"]
    if "first" in wanted:
        times = sorted(first_table() for _ in range(11))
        print(f"first table: {times[0]:.1f} ms least, {statistics.median(times):.1f} ms median of 11")
    if "memory" in wanted:
        print(f"resident memory at rest: {memory():.1f} MB")
    if "log" in wanted:
        each, ratio = log(int(os.environ.get("LOG_SECONDS", "300")))
        day = each * 8640 / 1e6
        print(f"log every 10 s: {each:.0f} bytes an interval, {day:.1f} MB a day" +
              (f", {day / ratio:.1f} MB with zstd -3" if ratio else ""))


main()
