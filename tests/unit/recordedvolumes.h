// Trees that were recorded on real kernels, and the map of volumes that is made of them.
#pragma once

#include "model/volumes.h"
#include "sample/volumes.h"
#include "tests/unit/made.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

inline const std::string Recorded = std::filesystem::current_path() / "tests/recorded/";

inline std::string recordedText(const std::string& name) {
    std::ifstream file(Recorded + name, std::ios::binary);
    EXPECT_TRUE(file) << name;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// A recorded machine; `moments` as many of its later ones as are wanted.
inline std::string recorded(const std::string& name, int moments = 0) {
    std::string lines = "include " + Recorded + name + "/volumes\n";
    for (int i = 1; i <= moments; i++)
        lines += "step " + std::to_string(i) + "\ninclude " + Recorded + name + "/volumes." + std::to_string(i) + "\n";
    return lines;
}

inline VolumeMap mapNow(const std::string& maps = "") {
    VolumeSample sample;
    readVolumes({}, sample);
    if (!maps.empty()) sample.maps = parseMultipathMaps(recordedText(maps)).value();
    return volumeMap(sample);
}

inline const VolumeRow* rowOf(const VolumeMap& map, std::string_view name) {
    for (auto& row : map.volumes)
        if (row.name == name || row.label == name) return &row;
    return nullptr;
}
