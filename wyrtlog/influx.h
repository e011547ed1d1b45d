// InfluxDB's line protocol: wyrt_disk,host=db7,disk=sda read_bytes_total=409600i,in_flight=0 1795266312000000000
#pragma once

#include "wyrtlog/series.h"

#include <functional>

class InfluxFormat : public SeriesFormat {
public:
    using Sink = std::function<bool(std::string_view text)>; // false: it takes no more

private:
    Sink sink;
    std::string text;

protected:
    void addLabel(std::string& labels, std::string_view name, std::string_view value) const override;
    bool point(const Group& group, Thing& thing, int64_t at_ms, const std::vector<char>& which) override;

public:
    explicit InfluxFormat(Sink to, SeriesChoice choice = {})
        : SeriesFormat("influx", std::move(choice)), sink(std::move(to)) {}
    bool flush() override;
    bool finish() override { return flush(); }
    std::string failure() const override { return {}; }
};
