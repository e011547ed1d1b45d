// The command lines of live, record and check.
#pragma once

#include "wyrt/settings.h"

#include <string>
#include <string_view>

enum class Task { Live, Record, Check };

// What a command line comes to.
struct Parsed {
    enum Kind { Run, Help, Wrong } kind = Run;
    Settings settings; // of Run
    std::string text;  // of Help the help, of Wrong what is wrong with it
};

// argv[1] is the command's word.
Parsed parseOptions(Task task, int argc, const char* const* argv);
