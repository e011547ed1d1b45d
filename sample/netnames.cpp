#include "sample/netnames.h"

#include "base/numbers.h"
#include "parse/mountinfo.h"

#include <algorithm>

// Container runtimes bind their namespaces there, too: cni-5b43a5b3-8a53-0a7c-1f0d-6e2a4a4d9c11. Nobody knows such a
// name; that of the container is better.
static bool endsInUuid(std::string_view name) {
    constexpr std::string_view Form = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
    if (name.size() < Form.size()) return false;
    name.remove_prefix(name.size() - Form.size());
    return std::equal(name.begin(), name.end(), Form.begin(), [](char is, char wanted) {
        return wanted == '-' ? is == '-'
                             : std::string_view("0123456789abcdefABCDEF").find(is) != std::string_view::npos;
    });
}

// 345 26 0:4 net:[4026532301] /run/netns/blue rw shared:200 - nsfs nsfs rw
void NetnsNames::add(std::string_view line) {
    constexpr std::string_view Type = "net:[", Folder = "/run/netns/";
    MountInfo mount;
    if (line.find(Type) == line.npos || !parseMountInfoLine(line, mount)) return;
    std::string_view number = mount.root;
    if (!number.starts_with(Type) || !number.ends_with(']')) return;
    number.remove_prefix(Type.size()), number.remove_suffix(1);
    const std::string_view point = mount.point;
    const auto slash = point.rfind('/');
    if (slash == point.npos || !point.substr(0, slash + 1).ends_with(Folder)) return;
    Name name;
    name.name = point.substr(slash + 1);
    if (toNumber(number, name.inode) && !name.name.empty() && !endsInUuid(name.name)) names.push_back(std::move(name));
}

void NetnsNames::renew() {
    if (known && table.isOpen() && !table.changed()) return;
    Contents text;
    names.clear();
    known = table.read(text);
    if (!known) return;
    auto rest = text.view();
    for (std::string_view line; takeLine(rest, line);) add(line);
    std::sort(names.begin(), names.end(),
              [](auto& a, auto& b) { return a.inode != b.inode ? a.inode < b.inode : a.name < b.name; });
}

std::string_view NetnsNames::find(uint32_t inode) const {
    const auto found = std::lower_bound(names.begin(), names.end(), inode,
                                        [](auto& name, uint32_t wanted) { return name.inode < wanted; });
    return found == names.end() || found->inode != inode ? std::string_view() : std::string_view(found->name);
}
