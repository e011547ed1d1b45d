#include "wyrtlog/consumers.h"

#include "record/disk.h"

#include <algorithm>

static constexpr size_t NoConsumer = static_cast<size_t>(-1);

Consumers::Consumers(std::string_view by) : tag(by == "disk" ? "DISK" : "PROC") {
    if (by == "process") keys = {"pid", "start", "name"};
    else keys = {by == "command" || by == "disk" ? "name" : std::string(by)};
}

void Consumers::head(const Sheets& sheets) {
    columns.fill(NoCell);
    kindColumn = stackedColumn = NoCell;
    keyColumns.clear();
    for (auto& sheet : sheets.sheets()) {
        if (sheet.tag != tag) continue;
        for (auto& name : keys)
            for (auto& column : sheet.columns)
                if (column.name == name) keyColumns.push_back(column.place);
        for (size_t i = 0; i < columns.size(); i++)
            for (auto& column : sheet.columns)
                if (column.name == ConsumerFields[i]) columns[i] = column.place;
        if (tag != "DISK") continue;
        for (auto& column : sheet.columns) {
            if (column.name == "kind") kindColumn = column.place;
            if (column.name == "stacked") stackedColumn = column.place;
        }
    }
}

// NoConsumer: its name is damaged.
size_t Consumers::consumerOf(const Cells& cells) {
    constexpr size_t Most = 50000;
    key.clear();
    for (const size_t column : keyColumns) key.append(cells[column]), key += ',';
    const auto found = byKey.find(key);
    if (found != byKey.end()) return found->second;
    text.clear();
    const size_t last = keyColumns.empty() ? NoCell : keyColumns.back();
    if (!appendText(cells[last], text)) return NoConsumer;
    if (keys.size() > 1) text += "[" + std::string(cells[keyColumns[0]]) + "]";
    if (consumers.size() >= Most) key.clear(), text = "others";
    const auto [at, isNew] = byKey.emplace(key, consumers.size());
    if (isNew) consumers.push_back({text, {}});
    return at->second;
}

// What a volume, a partition or a RAID device moves is moved once more by the disks below it.
bool Consumers::counts(const Cells& cells) const {
    if (tag != "DISK") return true;
    DiskRow disk;
    disk.kind = cells[kindColumn], disk.stacked = cells[stackedColumn] == "1";
    return isPhysical(disk);
}

bool Consumers::line(const Sheet& sheet, const Cells& cells) {
    bool identified = false;
    for (auto& column : sheet.columns) identified |= column.role == Role::Id && !cells[column.place].empty();
    Pending one{NoConsumer, {}};
    for (size_t i = 0; i < columns.size(); i++) {
        const auto cell = cells[columns[i]];
        if (cell.empty()) continue;
        const auto amount = wholeOf(cell);
        if (!amount) return false;
        one.amounts[i] = *amount;
    }
    if (identified && !counts(cells)) return true;
    if (identified && (one.consumer = consumerOf(cells)) == NoConsumer) return false;
    pending.push_back(one);
    return true;
}

void Consumers::end(bool keep) {
    if (!keep) return;
    for (auto& one : pending) {
        auto& to = one.consumer == NoConsumer ? restRows : consumers[one.consumer];
        for (size_t i = 0; i < columns.size(); i++) to.amounts[i] += one.amounts[i];
    }
}
