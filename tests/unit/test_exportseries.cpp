// wyrt export as time series, openmetrics and influx.
#include "tests/unit/exportlog.h"
#include "wyrtlog/metrics.h"

#include <utility>

// A log of disks: for each interval the reads of each disk.
static std::string diskLog(const std::vector<std::vector<std::pair<std::string, uint64_t>>>& intervals,
                           int64_t each_ms = 10000, int64_t start_ms = Start) {
    std::string log;
    LogWriter writer;
    writer.head(Head, {}, {start_ms, 60}, log);
    uint64_t number = 0;
    for (auto& disks : intervals) {
        Interval interval;
        interval.number = ++number;
        interval.time = {start_ms + static_cast<int64_t>(number) * each_ms, 60};
        interval.elapsed_us = each_ms * 1000;
        for (auto& [name, reads] : disks) {
            auto& disk = interval.disks.rows.emplace_back();
            if (name == "dm-0") disk.volume = "vg/root";
            disk.name = name, disk.device = name + ":0", disk.reads = reads, disk.busy_us = 1500000, disk.in_flight = 2;
            if (name.empty()) interval.disks.rest = disk, interval.disks.rows.pop_back();
        }
        interval.disks.sampled = true, interval.disks.elapsed_us = each_ms * 1000;
        writer.interval(interval, log);
    }
    return log;
}

TEST(ExportSeries, CountersGrowOverTheSpan) {
    Made machine("");
    save("/a.wyrt", diskLog({{{"sda", 5}, {"dm-0", 1}}, {{"sda", 7}}, {}, {{"sda", 1}, {"sdb", 3}, {"", 9}}}));
    const auto metrics = exported({"/a.wyrt", "--format", "openmetrics"});
    EXPECT_EQ(linesWith(metrics, "wyrt_disk_reads"),
              "# TYPE wyrt_disk_reads counter\n"
              "# HELP wyrt_disk_reads of the records DISK\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"dm-0\",volume=\"vg/root\"} 0 1795266310.000\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"dm-0\",volume=\"vg/root\"} 1 1795266320.000\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"others\"} 0 1795266340.000\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"others\"} 9 1795266350.000\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 0 1795266310.000\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 5 1795266320.000\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 12 1795266330.000\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 12 1795266340.000\n" // it stood still
              "wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 13 1795266350.000\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"sdb\"} 0 1795266340.000\n"
              "wyrt_disk_reads_total{host=\"db7\",disk=\"sdb\"} 3 1795266350.000\n");
    EXPECT_NE(metrics.find("# TYPE wyrt_disk_busy_seconds counter\n# UNIT wyrt_disk_busy_seconds seconds\n"),
              metrics.npos);
    EXPECT_NE(metrics.find("wyrt_disk_busy_seconds_total{host=\"db7\",disk=\"sda\"} 4.5 1795266350.000\n"),
              metrics.npos);
    EXPECT_EQ(linesWith(metrics, "wyrt_disk_info"),
              "wyrt_disk_info{host=\"db7\",disk=\"dm-0\",volume=\"vg/root\",dev=\"dm-0:0\"} 1 1795266320.000\n"
              "wyrt_disk_info{host=\"db7\",disk=\"sda\",dev=\"sda:0\"} 1 1795266320.000\n"
              "wyrt_disk_info{host=\"db7\",disk=\"sdb\",dev=\"sdb:0\"} 1 1795266350.000\n");
    EXPECT_TRUE(metrics.ends_with("\n# EOF\nstatus 0\n"));
    const auto lines = exported({"/a.wyrt", "--format", "influx"});
    EXPECT_EQ(linesWith(lines, "disk=sdb "),
              "wyrt_disk,host=db7,disk=sdb reads_total=0i,busy_seconds_total=0 1795266340000000000\n"
              "wyrt_disk,host=db7,disk=sdb stacked=0,reads_total=3i,busy_seconds_total=1.5,in_flight=2 "
              "1795266350000000000\n");
}

// Long logs go through the temporary file; what stands still is repeated each minute.
TEST(ExportSeries, LongOnes) {
    Made machine("");
    std::vector<std::vector<std::pair<std::string, uint64_t>>> intervals(100, {{"sda", 2}});
    intervals[0].emplace_back("sdb", 1);
    save("/a.wyrt", diskLog(intervals));
    const auto metrics = exported({"/a.wyrt", "--format", "openmetrics"});
    const auto sda = linesWith(metrics, "wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"}");
    EXPECT_EQ(countOf(sda, "\n"), 101U);
    for (size_t i = 0; i <= 100; i++)
        EXPECT_NE(sda.find("} " + std::to_string(2 * i) + " " + std::to_string(1795266310 + 10 * i) + ".000\n"),
                  sda.npos)
            << i;
    const auto sdb = linesWith(metrics, "wyrt_disk_reads_total{host=\"db7\",disk=\"sdb\"}");
    EXPECT_EQ(countOf(sdb, "} 1 "), 17U) << sdb; // 20 s, then each minute
}

// As a damaged clock, or a forged log, has them.
TEST(ExportSeries, TimesBefore1970) {
    Made machine("");
    save("/a.wyrt", diskLog({{{"sda", 5}}, {{"sda", 1}}}, 1000, -1500));
    const auto metrics = linesWith(exported({"/a.wyrt", "--format", "openmetrics"}), "wyrt_disk_reads_total{");
    EXPECT_EQ(metrics, "wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 0 -1.500\n"
                       "wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 5 -0.500\n"
                       "wyrt_disk_reads_total{host=\"db7\",disk=\"sda\"} 6 0.500\n");
    EXPECT_NE(exported({"/a.wyrt", "--format", "influx"}).find(" -500000000\n"), std::string::npos);
}

TEST(ExportSeries, LabelsAreQuotedAndBounded) {
    Made machine("");
    std::vector<std::pair<std::string, uint64_t>> disks;
    for (const char* name : Hostile)
        if (*name) disks.emplace_back(name, 1);
    disks.emplace_back(std::string(500, 'x'), 1);
    save("/a.wyrt", diskLog({disks}));
    const auto metrics = linesWith(exported({"/a.wyrt", "--format", "openmetrics"}), "wyrt_disk_reads_total{");
    for (const char* label :
         {"a,b", "say \\\"hi\\\"", "back\\\\slash", "new\\nline", "tab\\\\x09here", "\\\\xFF\\\\xFE", "sn\xc3\xb6"})
        EXPECT_NE(metrics.find("disk=\"" + std::string(label) + "\"} 1 "), metrics.npos) << label << metrics;
    EXPECT_NE(metrics.find("disk=\"" + std::string(LongestLabel, 'x') + "\"}"), metrics.npos);
    const auto lines = linesWith(exported({"/a.wyrt", "--format", "influx"}), "in_flight");
    for (const char* tag : {"a\\,b", "say\\ \"hi\"", "back\\x5Cslash", "new\\x0Aline", "\\=1+1", "sn\xc3\xb6"})
        EXPECT_NE(lines.find(",disk=" + std::string(tag) + " "), lines.npos) << tag << lines;
    // A host without a name.
    save("/a.wyrt", logOf(1, {"1.2.0", "", "boot", "run"}));
    const auto nameless = exported({"/a.wyrt", "--format", "influx", "--kind", "cpu"});
    EXPECT_TRUE(nameless.starts_with("wyrt_cpu user_seconds_total=")) << nameless;
    // More things than there are series.
    disks.clear();
    for (int i = 0; i < 1200; i++) disks.emplace_back("d" + std::to_string(i), 1);
    save("/a.wyrt", diskLog({disks, disks}));
    const auto many = exported({"/a.wyrt", "--format", "influx"});
    EXPECT_NE(many.find("wyrt: 400 records are left out: there are too many things"), many.npos);
}

TEST(ExportSeries, ProcessesAreAddedUpByCommand) {
    Made machine("");
    std::string log;
    LogWriter writer;
    writer.head(Head, {}, {Start, 60}, log);
    Interval interval;
    interval.number = 1, interval.time = {Start + 2000, 60}, interval.elapsed_us = 2000000;
    interval.processes.sampled = true, interval.processes.elapsed_us = 2000000;
    for (uint64_t i = 0; i < 600; i++) {
        auto& row = interval.processes.rows.emplace_back();
        row.pid = 100 + i, row.name = "c" + std::to_string(i / 2), row.cpu_us = 1000000;
    }
    interval.processes.rest.emplace().cpu_us = 5000000;
    writer.interval(interval, log);
    save("/a.wyrt", log);
    const auto said = linesWith(exported({"/a.wyrt", "--format", "influx"}), "1795266312000000000");
    EXPECT_NE(said.find("wyrt_process,host=db7,command=c0 cpu_seconds_total=2 "), said.npos) << said;
    EXPECT_EQ(countOf(said, "wyrt_process,"), 201U) << said;
    EXPECT_NE(said.find("wyrt_process,host=db7,command=others cpu_seconds_total=205 "), said.npos) << said;
}

TEST(ExportSeries, ADamagedIntervalAddsNothing) {
    Made machine("");
    save("/a.wyrt", resealed(changed(diskLog({{{"sda", 5}}, {{"sda", 77}}}), ",77,", ",7x7,")));
    const auto said = exported({"/a.wyrt", "--format", "influx"});
    EXPECT_EQ(countOf(said, "reads_total=5i"), 1U) << said;
    EXPECT_EQ(countOf(said, "1795266330"), 0U) << said;
    EXPECT_NE(said.find("1 interval is damaged"), said.npos) << said;
}
