// wyrtlog pack FILE: replaces a closed log by FILE.zst. The recorder runs it; it is no command of wyrt.
#pragma once

#include <string>

// The log is removed only when all that was compressed has been read back and compared. A result that is larger than
// half of the log is given up. Exit status.
int pack(const std::string& path);
