#include "base/door.h"
#include "classic/collect/proc.h"

#include <string>
#include <unordered_map>
#include <unordered_set>

static std::string_view lookUp(int32_t uid, Text<16>& name) {
    std::string account;
    if (getUserName(static_cast<uint32_t>(uid), account)) name.add(account);
    else name.addf("N/A(%d)", uid);
    return name;
}

const char* getuser(int32_t uid) {
    constexpr size_t Most = 1000; // users whose name is kept
    static std::unordered_map<int32_t, Text<16>> known;
    static std::unordered_set<std::string> others; // names of further users, looked up again each time
    if (const auto found = known.find(uid); found != known.end()) return found->second.c_str();
    if (known.size() < Most) {
        auto& name = known[uid];
        lookUp(uid, name);
        return name.c_str();
    }
    Text<16> name;
    return others.emplace(lookUp(uid, name)).first->c_str();
}
