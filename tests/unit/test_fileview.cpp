#include "model/volumes.h"
#include "view/file.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

static FileRow fileOf(uint64_t pid, const std::string& path, std::optional<uint64_t> forward) {
    FileRow row;
    row.pid = pid, row.start = 1, row.descriptor = 5;
    row.name = "rsync", row.user = pid == 7 ? "root" : "www";
    row.path = path, row.flags = "write append", row.mark = forward ? "=" : "~";
    row.evidence = forward ? "moved" : "written";
    row.forward = forward, row.backward = forward ? std::optional(uint64_t{0}) : std::nullopt;
    row.growth = forward.value_or(4096), row.position = 118 * 1024, row.size = 200 * 1024;
    row.mount = "/srv", row.device = "8:17", row.volume = "vg/backup", row.disk = "sdb";
    return row;
}

static Interval intervalOf(std::vector<FileRow> rows) {
    Interval interval;
    interval.filesTotal.sampled = interval.files.sampled = true;
    interval.filesTotal.elapsed_us = interval.files.elapsed_us = 2000000;
    interval.filesTotal.rows.push_back({12, 340, 2, 9, 1, 5000});
    interval.files.rows = std::move(rows);
    return interval;
}

static std::string shown(const Interval& interval, const ViewRow& asked = {}, size_t width = 0) {
    Page page(width, false);
    showFiles(interval, {LogHead{}, asked}, page);
    return page.text();
}

TEST(FileView, TheTable) {
    const auto text =
        shown(intervalOf({fileOf(7, "/srv/a", 1048576), fileOf(8, "/srv/b\x1b,", 4194304), fileOf(9, "/srv/c", {})}));
    EXPECT_EQ(text, "FILE     pid name             fd flags        =~ how       MB/s back/s grows/s position   size "
                    "disk          mount path\n"
                    "           8 rsync             5 write append =  moved      2.0    0.0    2.0M     118K   200K "
                    "vg/backup sdb /srv  /srv/b\\x1B,\n"
                    "           7 rsync             5 write append =  moved      0.5    0.0    512K     118K   200K "
                    "vg/backup sdb /srv  /srv/a\n"
                    "           9 rsync             5 write append ~  written      -      -    2.0K     118K   200K "
                    "vg/backup sdb /srv  /srv/c\n"
                    "     9 moved, 1 written, 3 shown; 340 descriptors of 12 processes that ran, 5000 known; 2 not "
                    "allowed: wyrt check\n");
}

// The file through which the first culprit did it stands first and has a mark.
TEST(FileView, TheCulpritsFile) {
    auto interval = intervalOf({fileOf(7, "/srv/a", 300), fileOf(8, "/srv/b", 200), fileOf(9, "/srv/c", 100)});
    auto& who = interval.who.rows.emplace_back();
    who.rank = 1, who.place = 1, who.mark = '=', who.pid = 9, who.start = 1, who.descriptor = 5;
    const auto lines = shown(interval);
    const auto at = lines.find('\n') + 1;
    EXPECT_TRUE(lines.substr(at).starts_with(">          9 rsync ")) << lines;
    EXPECT_LT(lines.find("/srv/c"), lines.find("/srv/a"));
    EXPECT_LT(lines.find("/srv/a"), lines.find("/srv/b"));
    who.descriptor = 6; // another file of it
    EXPECT_EQ(shown(interval).find('>'), std::string::npos);
}

TEST(FileView, OrderRowsAndFilters) {
    auto interval = intervalOf({fileOf(7, "/first", 100), fileOf(8, "/second", 200), fileOf(9, "/third", 300)});
    interval.files.rows[0].size = 900 << 20;
    interval.files.rows[1].growth = 1 << 20;
    const auto first = [&](const ViewRow& asked) {
        const auto text = shown(interval, asked);
        const auto at = text.find('/', text.find('\n'));
        return text.substr(text.rfind(' ', text.find('\n', at)) + 1, 4);
    };
    ViewRow asked;
    EXPECT_EQ(first(asked), "/thi");
    asked.sort = "size";
    EXPECT_EQ(first(asked), "/fir");
    asked.sort = "growth";
    EXPECT_EQ(first(asked), "/sec");
    asked.rows = 1;
    EXPECT_EQ(shown(interval, asked).find("/third"), std::string::npos);
    asked.rows.reset();
    asked.user = "root";
    EXPECT_EQ(shown(interval, asked).find("/second"), std::string::npos);
    EXPECT_NE(shown(interval, asked).find("/first"), std::string::npos);
}

TEST(FileView, NarrowTerminalsKeepWhoWhereAndHowMuch) {
    for (const size_t width : {80U, 120U}) {
        const auto text = shown(intervalOf({fileOf(7, "/srv/a", 1048576)}), {}, width);
        EXPECT_NE(text.find("rsync"), std::string::npos);
        EXPECT_NE(text.find("0.5"), std::string::npos);
        EXPECT_NE(text.find("/srv/a"), std::string::npos) << text;
        for (size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) EXPECT_LE(text.find('\n', at) - at, width);
    }
}

TEST(FileView, OfALongPathTheEndIsShownOnATerminal) {
    std::string path = "/srv";
    for (int i = 0; i < 40; i++) path += "/\xC3\xA4" + std::to_string(i);
    const auto interval = intervalOf({fileOf(7, path, 1048576)});
    EXPECT_NE(shown(interval).find(path + "\n"), std::string::npos);
    const auto text = shown(interval, {}, 80);
    EXPECT_NE(text.find(" ...2/\xC3\xA4"
                        "33/"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("/\xC3\xA4"
                        "39\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find(" 0.5 "), std::string::npos) << text;
}

TEST(FileView, NothingMoved) {
    auto interval = intervalOf({});
    interval.filesTotal.rows[0] = {3, 40, 0, 0, 0, 5000};
    EXPECT_EQ(shown(interval), "FILE  none moved; 40 descriptors of 3 processes that ran, 5000 known\n");
    interval.filesTotal.rows[0] = {};
    EXPECT_EQ(shown(interval), "");
    EXPECT_EQ(shown(Interval{}), "");
}

// --- Where a file is

TEST(VolumePlace, TheVolumeAndItsDisks) {
    const std::vector<VolumeRow> volumes = {
        {"8:0", "sda", "disk", "MODEL", "", "", {}},      {"8:1", "sda1", "part", "", "", "", {}},
        {"8:16", "sdb", "disk", "", "", "", {}},          {"253:0", "dm-0", "lvm", "vg/data", "", "", {}},
        {"253:1", "dm-1", "mpath", "mpatha", "", "", {}}, {"8:32", "sdc", "disk", "", "", "", {}},
        {"uuid", "pool", "btrfs", "pool", "", "", {}},    {"9:0", "md0", "raid1", "root", "", "", {}},
    };
    const std::vector<HoldsRow> holds = {
        {"8:1", "8:0", "", ""},    {"253:0", "8:1", "", ""}, {"253:0", "8:16", "", ""}, {"253:1", "8:32", "", ""},
        {"uuid", "253:1", "", ""}, {"uuid", "8:16", "", ""}, {"9:0", "9:0", "", ""},
    };
    const std::vector<MountRow> mounts = {{"uuid", "/pool", "btrfs", ""}, {"8:1", "/box", "overlay", "/upper"}};
    const auto at = [&](const char* device, const char* point) {
        const auto place = placeOf(volumes, holds, mounts, device, point);
        return place.volume + "|" + place.disks;
    };
    EXPECT_EQ(at("8:1", "/"), "sda1|sda");
    EXPECT_EQ(at("253:0", "/data"), "vg/data|sda sdb");
    EXPECT_EQ(at("8:16", ""), "sdb|sdb");
    EXPECT_EQ(at("0:44", "/pool"), "pool|mpatha sdb"); // the paths of a multipath disk are not disks
    EXPECT_EQ(at("0:45", "/box"), "sda1|sda");
    EXPECT_EQ(at("0:46", "/elsewhere"), "|");
    EXPECT_EQ(at("0:46", ""), "|");
    EXPECT_EQ(at("7:1", "/pool"), "|");
    EXPECT_EQ(at("9:0", ""), "md0|"); // a damaged map
}
