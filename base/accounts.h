// Accounts without the name services of the C library, which may hang, and which a static program cannot load.
#pragma once

#include "base/worker.h"

#include <cstdint>
#include <optional>
#include <string_view>

// The first field of the line whose third is the id: of /etc/passwd, of /etc/group, or of what getent prints.
std::optional<std::string_view> accountName(std::string_view text, uint32_t id);
// The third field of the line whose first is the name.
std::optional<uint32_t> accountId(std::string_view text, std::string_view name);

// Asks all name services of the system for a user: accountName() finds it in the answer's text. A directory service may
// take as long as it likes, so the question has `patience_us` microseconds.
Question userQuestion(uint32_t uid, int64_t patience_us);
