// Accounts without the name services of the C library, which may hang, and which a static program cannot load. Part of
// the door.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The first field of the line whose third is the id: of /etc/passwd, of /etc/group, or of what getent prints.
std::optional<std::string_view> accountName(std::string_view text, uint32_t id);
// The third field of the line whose first is the name.
std::optional<uint32_t> accountId(std::string_view text, std::string_view name);

// getUserNameInTime with another file in place of /etc/passwd.
bool findUserName(const char* file, uint32_t uid, std::string& name, int64_t& patience_us);
