#include "view/net.h"

#include <string>

#include <gtest/gtest.h>

static std::string shown(const Interval& interval, size_t width, const ViewRow& asked = {}) {
    const LogHead head;
    Page page(width, false);
    showNet(interval, View{head, asked}, page);
    return page.text();
}

static Interval someInterval() {
    Interval interval;
    interval.links.elapsed_us = interval.linksTotal.elapsed_us = 2000000;
    LinkRow row;
    row.name = "bond0", row.state = "up", row.addresses = "10.2.0.7 2001:db8::7", row.speed = 10000000000;
    row.rx_bytes = 200 << 20, row.tx_bytes = 1 << 20, row.rx_packets = 122000, row.tx_packets = 4;
    row.rx_errors = row.tx_errors = 0, row.rx_dropped = 6;
    interval.links.rows.push_back(row);
    row.name = "idle", row.rx_bytes = row.tx_bytes = row.rx_packets = row.tx_packets = row.rx_dropped = 0;
    interval.links.rows.push_back(row);
    row.name = "eth\x1B[2J", row.tx_bytes = 10, row.speed.reset(), row.addresses.clear();
    interval.links.rows.push_back(row);
    LinksRow all;
    all.links = 4, all.idle = 2, all.counted = 1, all.rx_bytes = 200 << 20;
    interval.linksTotal.rows.push_back(all);
    return interval;
}

TEST(NetView, MostTrafficFirstAndIdleOnesCounted) {
    EXPECT_EQ(shown(someInterval(), 0),
              "NET         rMB/s  wMB/s rpkt/s wpkt/s err/s drop/s speed  use% state address\n"
              "bond0       100.0    0.5  61.0K      2     0      3   10G   8.4 up    10.2.0.7 2001:db8::7\n"
              "eth\\x1B[2J    0.0    0.0      0      0     0      0     -     - up\n"
              "all 1       100.0      -      -      -     -      -                   2 idle\n");
    ViewRow asked;
    asked.rows = 1;
    asked.sort = "write";
    EXPECT_EQ(shown(someInterval(), 0, asked),
              "NET         rMB/s  wMB/s rpkt/s wpkt/s err/s drop/s speed  use% state address\n"
              "bond0       100.0    0.5  61.0K      2     0      3   10G   8.4 up    10.2.0.7 2001:db8::7\n"
              "all 1       100.0      -      -      -     -      -                   2 idle, 1 not shown\n");
}

TEST(NetView, NarrowAndIdle) {
    EXPECT_EQ(shown(someInterval(), 80),
              "NET         rMB/s  wMB/s rpkt/s wpkt/s err/s drop/s speed  use% state address\n"
              "bond0       100.0    0.5  61.0K      2     0      3   10G   8.4 up    10.2.0.7\n"
              "eth\\x1B[2J    0.0    0.0      0      0     0      0     -     - up\n"
              "all 1       100.0      -      -      -     -      -                   2 idle\n");
    auto wide = someInterval();
    wide.links.rows[0].addresses = "2001:db8:1234:5678::7 10.2.0.7";
    EXPECT_NE(shown(wide, 80).find("8.4 2001:db8:1234:5678::7\n"), std::string::npos);
    EXPECT_NE(shown(wide, 100).find("8.4 up    2001:db8:1234:5678::7 10.2.0.7\n"), std::string::npos);
    EXPECT_EQ(shown(someInterval(), 60).substr(0, 60), "NET         rMB/s  wMB/s err/s drop/s speed  use% address\nbo");
    Interval interval;
    EXPECT_EQ(shown(interval, 0), "");
    LinksRow all;
    all.links = all.idle = 4;
    interval.linksTotal.rows.push_back(all);
    EXPECT_EQ(shown(interval, 0), "NET  4 interfaces, idle\n");
}
