#include "wyrtlog/push/gzip.h"

#include <zlib.h>

#include <limits>
#include <new>

struct Gzip::State {
    z_stream stream{};
};

Gzip::Gzip() {
    constexpr int Level = 1, WindowOfGzip = 15 + 16, Memory = 8; // higher levels cost several times as much
    state = new (std::nothrow) State;
    if (state && deflateInit2(&state->stream, Level, Z_DEFLATED, WindowOfGzip, Memory, Z_DEFAULT_STRATEGY) != Z_OK) {
        delete state;
        state = nullptr;
    }
}

Gzip::~Gzip() {
    if (state) deflateEnd(&state->stream);
    delete state;
}

bool Gzip::pack(std::string_view text, std::string& packed) {
    if (!state || text.size() > std::numeric_limits<uInt>::max() / 2 || deflateReset(&state->stream) != Z_OK)
        return false;
    auto& stream = state->stream;
    packed.resize(deflateBound(&stream, text.size()));
    // zlib takes no constant bytes, and does not change them.
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    if (deflate(&stream, Z_FINISH) != Z_STREAM_END) return false;
    packed.resize(packed.size() - stream.avail_out);
    return true;
}
