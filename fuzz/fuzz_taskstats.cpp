// Messages of generic netlink about tasks that end.
#include "parse/taskstats.h"

#include "fuzz/check.h"
#include "parse/attributes.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view all(reinterpret_cast<const char*>(data), size);
    eachMessage(all, [&](uint16_t, std::string_view payload) {
        if (const auto task = parseEndedTask(payload)) {
            check(task->pid > 0 && task->process > 0);
            check(task->name.view().size() < 17 && task->name.view().find('\0') == std::string_view::npos);
            check(payload.size() >= 400); // the fields that it was made of
        }
        check(!parseFamily(payload, "TASKSTATS") || payload.find("TASKSTATS") != payload.npos);
    });
    return 0;
}
