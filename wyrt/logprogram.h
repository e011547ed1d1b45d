// Where the program is that works on logs.
#pragma once

#include <array>
#include <string>

// In the order in which it is looked for: beside this program, where the package puts it, or wherever PATH finds it.
std::array<std::string, 3> logPrograms();
