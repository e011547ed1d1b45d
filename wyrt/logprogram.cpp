#include "wyrt/logprogram.h"

#include "base/program.h"

std::array<std::string, 3> logPrograms() {
    std::string folder = ownPath();
    folder.resize(folder.rfind('/') + 1); // npos + 1: empty
    if (folder.empty()) return {"", "", "wyrtlog"};
    return {folder + "wyrtlog", folder + "../libexec/wyrt/wyrtlog", "wyrtlog"};
}
