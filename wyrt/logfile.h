// A log on its way to a file or to standard output, piece by piece: each piece is a head or a whole interval.
#pragma once

#include "base/outfile.h"

#include <cstdint>
#include <string>
#include <string_view>

enum class Wrote {
    All,
    Later,    // there is no room: the same piece again, when there may be some
    NoReader, // nobody reads it any more
    Lost,     // it cannot be written, and never will be
};

class LogFile {
    OutFile file;
    uint64_t whole = 0;  // bytes up to the end of the last piece
    uint64_t begun = 0;  // bytes of the present piece that are in the file
    bool regular = true; // it can be cut, and its size is known
    int failure = 0;

public:
    // False: it cannot be made; error() tells why. "-": standard output.
    bool open(const std::string& path, OutFile::How how);
    // After Later the same text must come again.
    Wrote write(std::string_view text);
    bool sync() { return file.sync(); }
    // Cuts off a piece that was written in part, and closes.
    void end();
    int error() const { return failure; }
};
