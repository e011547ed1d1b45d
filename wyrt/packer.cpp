#include "wyrt/packer.h"

#include "wyrt/logprogram.h"

#include <algorithm>

void Packer::start(const std::string& dir, const std::string& file) {
    given.insert(file); // it is not tried twice
    if (child.start(logPrograms(), {"wyrtlog", "pack", dir + "/" + file})) name = file;
}

void Packer::knowOnly(const std::vector<KeptFile>& files) {
    std::erase_if(given, [&](const std::string& one) {
        return std::none_of(files.begin(), files.end(), [&](const KeptFile& file) { return file.name == one; });
    });
}

bool Packer::isDone() {
    constexpr int NoProgram = 127;
    const auto status = child.ended();
    if (!status) return false;
    missing = *status == NoProgram;
    name.clear();
    return true;
}

void Packer::stop() {
    child.stop();
    name.clear();
}
