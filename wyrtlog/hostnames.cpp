#include "wyrtlog/hostnames.h"

#include "view/format.h"

#include <algorithm>

void HostNames::add(const std::string& host) {
    if (std::find(names.begin(), names.end(), host) != names.end()) return;
    if (names.size() < Most) names.push_back(host);
    else more = true;
}

std::string HostNames::text() const {
    std::string text;
    for (size_t i = 0; i < names.size(); i++) {
        const bool last = i + 1 == names.size() && !more;
        text.append(i == 0 ? "" : last ? " and " : ", ").append(safeText(names[i]));
    }
    return text + (more ? " and others" : "");
}
