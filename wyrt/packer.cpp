#include "wyrt/packer.h"

#include "wyrt/logprogram.h"

void Packer::start(const std::string& dir, const std::string& file) {
    given.insert(file); // it is not tried twice
    if (child.start(logPrograms(), {"wyrtlog", "pack", dir + "/" + file})) name = file;
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
