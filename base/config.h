// Options in files: lines `option = value` in the *.conf of a folder, in the order of their names.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct ConfigLine {
    std::string place; // file and number of the line, for messages
    std::string option, value;
};

// Adds the lines of one file. Empty ones, and those that begin with #, are comments. A flag has no value.
void parseConfig(const std::string& file, std::string_view text, std::vector<ConfigLine>& lines);

// The lines of one file. False: it cannot be read; errno has the reason.
bool readConfigFile(const std::string& path, std::vector<ConfigLine>& lines);
// All *.conf of a folder. False: a file, or the folder, cannot be read; errno has the reason and `path` names it.
bool readConfig(const std::string& folder, std::vector<ConfigLine>& lines, std::string& path);
