// A log on its way to a file or to standard output.
#pragma once

#include "base/outfile.h"
#include "wyrt/logtarget.h"

#include <cstdint>
#include <string>

class LogFile : public LogTarget {
    OutFile file;
    uint64_t whole = 0;  // bytes up to the end of the last piece
    uint64_t begun = 0;  // bytes of the present piece that are in the file
    bool regular = true; // it can be cut, and its size is known
    int failure = 0;

public:
    // False: it cannot be made; error() tells why. "-": standard output.
    bool open(const std::string& path, OutFile::How how);
    bool isOpen() const { return file.isOpen(); }
    uint64_t size() const { return whole + begun; }
    void shareWithAdm() { file.shareWithAdm(); }
    Wrote write(const Piece& piece) override;
    bool sync() override { return file.sync(); }
    // Cuts off a piece that was written in part. The whole of it must come again.
    void cut();
    void end() override;
    int error() const override { return failure; }
};
