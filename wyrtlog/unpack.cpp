#include "wyrtlog/unpack.h"

#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

struct Unpacker::Method {
    Method() = default;
    Method(const Method&) = delete;
    Method& operator=(const Method&) = delete;
    virtual ~Method() = default;
    // Takes from `in` and gives to `out` what it can; both are moved on. False: the bytes are no such file.
    virtual bool step(std::string_view& in, char*& out, size_t& room) = 0;
    // Between two files, where the bytes may end.
    virtual bool complete() const = 0;
};

namespace {
class Zstd : public Unpacker::Method {
    static constexpr int LargestWindow =
        23; // 8 MiB, that of zstd -19, as a power of two: what a file may make us allocate
    std::unique_ptr<ZSTD_DCtx, size_t (*)(ZSTD_DCtx*)> state{ZSTD_createDCtx(), ZSTD_freeDCtx};
    bool atStart = true;

public:
    Zstd() {
        if (state) ZSTD_DCtx_setParameter(state.get(), ZSTD_d_windowLogMax, LargestWindow);
    }
    bool step(std::string_view& in, char*& out, size_t& room) override {
        ZSTD_inBuffer from{in.data(), in.size(), 0};
        ZSTD_outBuffer to{out, room, 0};
        const size_t left = state ? ZSTD_decompressStream(state.get(), &to, &from) : size_t(-1);
        if (!state || ZSTD_isError(left)) return false;
        in.remove_prefix(from.pos);
        out += to.pos, room -= to.pos;
        atStart = left == 0;
        return true;
    }
    bool complete() const override { return atStart; }
};

class Gzip : public Unpacker::Method {
    static constexpr int WithHeader = 16; // gzip's, not zlib's
    z_stream state{};
    bool usable, atStart = true;

public:
    Gzip() : usable(inflateInit2(&state, MAX_WBITS + WithHeader) == Z_OK) {}
    Gzip(const Gzip&) = delete;
    Gzip& operator=(const Gzip&) = delete;
    ~Gzip() override { inflateEnd(&state); }
    bool step(std::string_view& in, char*& out, size_t& room) override {
        if (!usable) return false;
        state.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data())); // zlib does not write there
        state.avail_in = static_cast<uInt>(in.size());
        state.next_out = reinterpret_cast<Bytef*>(out);
        state.avail_out = static_cast<uInt>(room);
        const int result = inflate(&state, Z_NO_FLUSH);
        if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) return false;
        in.remove_prefix(in.size() - state.avail_in);
        out += room - state.avail_out;
        room = state.avail_out;
        atStart = result == Z_STREAM_END;
        return !atStart || inflateReset(&state) == Z_OK;
    }
    bool complete() const override { return atStart; }
};
} // namespace

Unpacker::Unpacker(Read from) : source(std::move(from)) {}
Unpacker::~Unpacker() = default;

// Reads more of the file, when nothing of it is left.
void Unpacker::fill() {
    constexpr size_t Piece = size_t{1} << 16;
    if (ended) return;
    packed.erase(0, std::exchange(at, 0));
    const size_t size = packed.size();
    packed.resize(size + Piece);
    const size_t n = source(packed.data() + size, Piece);
    packed.resize(size + n);
    ended = n == 0;
}

// Finds out what the file is. A pipe may give its first bytes one by one.
void Unpacker::find() {
    constexpr std::string_view ZstdStart = "\x28\xB5\x2F\xFD", GzipStart = "\x1F\x8B";
    while (!ended && packed.size() < ZstdStart.size()) fill();
    known = true;
    if (packed.starts_with(ZstdStart)) method = std::make_unique<Zstd>();
    else if (packed.starts_with(GzipStart)) method = std::make_unique<Gzip>();
}

size_t Unpacker::copy(char* to, size_t size) {
    if (at == packed.size()) return source(to, size);
    const size_t n = std::min(size, packed.size() - at);
    memcpy(to, packed.data() + at, n);
    at += n;
    return n;
}

size_t Unpacker::read(char* to, size_t size) {
    if (!known) find();
    if (!method) return copy(to, size);
    size_t room = size;
    while (room == size && why.empty()) {
        if (at == packed.size()) fill();
        std::string_view in = std::string_view(packed).substr(at);
        if (in.empty() && method->complete()) break;
        const bool stepped = method->step(in, to, room);
        if (!stepped) why = "it is compressed, and damaged";
        else if (in.empty() && ended && room == size && !method->complete()) why = "it is compressed, and cut short";
        at = packed.size() - in.size();
    }
    return size - room;
}
