// JSON Lines: one object for each record. A field without a value is left out.
#pragma once

#include "wyrtlog/format.h"

class JsonFormat : public TextFormat {
    struct Key {
        std::string text; // ,"name": and room to copy a fixed number of bytes
        size_t size;
    };
    struct Plan {
        std::string start; // {"record":"DISK"
        std::vector<Key> keys;
        size_t most = 0; // bytes that a record takes beside its cells
    };
    std::vector<Plan> plans; // by sheet
    std::string hostText, value, text;

    bool appendCell(const SheetColumn& column, std::string_view cell);

protected:
    bool record(const Sheet& sheet, const Cells& cells, std::string_view line, Bytes& bytes) override;
    void prepare(const Sheets& sheets) override;

public:
    explicit JsonFormat(Output& file) : TextFormat(file) {}
    explicit JsonFormat(std::string path) : TextFormat(std::move(path), ".jsonl") {}
};

// Appends a text in quotes. It has to be UTF-8.
void appendJson(std::string_view text, std::string& out);
