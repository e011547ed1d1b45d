// Protocol counters of IP, ICMP, TCP and UDP (/proc/net/snmp) and the extended ones of TCP (/proc/net/netstat).
#pragma once

#include "base/text.h"
#include "classic/collect/slots.h"

#include <array>
#include <string_view>

struct TNetstat {
    Text<32> name;
    double curvalue = 0; // since boot
    double prevalue = 0; // the same in the previous sample; results only
    double delta = 0;    // change per second; results only
};

constexpr int NetstatGroups = 5;
extern const std::array<const char*, NetstatGroups> NetstatNames; // "Ip", "Icmp", "Tcp", "Udp", "TcpExt"

// One pair of samples and one list of changes for each group.
using TNetstatSlots = std::array<Slots<TNetstat>, NetstatGroups>;

// Takes a sample and forms the changes per second since the one before.
void gettcpext(int CallIndex, int icur, int ipre, double seconds, TNetstatSlots& snmp);

// A counter's name: the text up to its first blank, at most 31 characters.
Text<32> getname(std::string_view src);

// How many lines of each group this sample has read; -1: the group's file is not open yet.
struct TNetstatLines {
    int seen[NetstatGroups] = {0, 0, 0, 0, -1};
};
// One line of the two files: a group's names, then its values. False when there is no memory for the names.
bool getNetstatLine(std::string_view line, int slot, TNetstatLines& lines, TNetstatSlots& snmp);
