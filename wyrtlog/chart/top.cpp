#include "wyrtlog/chart/top.h"

#include <algorithm>

// --- Names

uint32_t Members::find(std::string_view name, std::string_view unit, uint64_t pid) {
    key.assign(name).append(1, '\0').append(unit);
    const auto found = numbers.find(key);
    if (found != numbers.end()) {
        auto& member = all[found->second];
        if (member.pid != pid) member.several = true;
        return found->second;
    }
    if (all.size() > Most) return 0;
    const auto number = static_cast<uint32_t>(all.size());
    all.push_back({std::string(name), std::string(unit), pid, false});
    numbers.emplace(key, number);
    return number;
}

std::string Members::text(uint32_t number) const {
    const auto& member = all[number];
    std::string text = member.name;
    if (member.several) text += " (several)";
    else if (member.pid > 0) text += "[" + std::to_string(member.pid) + "]";
    if (!member.unit.empty()) text += " " + member.unit;
    return text;
}

// --- Amounts

// Adds up the parts of each member; afterwards the largest come first.
static void sumUp(std::vector<Stack::Part>& parts) {
    std::sort(parts.begin(), parts.end(), [](auto& a, auto& b) { return a.member < b.member; });
    size_t to = 0;
    for (size_t i = 0; i < parts.size(); i++) {
        if (to > 0 && parts[to - 1].member == parts[i].member) parts[to - 1].value += parts[i].value;
        else parts[to++] = parts[i];
    }
    parts.resize(to);
    std::erase_if(parts, [](auto& part) { return part.member == 0 || part.value <= 0; });
    std::sort(parts.begin(), parts.end(),
              [](auto& a, auto& b) { return a.value != b.value ? a.value > b.value : a.member < b.member; });
}

void Top::add(int64_t time_ms, double seconds, double whole, std::vector<Stack::Part>& parts) {
    sumUp(parts);
    for (auto& part : parts) {
        if (part.member >= sums.size()) sums.resize(part.member + 1);
        sums[part.member] += static_cast<double>(part.value) * seconds;
    }
    if (parts.size() > Kept) parts.resize(Kept);
    stack.add({time_ms, static_cast<float>(whole), parts});
}

std::vector<uint32_t> Top::largest() const {
    std::vector<uint32_t> members;
    for (uint32_t i = 1; i < sums.size(); i++)
        if (sums[i] > 0) members.push_back(i);
    const auto end = members.begin() + static_cast<std::ptrdiff_t>(std::min(members.size(), Shown));
    std::partial_sort(members.begin(), end, members.end(),
                      [&](uint32_t a, uint32_t b) { return sums[a] != sums[b] ? sums[a] > sums[b] : a < b; });
    members.erase(end, members.end());
    return members;
}
