// OpenMetrics, as `promtool tsdb create-blocks-from openmetrics` takes it. The format wants all of a metric together
// and all points of a series in a row, and a log has them by time. So the points wait in a file without a name.
#pragma once

#include "wyrtlog/series.h"

#include <array>
#include <cstdio>
#include <memory>

// Adds disk="sda" to a list of labels.
void addQuotedLabel(std::string& labels, std::string_view name, std::string_view value);

class OpenMetricsFormat : public SeriesFormat {
    struct Point {
        int64_t at_ms;
        uint64_t value; // of a level the bits of a double
    };
    static constexpr size_t InPiece = 32;
    struct Series {
        std::vector<Point> points;    // that are not in the file yet
        std::vector<uint32_t> pieces; // of the file, InPiece points each
    };
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    Output& out;
    std::unique_ptr<std::FILE, CloseFile> spool;
    uint32_t pieces = 0;
    std::vector<Series> series;
    std::string text, why;

    bool add(size_t& number, Point point);
    bool fail();
    bool spill();
    bool writeSeries(const std::string& start, const Metric* metric, const Series& one);
    bool writeFamily(const Group& group, size_t metric);
    bool writeInfo(const Group& group);

protected:
    void addLabel(std::string& labels, std::string_view name, std::string_view value) const override;
    bool point(const Group& group, Thing& thing, int64_t at_ms, const std::vector<char>& which) override;

public:
    explicit OpenMetricsFormat(Output& file) : SeriesFormat("openmetrics"), out(file), spool(std::tmpfile()) {}
    bool finish() override;
    std::string failure() const override { return why; }
};
