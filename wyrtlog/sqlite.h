// An SQLite database: a table for each kind, with a row for each record. `runs` and `intervals` tell whose they are,
// and let an interval in only once; `fields` has the role and the unit of every column. Each kind with amounts has a
// view of rates.
#pragma once

#include "wyrtlog/format.h"

#include <memory>

struct sqlite3;
struct sqlite3_stmt;

class SqliteFormat : public Format {
    struct CloseDatabase {
        void operator()(sqlite3* open) const;
    };
    struct CloseStatement {
        void operator()(sqlite3_stmt* open) const;
    };
    using Statement = std::unique_ptr<sqlite3_stmt, CloseStatement>;
    struct Table { // of a sheet
        std::string name;
        size_t columns = 0; // of the sheet, that the table has
        Statement insert;
        int64_t first = 0; // row of the interval at hand; 0: it has none yet
    };

    std::string path, madeAt;                         // madeAt: where a new file is made, until it is whole
    std::unique_ptr<sqlite3, CloseDatabase> database; // statements end before it
    Statement addInterval;
    std::vector<Table> tables; // by sheet
    std::string choice;        // kinds and fields that were asked for
    std::string why;
    int64_t run = 0, interval = 0; // rows of `runs` and `intervals`
    Stamps stamps;
    std::string text; // working space

    bool fail();
    bool execute(const std::string& sql);
    Statement prepared(const std::string& sql);
    bool step(sqlite3_stmt* statement);
    bool openFile();
    bool isOurs();
    bool begun();
    std::vector<std::string> columnsOf(const std::string& table);
    bool fit(const Sheet& sheet);
    bool describe(const Sheet& sheet, const std::string& table);
    bool bind(sqlite3_stmt* to, int place, const SheetColumn& column, std::string_view cell);

public:
    SqliteFormat(std::string file, const Choice& choice);
    SqliteFormat(const SqliteFormat&) = delete;
    SqliteFormat& operator=(const SqliteFormat&) = delete;
    ~SqliteFormat() override;
    bool head(const LogHead& head, const Sheets& sheets) override;
    bool begin(const Interval& of) override;
    bool line(const Sheet& sheet, const Cells& cells, std::string_view line) override;
    bool end(bool keep) override;
    bool finish() override;
    std::string failure() const override { return why; }
};
