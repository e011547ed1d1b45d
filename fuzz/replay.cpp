// Feeds every file of the named folders to a fuzz entry, so that inputs once found stay tested with
// any compiler. A folder that is missing or empty is a failure, because nothing would be tested.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fs = std::filesystem;

static bool readFile(const fs::path& path, std::vector<uint8_t>& bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

// Returns how many files were fed; -1 after a message when the folder or one of its files cannot be read.
static long replayFolder(const char* folder) {
    std::vector<fs::path> paths;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
        if (entry->is_regular_file(error)) paths.push_back(entry->path());
    if (error) {
        std::fprintf(stderr, "%s: %s\n", folder, error.message().c_str());
        return -1;
    }
    if (paths.empty()) {
        std::fprintf(stderr, "%s: no files\n", folder);
        return -1;
    }
    std::sort(paths.begin(), paths.end()); // the same order on every machine

    for (auto& path : paths) {
        std::vector<uint8_t> bytes;
        if (!readFile(path, bytes)) {
            std::fprintf(stderr, "%s: cannot be read\n", path.c_str());
            return -1;
        }
        // A copy of exactly the input's size, so that the sanitizers see a read past its end.
        auto exact = std::make_unique<uint8_t[]>(bytes.size());
        std::copy(bytes.begin(), bytes.end(), exact.get());
        LLVMFuzzerTestOneInput(exact.get(), bytes.size());
    }
    return static_cast<long>(paths.size());
}

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FOLDER...\n", argv[0]);
        return 2;
    }
    long total = 0;
    bool failed = false;
    for (int i = 1; i < argc; i++) {
        const long count = replayFolder(argv[i]);
        if (count < 0) failed = true;
        else total += count;
    }
    std::printf("%ld inputs replayed\n", total);
    return failed ? 1 : 0;
}
