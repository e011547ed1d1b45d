#include "collect/voltext.h"

std::string_view getnameonly(std::string_view devname) {
    if (devname.size() < 2) return devname;
    const auto slash = devname.rfind('/', devname.size() - 2);
    return slash == devname.npos ? devname : devname.substr(slash + 1);
}
