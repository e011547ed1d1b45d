// The message when the program cannot do what was asked: one line on standard error, without control characters that
// are in the words of users and of other programs.
#pragma once

#include "base/masking.h"
#include "base/outfile.h"

#include <new>
#include <span>
#include <string>
#include <string_view>

// Exit statuses of the new form.
inline constexpr int Done = 0, Failed = 1, WrongUsage = 2;

// Why an option does not take a word: it names the nearest of those that it knows. Empty: it knows it.
std::string whyUnknown(std::string_view option, std::string_view word, std::span<const std::string_view> known);

// "wyrt: WHY": the work cannot be done. Returns Failed.
int failed(const std::string& why);
// "wyrt: WHY (see wyrt --help)": the command line is wrong. Returns WrongUsage.
int refused(const std::string& why, std::string_view help = "wyrt --help");
// Runs a command. That it finds no memory is such a message, too.
template <typename Command> int withinMemory(const Command& command) {
    try {
        return command();
    } catch (const std::bad_alloc&) {
        return failed("there is not enough memory");
    }
}
// Writes all that a command has to say. Returns Done, also when the reader has gone; Failed after a line about the
// write that failed.
int wrote(OutFile& out, std::string_view text);
// The same to standard output.
int wrote(std::string_view text);
