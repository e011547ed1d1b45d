// The first argument decides what the program is.
#pragma once

#include <string_view>

using Program = int (*)(int argc, char** argv);

// Runs the whole program and returns its exit status. When the first argument is no command, `classic` gets all
// arguments.
int wyrtMain(int argc, char** argv, Program classic);

// The command that the word was probably meant to be: one letter added, left out or replaced, or two neighbours
// exchanged. Empty when the word is a command, is like no command, or is an option.
std::string_view nearlyCommand(std::string_view word);
