// The names of control groups, and those that runtimes give to containers: pieces of the text, or empty.
#include "fuzz/check.h"
#include "parse/groupname.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto line = text.find('\n');
    const auto parent = text.substr(0, line), name = line == text.npos ? text : text.substr(line + 1);
    const auto group = nameGroup(parent, name);
    check(isFrom(name, group.name));
    if (group.kind == GroupKind::Container) {
        check(group.id.empty() != group.name.empty());
        check(isFrom(name, group.id) && (group.id.empty() || group.id.size() == 64));
    } else if (group.kind == GroupKind::Pod) {
        check(group.id.size() >= 32 && group.id.size() <= 36);
    } else {
        check(group.id.empty() && group.runtime == GroupRuntime::None);
    }
    check(!nameOf(group.kind).empty());
    dockerName(text);
    for (auto& known : podmanNames(text)) check(known.name.size() <= size && known.id.size() <= size);
    if (const auto known = parseContainerLog(text)) check(known->id.size() == 64 && known->name.size() < size);
    if (const auto known = parsePodLog(text)) check(isFrom(text, known->id));
    return 0;
}
