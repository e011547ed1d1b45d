#include "wyrtlog/pack.h"

#include "base/door.h"
#include "base/folder.h"
#include "base/infile.h"
#include "base/outfile.h"
#include "base/refusal.h"
#include "wyrtlog/unpack.h"

#include <zstd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>

static constexpr size_t Piece = size_t{1} << 16;
static constexpr int Level = 3;
static constexpr uint64_t Frame = uint64_t{4} << 20; // bytes of the log in each part that can be read by itself

namespace {
class Packing {
    std::unique_ptr<ZSTD_CCtx, size_t (*)(ZSTD_CCtx*)> state{ZSTD_createCCtx(), ZSTD_freeCCtx};
    std::string buffer = std::string(Piece, '\0');
    OutFile file;
    uint64_t read = 0, written = 0, inFrame = 0;
    std::string why; // empty: all is well

    bool add(std::string_view text, ZSTD_EndDirective how);

public:
    // Compresses a file into another. False: it cannot be done, failure() tells why.
    bool run(const std::string& from, const std::string& to);
    const std::string& failure() const { return why; }
};
} // namespace

bool Packing::add(std::string_view text, ZSTD_EndDirective how) {
    ZSTD_inBuffer in{text.data(), text.size(), 0};
    for (bool more = true; more;) {
        ZSTD_outBuffer out{buffer.data(), buffer.size(), 0};
        const size_t left = ZSTD_compressStream2(state.get(), &out, &in, how);
        if (ZSTD_isError(left)) return why = ZSTD_getErrorName(left), false;
        if (!file.write(std::string_view(buffer.data(), out.pos))) return why = strerror(errno), false;
        written += out.pos;
        more = how == ZSTD_e_end ? left > 0 : in.pos < in.size;
    }
    return true;
}

bool Packing::run(const std::string& from, const std::string& to) {
    if (!state) return why = strerror(ENOMEM), false;
    ZSTD_CCtx_setParameter(state.get(), ZSTD_c_compressionLevel, Level);
    ZSTD_CCtx_setParameter(state.get(), ZSTD_c_checksumFlag, 1);
    InFile log;
    removeFile(to.c_str()); // left by one that was killed
    if (!log.open(from) || !file.open(to, OutFile::How::Create)) return why = strerror(errno), false;
    file.shareWithAdm();
    std::string text(Piece, '\0');
    while (const size_t size = log.read(text.data(), text.size())) {
        read += size, inFrame += size;
        const bool full = inFrame >= Frame;
        if (!add(std::string_view(text).substr(0, size), full ? ZSTD_e_end : ZSTD_e_continue)) return false;
        if (full) inFrame = 0;
        if (written > std::max<uint64_t>(read / 2, Piece)) return why = "it can hardly be compressed", false;
    }
    if (log.failure()) return why = strerror(log.failure()), false;
    if (inFrame && !add({}, ZSTD_e_end)) return false;
    if (!read || written > read / 2) return why = "it can hardly be compressed", false;
    if (!file.sync() || !file.close()) return why = strerror(errno), false;
    return true;
}

// Whether a compressed log gives the same bytes as the log.
static bool isSame(const std::string& path, const std::string& packedPath) {
    InFile log, packed;
    if (!log.open(path) || !packed.open(packedPath)) return false;
    Unpacker unpacker([&](char* to, size_t size) { return packed.read(to, size); });
    std::string text(Piece, '\0'), other(Piece, '\0');
    while (const size_t size = log.read(text.data(), text.size())) {
        size_t got = 0;
        while (got < size) {
            const size_t n = unpacker.read(other.data() + got, size - got);
            if (n == 0) return false;
            got += n;
        }
        if (memcmp(text.data(), other.data(), size) != 0) return false;
    }
    return !log.failure() && unpacker.read(other.data(), 1) == 0 && unpacker.failure().empty() && !packed.failure();
}

int pack(const std::string& path) {
    const std::string unfinished = path + "-new", packed = path + ".zst";
    Packing packing;
    std::string why;
    if (!packing.run(path, unfinished)) why = packing.failure();
    else if (!isSame(path, unfinished)) why = "reading it back gives something else";
    else if (!renameFile(unfinished.c_str(), packed.c_str())) why = strerror(errno);
    if (!why.empty()) {
        removeFile(unfinished.c_str());
        return failed(inQuotes(path) + " stays uncompressed: " + why);
    }
    syncFolder(path.substr(0, std::max<size_t>(path.rfind('/') + 1, 1)).c_str()); // the name first, then the removal
    removeFile(path.c_str());
    return Done;
}
