// /proc/pressure/* and a group's *.pressure: how long tasks could not go on for want of a resource.
//
//     some avg10=0.12 avg60=0.05 avg300=0.01 total=1234567
//     full avg10=0.00 avg60=0.00 avg300=0.00 total=34567
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

struct Pressure {
    std::optional<uint64_t> some_us, full_us; // since boot: at least one task waited; all that could run waited
};

// None: not this format.
std::optional<Pressure> parsePressure(std::string_view text);
