// How long tasks could not go on for want of a resource (PSI).
#pragma once

#include "record/kind.h"

#include <cstdint>
#include <optional>
#include <string>

struct PressureRow {
    std::string resource;                     // cpu, memory, io, irq
    std::optional<uint64_t> some_us, full_us; // at least one task waited; all that could run waited
};
inline constexpr auto PressureKind =
    kind<PressureRow>("PSI", id("resource", &PressureRow::resource), amount("some", "us", &PressureRow::some_us),
                      amount("full", "us", &PressureRow::full_us));
