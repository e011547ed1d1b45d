// Network interfaces: the kernel's traffic counters (/proc/net/dev) and the IPv4 addresses that ifconfig prints.
#pragma once

#include "base/text.h"
#include "classic/collect/slots.h"

#include <string>
#include <string_view>

constexpr int MostAddresses = 5; // of one interface

// The addresses of an interface.
struct TAddresses {
    int ipcount = 0;
    Text<16> ip[MostAddresses];
    Text<16> netmask[MostAddresses];
    Text<16> broadcast[MostAddresses];
    Text<100> ipstring; // joined with "/"
};

// One interface: the kernel's counters since boot, or (result) their growth per second.
struct TNetif : TAddresses {
    Text<32> name;
    double rbytes = 0, rpackets = 0, rerrors = 0, rdrop = 0, rfifo = 0, rframe = 0, rcompressed = 0, rmulticast = 0;
    double wbytes = 0, wpackets = 0, werrors = 0, wdrop = 0, wfifo = 0, colls = 0, carrier = 0, wcompressed = 0;
};

// `result` is the rate table: row 0 is the total, row i + 1 the interface at position i of the current sample; empty
// when no rates could be formed.
using TNetifSlots = Slots<TNetif>;

// Takes a sample and forms the rates; returns the number of rows of the rate table.
int getnetif(int CallingIndex, int icur, int ipre, double seconds, TNetifSlots& netif);

// Orders rates: the most bytes per second first. Rates with the same sum of bytes are equal.
int compnetif(const TNetif& a, const TNetif& b);

// One line of /proc/net/dev; false when it shows no interface.
bool getNetifLine(std::string_view line, TNetif& netif);
// Reads the output of ifconfig for an interface, in the format of old net-tools ("inet addr:") or the new one.
void getAddresses(std::string_view output, TAddresses& addresses);
// The shell command that asks for the addresses.
std::string getAddressCommand(std::string_view name);
