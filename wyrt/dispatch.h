// The first argument decides what the program is.
#pragma once

#include <string_view>

using Program = int (*)(int argc, char** argv);

// The whole program: its exit status. What is no command goes to `classic` with all its arguments.
int wyrtMain(int argc, char** argv, Program classic);

// The command that the word nearly is: one letter more, fewer or other, or two neighbours exchanged. Empty: it is one
// of them, like none, or an option.
std::string_view nearlyCommand(std::string_view word);
