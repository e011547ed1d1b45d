// Messages of the kernel about processes and threads that end (generic netlink, family TASKSTATS).
#pragma once

#include "base/text.h"

#include <cstdint>
#include <optional>
#include <string_view>

// One thread that ended.
struct EndedTask {
    uint32_t pid = 0;     // of the thread
    uint32_t process = 0; // that it belongs to; its own pid when it is the first thread
    uint32_t parent = 0;  // of the process
    uint32_t uid = 0;
    bool last = false;    // no other thread of the process is left: the process has ended
    uint32_t status = 0;  // as wait() gives it; of the first thread only
    uint64_t cpu_ns = 0;  // of the thread; of all threads of the process when it is the last one
    uint64_t life_us = 0; // since the process began
    Text<17> name;        // of the thread
};

// Number of the family of this name, from the answer to CTRL_CMD_GETFAMILY.
std::optional<uint16_t> parseFamily(std::string_view payload, std::string_view name);

// None: the message is of another kind, damaged, or of a kernel whose form of it is not known.
std::optional<EndedTask> parseEndedTask(std::string_view payload);
