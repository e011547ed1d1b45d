// What the loop asks for: one area's sampler and model, with the samples that its rows are made from.
#pragma once

#include "base/root.h"
#include "record/interval.h"

#include <memory>
#include <string_view>
#include <vector>

class Source {
public:
    Source() = default;
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    virtual ~Source() = default;
    virtual void sample() = 0;
    // The rows of what happened between the last two samples; of levels alone after the first.
    virtual void rows(Interval& interval) = 0;
};

// Two samples that change places. Fill(before, now, interval): `before` is null after the first.
template <typename Sampler, typename Sample, auto Fill> class PairSource : public Source {
    Sampler sampler;
    Sample samples[2];
    size_t now = 0;
    uint64_t taken = 0;

public:
    explicit PairSource(const Root& root) : sampler(root) {}
    void sample() override {
        now = 1 - now;
        sampler.sample(samples[now]);
        taken++;
    }
    void rows(Interval& interval) override { Fill(taken > 1 ? &samples[1 - now] : nullptr, samples[now], interval); }
};

// Those that the areas (words with a blank between them) need, in the order in which they are read.
std::vector<std::unique_ptr<Source>> makeSources(std::string_view areas, const Root& root);
