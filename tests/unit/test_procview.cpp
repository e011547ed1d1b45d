#include "model/procshown.h"
#include "view/proc.h"
#include "view/proclist.h"

#include <algorithm>
#include <random>
#include <sstream>

#include <gtest/gtest.h>

static ProcRow process(uint64_t pid, uint64_t parent, const char* name, uint64_t cpu_us) {
    ProcRow row;
    row.pid = pid, row.start = pid * 10, row.parent = parent, row.name = name, row.user = "root", row.state = 'S';
    row.cpu_us = cpu_us, row.ran = cpu_us > 0;
    return row;
}

static Interval machine(std::vector<ProcRow> rows) {
    Interval interval;
    interval.processes.sampled = interval.processesTotal.sampled = true;
    interval.processes.elapsed_us = interval.processesTotal.elapsed_us = 2000000;
    interval.processes.rows = std::move(rows);
    auto& all = interval.processesTotal.rows.emplace_back();
    all.processes = 412, all.ran = 38;
    return interval;
}

static std::string shown(const Interval& interval, const ViewRow& asked = {}, size_t width = 0) {
    Page page(width, false);
    showProcesses(interval, {LogHead{}, asked}, page);
    return page.text();
}

// The second word of each line: the pids, below the title.
static std::string pids(const std::string& text) {
    std::istringstream lines(text);
    std::string all;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(">")) line[0] = ' ';
        std::istringstream words(line);
        std::string first;
        words >> first;
        if (line.starts_with(" ")) all.append(all.empty() ? "" : " ").append(first);
    }
    return all;
}

TEST(ProcView, ARowSaysWhatAProcessDid) {
    auto row = process(4411, 1, "rsync", 620000);
    row.state = 'D', row.wait_us = 8000, row.threads = 1, row.rss = 9542042, row.growth = -2048, row.swap = 0;
    row.read_bytes = 0, row.write_bytes = 383778816, row.major_faults = 42, row.unit = "backup.service";
    row.command = "/usr/bin/rsync -a /srv\x1b[2J /backup";
    auto interval = machine({row});
    auto& all = interval.processesTotal.rows[0];
    all.started = 28, all.ended = 27, all.accounted_us = 992000, all.used_us = 1000000, all.irq_us = 40000;
    all.blocked = 2, all.zombies = 1, all.without_io = 12;
    EXPECT_EQ(
        shown(interval),
        "PROC     pid user     S  cpu% wait%  blk% chld%  thr   rss  +mem  swap rMB/s wMB/s majf/s minf/s csw/s   "
        "fds unit           command\n"
        "        4411 root     D  31.0   0.4     -     -    1  9.1M -2.0K     0   0.0 183.0     21      -     -   "
        "  - backup.service rsync -a /srv\\x1B[2J /backup\n"
        "412 processes: 38 ran, 1 shown, 2 blocked, 1 zombie; 28 started, 27 ended; CPU accounted for 99.2% "
        "(irq 4.0%); 12 without I/O figures: wyrt check\n");
    EXPECT_EQ(shown(interval, {}, 80),
              "PROC     pid user     S  cpu% wait%   rss  +mem rMB/s wMB/s command\n"
              "        4411 root     D  31.0   0.4  9.1M -2.0K   0.0 183.0 rsync -a /srv\\x1B[2J\n"
              "412 processes: 38 ran, 1 shown, 2 blocked, 1 zombie; 28 started, 27 ended\n");
}

TEST(ProcView, ALittleMoreThanAllIsAll) {
    struct Case {
        uint64_t accounted_us;
        const char* share;
    };
    for (const auto& c : {Case{999000, " 99.9%"}, {1000000, " 100.0%"}, {1015000, " 100.0%"}, {1016000, " 101.6%"}}) {
        auto interval = machine({process(1, 0, "init", 500000)});
        auto& all = interval.processesTotal.rows[0];
        all.accounted_us = c.accounted_us, all.used_us = 1000000;
        EXPECT_NE(shown(interval).find("CPU accounted for" + std::string(c.share) + "\n"), std::string::npos)
            << shown(interval);
    }
}

TEST(ProcView, NothingHappened) {
    EXPECT_EQ(shown(machine({process(1, 0, "init", 0)})), "PROC  412 processes: 38 ran, 0 shown\n");
    EXPECT_EQ(shown(Interval{}), "");
}

TEST(ProcView, OrdersLeaveOutWhoHasNothingOfIt) {
    auto a = process(11, 1, "a", 50), b = process(12, 1, "b", 40), c = process(13, 1, "c", 0),
         d = process(14, 1, "d", 9);
    a.write_bytes = 10, b.read_bytes = 20, b.wait_us = 5, c.rss = 4096, c.threads = 3, d.growth = -5;
    a.minor_faults = 1000000, b.major_faults = 1, d.growth = 4096, a.growth = -4096;
    const auto interval = machine({a, b, c, d});
    const struct {
        const char *sort, *order;
    } Cases[] = {
        {"", "11 12 14"}, {"cpu", "11 12 14"}, {"nonsense", "11 12 14"},
        {"io", "12 11"},  {"read", "12"},      {"write", "11"},
        {"wait", "12"},   {"mem", "13"},       {"threads", "13"},
        {"growth", "14"}, {"faults", "12 11"}, {"swap", ""},
        {"children", ""}, {"switches", ""},    {"files", ""},
        {"block", ""},
    };
    for (auto& order : Cases) {
        ViewRow asked;
        asked.sort = order.sort;
        EXPECT_EQ(pids(shown(interval, asked)), order.order) << order.sort;
    }
    ViewRow asked;
    asked.rows = 2;
    EXPECT_EQ(pids(shown(interval, asked)), "11 12");
    asked.pid = "14";
    EXPECT_EQ(pids(shown(interval, asked)), "14");
}

TEST(ProcView, TheFirstCulpritIsMarkedWhateverTheSort) {
    auto interval = machine({process(11, 1, "a", 50), process(12, 1, "b", 40), process(13, 1, "c", 0)});
    auto& who = interval.who.rows.emplace_back();
    who.rank = 1, who.mark = '=', who.pid = 13, who.start = 130;
    ViewRow asked;
    asked.rows = 2;
    const auto text = shown(interval, asked);
    EXPECT_EQ(pids(text), "13 11");
    EXPECT_NE(text.find("\n>         13 "), std::string::npos) << text;
    asked.tree = true;
    EXPECT_NE(shown(interval, asked).find("\n>         13 "), std::string::npos);
    who.start = 1; // an earlier process with this pid
    EXPECT_EQ(pids(shown(interval)), "11 12");
}

TEST(ProcView, NamesWithoutACommandLine) {
    auto kernel = process(9, 2, "kworker/0:1", 5), bare = process(10, 1, "a name", 4), odd = process(11, 1, "x", 3);
    kernel.kernel = true;
    odd.command = "/ x";
    auto slashes = process(12, 1, "y", 2), relative = process(13, 1, "z", 1);
    slashes.command = "/opt/", relative.command = "./bin/z a/b";
    const auto text = shown(machine({kernel, bare, odd, slashes, relative}));
    for (const char* end : {" [kworker/0:1]\n", " a name\n", " / x\n", " /opt/\n", " ./bin/z a/b\n"})
        EXPECT_NE(text.find(end), std::string::npos) << end << text;
}

TEST(ProcView, ATreeHasWhatIsAboveToo) {
    ViewRow asked;
    asked.tree = true;
    asked.rows = 2;
    const auto text = shown(machine({process(1, 0, "init", 0), process(20, 1, "shell", 0), process(30, 20, "hog", 90),
                                     process(21, 1, "other", 50), process(31, 20, "idle", 1)}),
                            asked);
    EXPECT_EQ(pids(text), "1 20 30 21");
    for (const char* end : {" init\n", "   shell\n", "     hog\n", "   other\n"})
        EXPECT_NE(text.find(end), std::string::npos) << text;
}

TEST(ProcView, ForgedParentsMakeNoCircle) {
    auto a = process(1, 2, "a", 5), b = process(2, 1, "b", 4), c = process(3, 3, "c", 3), d = process(4, 5, "d", 2);
    a.start = b.start = 7;
    auto e = process(5, 1, "e", 1); // younger than its child
    ViewRow asked;
    asked.tree = true;
    EXPECT_EQ(pids(shown(machine({a, b, c, d, e}), asked)), "3 4 1 2 5");
}

// Each process once, each below its parent, however they are related.
TEST(ProcView, RandomTrees) {
    std::mt19937 random(std::random_device{}());
    const auto seed = random();
    random.seed(seed);
    for (int round = 0; round < 200; round++) {
        std::vector<ProcRow> rows;
        for (uint64_t pid = 1; pid <= 40; pid++) {
            rows.push_back(process(pid, random() % 45, "p", random() % 3));
            rows.back().start = random() % 4;
        }
        const auto interval = machine(rows);
        const Filter filter({}, interval);
        const auto flat = flatLines(interval, filter, "", 20, nullptr);
        const auto tree = treeLines(interval, flat);
        std::vector<const ProcRow*> seen;
        for (size_t i = 0; i < tree.size(); i++) {
            seen.push_back(tree[i].row);
            if (tree[i].depth == 0) continue;
            size_t above = i;
            while (tree[above].depth >= tree[i].depth) above--;
            EXPECT_EQ(tree[above].row->pid, tree[i].row->parent) << "seed " << seed;
            EXPECT_EQ(tree[above].depth + 1, tree[i].depth) << "seed " << seed;
        }
        for (auto& line : flat) EXPECT_EQ(std::count(seen.begin(), seen.end(), line.row), 1) << "seed " << seed;
        std::sort(seen.begin(), seen.end());
        EXPECT_EQ(std::unique(seen.begin(), seen.end()), seen.end()) << "seed " << seed;
    }
}

TEST(ProcView, SumsByCommandUserAndUnit) {
    auto a = process(1, 0, "sh", 100000), b = process(2, 1, "sh", 100000), c = process(3, 1, "java", 300000);
    a.rss = 1024, b.rss = 1024, b.threads = 2, c.user = "app", c.unit = "app.service", a.growth = 4096;
    auto interval = machine({a, b, c, process(4, 1, "idle", 0)});
    const auto by = [&](const char* what) {
        ViewRow asked;
        asked.by = what;
        return shown(interval, asked, 80);
    };
    EXPECT_EQ(by("command"), "PROC       n  cpu% wait% chld%   rss  +mem  swap rMB/s wMB/s majf/s command\n"
                             "           1  15.0     -     -     -     -     -     -     -      - java\n"
                             "           2  10.0     -     -  2.0K +4.0K     -     -     -      - sh\n"
                             "412 processes: 38 ran, 2 sums shown\n");
    EXPECT_NE(by("user").find("majf/s user\n           1  15.0"), std::string::npos) << by("user");
    EXPECT_NE(by("user").find(" root\n"), std::string::npos);
    EXPECT_NE(by("unit").find(" app.service\n           3  10.0"), std::string::npos) << by("unit");
    interval.processes.rest.emplace().cpu_us = 1000000;
    EXPECT_NE(by("user").find("           -  50.0"), std::string::npos) << by("user");
    ViewRow asked;
    asked.by = "user", asked.user = "nobody";
    EXPECT_EQ(shown(interval, asked), "PROC  412 processes: 38 ran, 0 sums shown\n");
}

// --- Rows of processes that did nothing

// 1 init; 20 shell, below it; 30 hog, below the shell; 40 large and idle. Only the hog did something.
static ProcSample sampled() {
    ProcSample sample;
    for (const int pid : {1, 20, 30, 40}) {
        auto& process = sample.slots.emplace_back();
        process.pid = pid, process.parent = pid == 30 ? 20 : pid == 1 ? 0 : 1;
        process.rss = static_cast<uint64_t>(pid) * 4096, process.swap = pid == 20 ? 4096 : 0;
        process.threads = 1;
        auto& entry = sample.entries.emplace_back();
        entry.pid = pid, entry.slot = static_cast<uint32_t>(sample.slots.size() - 1), entry.threads = 1;
        entry.tell = pid == 30;
    }
    return sample;
}

static std::string marked(const ViewRow& asked) {
    auto sample = sampled();
    std::vector<char> shown;
    markShown(sample, asked, shown);
    std::string marks;
    for (const char mark : shown) marks += mark ? 'x' : '.';
    return marks;
}

TEST(ProcShown, TheLargestAndThoseAbove) {
    ViewRow asked;
    EXPECT_EQ(marked(asked), "");
    asked.sort = "cpu";
    EXPECT_EQ(marked(asked), "....");
    asked.sort = "mem", asked.rows = 2;
    EXPECT_EQ(marked(asked), "..xx");
    asked.user = "root"; // it is not known which of them are shown
    EXPECT_EQ(marked(asked), "xxxx");
    asked = {};
    asked.sort = "swap";
    EXPECT_EQ(marked(asked), ".x..");
    asked.sort = "files";
    EXPECT_EQ(marked(asked), "....");
    asked.sort = "threads", asked.rows = 1;
    EXPECT_EQ(marked(asked), "...x");
    asked = {};
    asked.tree = true;
    EXPECT_EQ(marked(asked), "xx..");
}
