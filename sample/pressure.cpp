#include "sample/pressure.h"

#include "base/clock.h"

#include <string>

PressureSampler::PressureSampler(const Root& root) {
    for (size_t i = 0; i < files.size(); i++)
        files[i] = HeldFile(root, "/proc/pressure/" + std::string(PressureNames[i]));
}

void PressureSampler::sample(PressureSample& now) {
    now.at_us = getMonotonic();
    for (size_t i = 0; i < files.size(); i++) {
        now.resources[i].reset();
        if (files[i].read(text)) now.resources[i] = parsePressure(text.view());
    }
}
