// The command lines of live, record and check.
#pragma once

#include "base/config.h"
#include "wyrt/settings.h"

#include <string>
#include <string_view>
#include <vector>

enum class Task { Live, Record, Check };

// What a command line comes to.
struct Parsed {
    enum Kind { Run, Help, Wrong } kind = Run;
    Settings settings; // of Run
    std::string text;  // of Help the help, of Wrong what is wrong with it
};

// argv[1] is the command's word. The lines of `config` hold where the command line gives nothing else; null: they have
// not been read yet, and the command line says where they are.
Parsed parseOptions(Task task, int argc, const char* const* argv, const std::vector<ConfigLine>* config = nullptr);
