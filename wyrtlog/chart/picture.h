// One chart as the page shows it.
#pragma once

#include "wyrtlog/chart/thin.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The parts of the page, in their order.
enum class Section : unsigned char { Cpu, Memory, Disks, Filesystems, Network, Processes, Groups, Self };
std::string_view titleOf(Section section);
std::string_view wordOf(Section section); // of its place in the page: "cpu"

struct Picture {
    struct Series {
        std::string name;
        std::vector<float> values;
    };
    Section section = Section::Cpu;
    std::string title;
    std::string note;      // what is shown, where the title does not say it
    std::string_view unit; // of the values: "%", "B", "B/s", "/s", "ms", "B" or empty for a count
    bool stacked = false;
    bool begins = false;        // what follows belongs to it: the first one of a disk
    double top = 0;             // of the axis; 0: what the values need
    std::vector<int64_t> times; // of a stack; the others have those of the lines
    std::vector<Series> series; // of a stack, the first one at the bottom
};

// The points of lines: two for each bucket of several intervals, else one.
std::vector<int64_t> pointTimes(const Lines& lines);
std::vector<float> pointsOf(const Lines& lines, size_t line);
// The same of stacks.
std::vector<int64_t> pointTimes(const std::vector<Stack::Bucket>& buckets);
// The values of a member; of a moment without it 0.
std::vector<float> pointsOf(const std::vector<Stack::Bucket>& buckets, uint32_t member);

// Adds a line to a chart, when there is anything to see in it.
void addLine(const Lines& lines, size_t line, std::string name, Picture& picture);
// Adds a chart that has series.
void addPicture(Picture&& picture, std::vector<Picture>& all);
