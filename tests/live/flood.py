#!/usr/bin/python3
"""flood.py PORT PID: many connections to `wyrt serve` that say little, or read nothing. Its memory must stay flat."""
import os, random, socket, subprocess, sys, time
port, pid = int(sys.argv[1]), sys.argv[2]
def rss(): return int(next(l for l in open("/proc/%s/status" % pid) if l.startswith("VmRSS")).split()[1])
for i in range(20): subprocess.run(["curl", "-s", "-o", os.devnull, "http://127.0.0.1:%d/metrics" % port])
before, highest, slow = rss(), 0, []
good = refused = 0
end = time.monotonic() + 8
asked = 0
while time.monotonic() < end:
    while len(slow) < 300:
        s = socket.socket()
        s.setblocking(False)
        s.connect_ex(("127.0.0.1", port))
        slow.append((s, random.random()))
    for s, kind in list(slow):
        try:
            if kind < 0.4: s.send(b"X")                                     # never a request
            elif kind < 0.7: s.send(b"GET /metrics HTTP/1.1\r\nA: ")        # a head without an end
            elif kind < 0.9: s.send(b"GET /metrics HTTP/1.1\r\nHost: x\r\n\r\n") # and nothing is read
            elif random.random() < 0.1: raise OSError
        except BlockingIOError: pass
        except OSError: s.close(); slow.remove((s, kind))
    if time.monotonic() - (end - 8) > asked:
        asked += 1
        status = subprocess.run(["curl", "-s", "-o", os.devnull, "--max-time", "9", "-w", "%{http_code}",
                                 "http://127.0.0.1:%d/metrics" % port], capture_output=True, text=True).stdout
        if status == "200": good += 1
        elif status == "000": refused += 1
        else: sys.exit("status " + status)
    highest = max(highest, rss())
    time.sleep(0.05)
for s, kind in slow: s.close()
time.sleep(1)
after = subprocess.run(["curl", "-s", "-o", os.devnull, "--max-time", "9", "-w", "%{http_code}", "http://127.0.0.1:%d/metrics" % port],
                       capture_output=True, text=True).stdout
if after != "200": sys.exit("after the flood: status " + after)
if good + refused == 0: sys.exit("nobody asked")
if highest > before + 16384: sys.exit("memory grew from %d to %d KiB" % (before, highest))
print("before %d KiB, highest %d KiB, %d answered, %d refused" % (before, highest, good, refused), file=sys.stderr)
