// Who used what over a span: the amounts of processes added up by process, command, user or unit, or those of disks
// that stand on no others.
#pragma once

#include "wyrtlog/format.h"

#include <array>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

inline constexpr std::array<std::string_view, 5> ConsumerFields = {"cpu", "children", "wait", "read_bytes",
                                                                   "write_bytes"};
enum class Used : unsigned char { Cpu, Children, Wait, Read, Write };

struct Consumer {
    std::string name;
    std::array<uint64_t, ConsumerFields.size()> amounts{};
    uint64_t of(Used what) const { return amounts[static_cast<size_t>(what)]; }
};

class Consumers {
    struct Pending {
        size_t consumer;
        std::array<uint64_t, ConsumerFields.size()> amounts;
    };
    std::string tag;                 // of the records
    std::vector<std::string> keys;   // fields that tell consumers apart
    std::vector<Consumer> consumers; // the last one: what found no room here
    std::unordered_map<std::string, size_t> byKey;
    std::vector<Pending> pending;
    std::array<size_t, ConsumerFields.size()> columns{};
    std::vector<size_t> keyColumns;
    size_t kindColumn = 0, stackedColumn = 0; // of disks
    Consumer restRows;                        // of records that found no room in the log
    std::string key, text;

    size_t consumerOf(const Cells& cells);
    bool counts(const Cells& cells) const;

public:
    // `by`: process, command, user, unit or disk.
    explicit Consumers(std::string_view by);
    void head(const Sheets& sheets);
    bool wants(const Sheet& sheet) const { return sheet.tag == tag; }
    void begin() { pending.clear(); }
    // False: a cell does not fit its field.
    bool line(const Sheet& sheet, const Cells& cells);
    void end(bool keep);

    const std::vector<Consumer>& all() const { return consumers; }
    // What the log itself has only as a sum.
    const Consumer& rest() const { return restRows; }
};
