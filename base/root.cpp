#include "base/root.h"

Root::Root(std::string_view directory) : dir(directory) {
    while (dir.ends_with('/')) dir.pop_back(); // "/" is the machine itself
}

std::string Root::path(std::string_view name) const {
    if (!dir.empty())
        for (std::string_view top : {"/proc", "/sys", "/run", "/etc", "/var"})
            if (name.starts_with(top) && (name.size() == top.size() || name[top.size()] == '/'))
                return dir + std::string(name);
    return std::string(name);
}
