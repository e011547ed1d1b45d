// CSV as RFC 4180 has it, and tab-separated values. Where several kinds go to one file, the kind is the first column,
// and a line of titles that begins with "record" precedes the first record of each.
#pragma once

#include "wyrtlog/format.h"

class CsvFormat : public TextFormat {
    bool tabs;
    bool kinds;                        // the first column is the kind
    std::vector<size_t> most;          // by sheet: bytes that a record takes beside its cells
    std::string hostCell, text, value; // working space
    std::vector<size_t> titled;        // by sheet: columns that the line of titles has; later ones are left out

    void appendQuoted(std::string_view from, std::string& to) const;
    bool appendCell(const SheetColumn& column, std::string_view cell);

protected:
    void header(const Sheet& sheet, Bytes& bytes) override;
    bool record(const Sheet& sheet, const Cells& cells, std::string_view line, Bytes& bytes) override;
    void prepare(const Sheets& sheets) override;

public:
    CsvFormat(Output& file, bool withTabs, bool withKinds) : TextFormat(file), tabs(withTabs), kinds(withKinds) {}
    CsvFormat(std::string path, bool withTabs)
        : TextFormat(std::move(path), withTabs ? ".tsv" : ".csv"), tabs(withTabs), kinds(false) {}
};
