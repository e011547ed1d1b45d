// A log as it was written, whether its file is plain or compressed. The first bytes tell, not the name: 28 B5 2F FD is
// zstd, 1F 8B is gzip.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

class Unpacker {
public:
    // Gives at most `size` bytes to `to`; 0: there are no more.
    using Read = std::function<size_t(char* to, size_t size)>;
    explicit Unpacker(Read source);
    Unpacker(const Unpacker&) = delete;
    Unpacker& operator=(const Unpacker&) = delete;
    ~Unpacker();

    // At most `size` bytes; 0 at the end, and after a failure. Several compressed files in a row are one.
    size_t read(char* to, size_t size);
    // Whether what was read so far was as it is in the file.
    bool isPlain() const { return known && !method; }
    // The source of a plain file has been moved.
    void forget() { packed.clear(), at = 0; }
    // Why it ended early, as a line for people: "it is compressed and cut short". Empty: it did not.
    const std::string& failure() const { return why; }

    // One way to decompress. `in` is taken from the front.
    struct Method;

private:
    Read source;
    std::string packed; // read, but not decompressed yet, from `at` on
    size_t at = 0;
    bool known = false, ended = false;
    std::unique_ptr<Method> method; // null: plain
    std::string why;

    void fill();
    void find();
    size_t copy(char* to, size_t size);
};
