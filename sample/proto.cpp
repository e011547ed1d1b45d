#include "sample/proto.h"

#include "base/clock.h"

ProtocolSampler::ProtocolSampler(const Root& root)
    : snmp(root, "/proc/net/snmp"), netstat(root, "/proc/net/netstat"), snmp6(root, "/proc/net/snmp6") {}

void ProtocolSampler::sample(ProtocolSample& now) {
    now.at_us = getMonotonic();
    now.counters.clear();
    now.hasSnmp = snmp.read(text);
    if (now.hasSnmp) parseSnmp(text.view(), now.counters);
    now.hasNetstat = netstat.read(text);
    if (now.hasNetstat) parseSnmp(text.view(), now.counters);
    now.hasSnmp6 = snmp6.read(text);
    if (now.hasSnmp6) parseSnmp6(text.view(), now.counters);
}
