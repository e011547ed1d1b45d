// What the loop asks for: one area's sampler and model, with the samples that its rows are made from.
#pragma once

#include "base/helper.h"
#include "base/root.h"
#include "record/interval.h"

#include <memory>
#include <string_view>
#include <type_traits>
#include <vector>

class Source {
public:
    Source() = default;
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    virtual ~Source() = default;
    virtual void sample() = 0;
    // When it has to look before the next sample, because what it is told would be lost; INT64_MAX: it need not.
    virtual int64_t nextLook() const { return INT64_MAX; }
    virtual void look() {}
    // The rows of what happened between the last two samples; of levels alone after the first.
    virtual void rows(Interval& interval) = 0;
    // How many files and questions a right has forbidden so far.
    virtual uint64_t notAllowed() const { return 0; }
};

// A sampler with what it takes of the run.
template <typename Sampler> Sampler makeSampler(const Root& root, Helper& helper) {
    if constexpr (std::is_constructible_v<Sampler, const Root&, Helper&>) return Sampler(root, helper);
    else return Sampler(root);
}

// Two samples that change places. Fill(before, now, interval): `before` is null after the first.
template <typename Sampler, typename Sample, auto Fill> class PairSource : public Source {
    Sampler sampler;
    Sample samples[2];
    size_t now = 0;
    uint64_t taken = 0;

public:
    PairSource(const Root& root, Helper& helper) : sampler(makeSampler<Sampler>(root, helper)) {}
    void sample() override {
        now = 1 - now;
        sampler.sample(samples[now]);
        taken++;
    }
    void rows(Interval& interval) override { Fill(taken > 1 ? &samples[1 - now] : nullptr, samples[now], interval); }
    uint64_t notAllowed() const override { return sampler.notAllowed(); }
};

// Those that the areas (words with a blank between them) need, in the order in which they are read. They ask the
// helper, which must outlive them. `asked` says what the tables show besides what happened.
std::vector<std::unique_ptr<Source>> makeSources(std::string_view areas, const Root& root, Helper& helper,
                                                 const ViewRow& asked = {});
