// Network interfaces of the program's own namespace: what they are, and their counters.
#pragma once

#include "base/held.h"
#include "base/netlink.h"
#include "base/root.h"
#include "sample/linkfacts.h"
#include "sample/linkspeeds.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// What changes seldom. Samples share it until it does.
struct NetFacts {
    std::vector<LinkFacts> links; // by index
    std::vector<Address> addresses;
};

struct LinkCount {
    uint32_t index = 0;
    bool by_cause = true; // errors by cause are known
    LinkCounters counters;
};

// An interface that came: new, or from another namespace, where its counters have grown before.
struct Arrival {
    uint32_t index = 0;
    bool replaced = false; // another one had this number just before
    LinkCounters counters; // when it came
};

struct NetSample {
    int64_t at_us = 0;                     // monotonic
    bool known = false;                    // interfaces could be read
    bool complete = false;                 // no interface is missing
    std::shared_ptr<const NetFacts> facts; // null: not known
    std::vector<LinkCount> counts;         // by index
    std::vector<Arrival> arrived;          // since the sample before
    bool lost = false;                     // some arrivals are not known
};

// Reads over rtnetlink; below another root, from /proc/net/dev.
class NetSampler {
    Root root;
    Netlink questions, news;
    LinkSpeeds speeds;
    Contents text, message;
    std::string linksRequest, countsRequest, addressesRequest;
    std::shared_ptr<const NetFacts> facts;
    bool listening = false;
    bool linksStale = true, addressesStale = true;
    bool hasCounts = true; // this kernel answers RTM_GETSTATS
    uint64_t overruns = 0;
    std::vector<uint32_t> present;       // by index, as news have them
    bool presentStale = true;            // news was lost
    std::vector<uint32_t> gone, goneNow; // interfaces that went, before and in this sample
    // Below another root.
    HeldFile devices;
    std::map<std::string, LinkFacts, std::less<>> named;
    uint32_t invented = 0x80000000U; // the next number for one whose own is not known; the kernel's are smaller

    void takeNews(NetSample& now);
    void takeMessages(std::string_view messages, NetSample& now);
    Asked askPatiently(std::string& request);
    bool readLinks(NetSample& now, bool withCounters);
    void readAddresses(NetFacts& to);
    Asked readCounts(NetSample& now);
    bool refresh(NetSample& now);
    bool hasUnknown(const NetSample& now) const;
    void refreshSpeeds();
    void sampleLive(NetSample& now);
    void sampleFiles(NetSample& now);
    LinkFacts factsOf(std::string_view name);

public:
    NetSampler(const Root& where, Helper& asked);
    void sample(NetSample& now);
    uint64_t notAllowed() const { return text.denied; }
};
