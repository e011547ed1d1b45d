// The whole map: the reports of the four tools, the mount table and the disks, each ended by a form feed, read from a
// machine that has them and printed in both forms.
#include "base/output.h"
#include "classic/collect/disk.h"
#include "classic/monitor/options.h"
#include "classic/monitor/volumes.h"
#include "tests/world/world.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {
// A folder for the machine's files, removed when the program ends.
struct Folder {
    std::string path = (std::filesystem::temp_directory_path() / "wyrt-fuzz.XXXXXX").string();
    Folder() {
        if (!mkdtemp(path.data())) abort();
        std::ofstream(path + "/world") << "commandcopy 0 vgdisplay 2>/dev/null\n"
                                          "commandcopy 1 lvdisplay -m 2>/dev/null\n"
                                          "commandcopy 2 pvdisplay -m 2>/dev/null\n"
                                          "commandcopy 3 multipath -ll 2>/dev/null\n"
                                          "copy /etc/mtab 4\ncopy /proc/diskstats 5\n"
                                          "fs / 4096 1000 500 400 100 50\ndir /proc\nfs /mnt/three 512 1 1 1 0 0\n"
                                          "dir /closed\nfail open /closed EACCES\n";
    }
    ~Folder() { std::filesystem::remove_all(path); }
};
// Sends what the program prints to /dev/null.
class Silence {
    int out = dup(STDOUT_FILENO);

public:
    Silence() {
        static const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
        fflush(stdout);
        dup2(nothing, STDOUT_FILENO);
    }
    ~Silence() {
        dup2(out, STDOUT_FILENO);
        close(out);
    }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Folder folder;
    const Silence silence;
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    for (auto name : {"0", "1", "2", "3", "4", "5"}) {
        const auto part = rest.substr(0, rest.find('\f'));
        rest.remove_prefix(std::min(part.size() + 1, rest.size()));
        std::ofstream(folder.path + "/" + name, std::ios::binary) << part;
    }
    World world(folder.path);
    World::current = &world;
    TDiskSlots slots;
    for (int form : {1, 2}) {
        ShowDiskInfo = form;
        getDiskSample(0, 0, 1, 0, slots);
        dispVolumes(slots.sample[0]);
    }
    flushOutput();
    World::current = nullptr;
    return 0;
}
