// Pressure: how long tasks had to wait for CPU, memory or I/O.
#pragma once

#include "base/held.h"
#include "base/root.h"
#include "parse/pressure.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

inline constexpr std::array<std::string_view, 4> PressureNames = {"cpu", "memory", "io", "irq"};

struct PressureSample {
    int64_t at_us = 0;                                                   // monotonic
    std::array<std::optional<Pressure>, PressureNames.size()> resources; // none: it cannot be read
};

class PressureSampler {
    std::array<HeldFile, PressureNames.size()> files;
    Contents text;

public:
    explicit PressureSampler(const Root& root);
    void sample(PressureSample& now);
    uint64_t notAllowed() const { return text.denied; }
};
