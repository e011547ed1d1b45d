// Whether /proc leaves out processes of other people: it shows a pid namespace only, or is mounted with hidepid.
#pragma once

#include "base/held.h"
#include "base/root.h"
#include "sample/proc.h"

#include <cstdint>
#include <optional>

enum class Hiding : uint8_t { Nothing, HidePid, PidNamespace };

struct HiddenSample {
    Hiding by = Hiding::Nothing;
    std::optional<uint64_t> threads; // of the whole machine, hidden or not; none where nothing is hidden
};

class HiddenSampler {
    HeldFile loadavg;
    Contents text;
    Hiding cause = Hiding::Nothing; // that there is; rights may lift it

public:
    explicit HiddenSampler(const Root& root);
    // To be called right after the processes were sampled.
    void sample(const ProcSample& processes, HiddenSample& now);
    uint64_t notAllowed() const { return text.denied; }
};
