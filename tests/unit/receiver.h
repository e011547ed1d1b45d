// A receiver of wyrt push that is made up.
#pragma once

#include "wyrtlog/push/receiver.h"

#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <zlib.h>

inline std::string unpacked(std::string_view packed) {
    std::string text(size_t{1} << 23, '\0');
    z_stream stream{};
    inflateInit2(&stream, 15 + 16);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
    stream.avail_in = static_cast<uInt>(packed.size());
    stream.next_out = reinterpret_cast<Bytef*>(text.data());
    stream.avail_out = static_cast<uInt>(text.size());
    EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
    text.resize(stream.total_out);
    inflateEnd(&stream);
    return text;
}

// Answers as it is told, and keeps what it has taken.
struct MadeReceiver : Receiver {
    std::function<Reply(const std::string& text)> answer = [](auto&) { return Reply{204, "", {}}; };
    std::string taken;
    size_t requests = 0;

    Reply send(std::string_view body) override {
        requests++;
        const auto text = unpacked(body);
        auto reply = answer(text);
        if (reply.status == 204) taken += text;
        return reply;
    }
};
