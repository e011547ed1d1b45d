// Figures of a span of any length in a bounded number of buckets: more than a screen can show. A bucket keeps its least
// and its largest value, in the order in which they came, so that no peak is lost. While there are few enough
// intervals, each has a bucket of its own, and nothing is lost at all.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

// A value that is not known: a gap in the line.
inline constexpr float NoFigure = std::numeric_limits<float>::quiet_NaN();

// The least and the largest value of a bucket, in order of time. Of a single one: twice the same.
struct Extremes {
    float first = NoFigure, second = NoFigure;
};
// Those of two buckets, of which `a` comes first.
Extremes joined(Extremes a, Extremes b);

// So many buckets at the most. A day at 10 s, in buckets of two intervals, is kept whole.
inline constexpr size_t MostBuckets = 4320;
// And so many of all lines together, in 24 MB: a page has room for a quarter of that.
inline constexpr size_t MostFigures = size_t{3} << 20;

// What an interval without a value of a line shows.
enum class Absent : unsigned char {
    Unknown, // nothing
    Zero,    // it was idle
    Last     // it is as it was
};

// Lines that share their buckets.
class Lines {
public:
    struct Bucket {
        int64_t first_ms = 0, last_ms = 0; // ends of its first and its last interval
    };
    struct Line {
        Absent absent = Absent::Unknown;
        float now = NoFigure, last = NoFigure;
        bool moved = false; // it had a value other than 0
        std::vector<Extremes> buckets;
    };

    explicit Lines(size_t mostBuckets = MostBuckets) : most(mostBuckets) {}
    // A new line, without a value so far; of an idle thing, with zeros. Returns its number.
    size_t add(Absent absent);
    // Its value in the interval that goes on.
    void set(size_t line, double value);
    // It is another thing's from now on.
    void forget(size_t line);
    // Ends the interval.
    void end(int64_t time_ms);
    // Joins every two buckets.
    void halve();

    size_t size() const { return all.size(); }
    const Line& operator[](size_t line) const { return all[line]; }
    const std::vector<Bucket>& times() const { return buckets; }

private:
    size_t most, each = 1, inLast = 1; // intervals in a bucket; in the last one
    std::vector<Bucket> buckets;
    std::vector<Line> all;

    bool hasRoomFor(size_t count) const { return count <= most && count * all.size() <= MostFigures; }
};

// Parts of a whole, over time. So that the parts of a bucket add up, it keeps two moments as they were: those of the
// least and of the largest whole.
class Stack {
public:
    struct Part {
        uint32_t member = 0;
        float value = 0;
    };
    struct Moment {
        int64_t time_ms = 0;
        float whole = 0;
        std::vector<Part> parts;
    };
    using Bucket = std::array<Moment, 2>; // in order of time; the same twice when there is only one

    explicit Stack(size_t mostBuckets = MostBuckets) : most(mostBuckets) {}
    void add(Moment moment);
    void halve();
    const std::vector<Bucket>& moments() const { return buckets; }

private:
    size_t most, each = 1, inLast = 1;
    std::vector<Bucket> buckets;
};
