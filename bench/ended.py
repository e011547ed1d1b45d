#!/usr/bin/env python3
"""Measures how many short connections `record sock` sees whole, that is with the last counters of both ends.

    WYRT=build/bench/wyrt bench/ended.py [RATE]...      connections a second; default 1000 5000 10000

Each connection carries a byte and is over at once. They come evenly for 20 seconds, at intervals of 10 s, and begin right
after a sample, when nothing tells how many there will be. The room for reports is as large as the right to it
(CAP_NET_ADMIN) or net.core.rmem_max makes it.
"""
import multiprocessing, os, socket, struct, subprocess, sys, tempfile, time

WYRT = os.environ.get("WYRT", "build/bench/wyrt")
INTERVAL, SPAN = 10, 20
HARD = struct.pack("ii", 1, 0)  # no TIME_WAIT: local ports would run out


def connect(rate, start, made):
    listener = socket.socket()
    listener.bind(("127.0.0.1", 0))
    listener.listen(16)
    count = 0
    while (now := time.monotonic() - start) < SPAN:
        if now < 0 or count >= rate * now:
            time.sleep(0.002)
            continue
        here = socket.create_connection(listener.getsockname())
        there, _ = listener.accept()
        here.send(b"x")
        there.recv(1)
        here.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, HARD)
        here.close()
        there.close()
        count += 1
    made.put(count)


def rows(path):
    names = []
    with open(path) as log:
        for line in log:
            fields = line.rstrip("\n").split(",")
            if fields[0] == "#NETNS":
                names = fields
            elif fields[0] == "NETNS":
                row = dict(zip(names, fields))
                if row["own"] == "1":
                    yield row


def measure(rate):
    with tempfile.TemporaryDirectory() as folder:
        path = folder + "/log"
        count = SPAN // INTERVAL + 3
        recorder = subprocess.Popen([WYRT, "record", "sock", "-i", f"{INTERVAL}s", "-c", str(count), "-o", path])
        while not os.path.exists(path) or open(path).read().count("\nEND,") < 3:  # of the head, and of two intervals
            time.sleep(0.05)
        start = time.monotonic()
        made, processes = multiprocessing.Queue(), 2
        workers = [multiprocessing.Process(target=connect, args=(rate / processes, start, made)) for _ in range(processes)]
        for worker in workers:
            worker.start()
        total = sum(made.get() for _ in workers)
        for worker in workers:
            worker.join()
        recorder.wait()
        told = list(rows(path))
    ended = sum(int(row["ended"] or 0) for row in told)
    lost = sum(int(row["reports_lost"] or 0) for row in told)
    print(f"| {total / SPAN:,.0f} | {2 * total:,} | {ended:,} | {100 * ended / (2 * total):.1f} % | {lost} |", flush=True)


print("| connections a second | sockets that ended | reported | share | losses |\n| --- | --- | --- | --- | --- |")
for each in [int(word) for word in sys.argv[1:]] or [1000, 5000, 10000]:
    measure(each)
