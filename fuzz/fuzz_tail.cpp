// The end of a log that a recorder goes on with: what stays is the start of the file and ends with an END, or the file
// has another name, or was no log.
#include "wyrt/tail.h"

#include "base/outfile.h"
#include "fuzz/check.h"
#include "tests/unit/made.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Made machine("");
    World::current->devices.files.clear(); // those of the input before
    World::current->remove("/log.torn");
    const std::string text(reinterpret_cast<const char*>(data), size);
    {
        OutFile file;
        check(file.open("/log", OutFile::How::New) && file.write(text));
    }
    const auto found = mendTail("/log");
    const bool aside = found == Tail::Aside;
    const auto& left = World::current->find(aside ? "/log.torn" : "/log")->text;
    check(found != Tail::Error && text.starts_with(left) && (left == text) == (found != Tail::Cut));
    if (aside) return 0;
    if (found == Tail::Cut) {
        const auto line = left.rfind('\n', left.size() - 2);
        check(left.back() == '\n' && left.compare(line + 1, 4, "END,") == 0);
    }
    check(mendTail("/log") == (found == Tail::NoLog ? Tail::NoLog : Tail::Whole));
    return 0;
}
