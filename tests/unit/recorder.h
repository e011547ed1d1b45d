// What a recorder writes on a made-up machine.
#pragma once

#include "tests/unit/logcommand.h"

#include <string>

inline constexpr int64_t Noon = 1795262400000, Hour = 3600000, Day = 24 * Hour; // 2026-11-21 12:00:00 UTC
inline const std::string Tools = "link /proc/self/exe /opt/wyrt\ntext /opt/wyrtlog \"\"\n";

inline const std::string& textOf(const std::string& path) { return World::current->find(path)->text; }
