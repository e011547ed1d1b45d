#!/usr/bin/python3
"""scraped.py PORT: compares what Prometheus on that port has scraped with log.jsonl, an export of the same log."""
import collections, json, sys, urllib.parse, urllib.request
def query(text):
    url = "http://127.0.0.1:%s/api/v1/query?query=" % sys.argv[1] + urllib.parse.quote(text)
    answer = json.load(urllib.request.urlopen(url, timeout=20))
    assert answer["status"] == "success", answer
    return answer["data"]["result"]
rows = [json.loads(line) for line in open("log.jsonl", encoding="utf-8")]
# name, record, field, unit, key field and label
Counters = [("wyrt_cpu_switches_total", "CPU", "switches", 1, None, None), ("wyrt_cpu_user_seconds_total", "CPU", "user", 1e-6, None, None),
            ("wyrt_cpu_forks_total", "CPU", "forks", 1, None, None), ("wyrt_mem_faults_total", "MEM", "faults", 1, None, None),
            ("wyrt_disk_write_bytes_total", "DISK", "write_bytes", 1, "name", "disk"), ("wyrt_disk_busy_seconds_total", "DISK", "busy_us", 1e-6, "name", "disk"),
            ("wyrt_link_rx_bytes_total", "LINK", "rx_bytes", 1, "name", "interface"), ("wyrt_pressure_some_seconds_total", "PSI", "some", 1e-6, "resource", "resource")]
compared = 0
for name, record, field, unit, key, label in Counters:
    sums, at = collections.defaultdict(lambda: [0.0]), None
    for row in rows:
        if row["record"] == record and field in row: sums[row.get(key, "") if key else ""].append(sums[row.get(key, "") if key else ""][-1] + row[field])
    for series in query(name + "[1h]"):
        of = sums[series["metric"].get(label, "") if label else ""]
        values = [float(value) for time, value in series["values"]]
        assert values == sorted(values), (name, "falls", values)
        known = sorted(total * unit for total in of)
        for value in values: assert any(abs(value - one) <= 1e-9 * max(1, one) for one in known), (name, series["metric"], value, known[-5:])
        assert abs(values[-1] - known[-1]) <= 1e-9 * max(1, known[-1]), (name, series["metric"], values[-1], known[-1])
        compared += len(values)
assert compared > 100, compared
# All of the processes together, whatever has series of its own.
cpu = sum(row.get("cpu", 0) for row in rows if row["record"] == "PROC") * 1e-6
got = sum(float(series["value"][1]) for series in query("last_over_time(wyrt_process_cpu_seconds_total[1h])"))
assert abs(cpu - got) < 1e-3, ("processes", cpu, got)
# Levels are those of one interval or another.
for name, record, field in (("wyrt_mem_available_bytes", "MEM", "available"), ("wyrt_cpu_load1", "CPU", "load1")):
    known = {float(row[field]) for row in rows if row["record"] == record and field in row}
    for series in query(name + "[1h]"):
        for time, value in series["values"]: assert float(value) in known, (name, value)
# Findings: each second in which there was one.
seconds = collections.Counter()
for row in rows:
    if row["record"] == "WHY": seconds[row["resource"], row.get("object", ""), row["rule"]] += row["secs"]
for series in query("last_over_time(wyrt_finding_seconds_total[1h])"):
    m = series["metric"]
    assert abs(float(series["value"][1]) - seconds[m["resource"], m.get("object", ""), m["rule"]]) < 1e-3, series
