#include "wyrtlog/sqlite.h"

#include "base/refusal.h"
#include "wyrtlog/sqltables.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

static constexpr size_t FixedColumns = 3; // interval, time, secs

void SqliteFormat::CloseDatabase::operator()(sqlite3* open) const { sqlite3_close(open); }
void SqliteFormat::CloseStatement::operator()(sqlite3_stmt* open) const { sqlite3_finalize(open); }

SqliteFormat::SqliteFormat(std::string file, const Choice& asked) : path(std::move(file)) {
    // One thread, and nobody asks how much memory it takes. Without effect when SQLite has begun already.
    sqlite3_config(SQLITE_CONFIG_SINGLETHREAD);
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    for (auto& kind : asked.kinds) choice += kind + " ";
    for (auto& field : asked.fields) choice += field + " ";
    if (openFile() && begun()) return;
    if (why.empty()) fail();
}

SqliteFormat::~SqliteFormat() {
    if (!madeAt.empty()) std::remove(madeAt.c_str()); // it is not whole
}

// --- Statements

// False, with the reason.
bool SqliteFormat::fail() {
    if (why.empty()) why = inQuotes(path) + ": " + oneLine(database ? sqlite3_errmsg(database.get()) : "out of memory");
    return false;
}

bool SqliteFormat::execute(const std::string& sql) {
    return sqlite3_exec(database.get(), sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK || fail();
}

// Null: it cannot be.
SqliteFormat::Statement SqliteFormat::prepared(const std::string& sql) {
    sqlite3_stmt* made = nullptr;
    if (sqlite3_prepare_v3(database.get(), sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &made, nullptr) != SQLITE_OK)
        fail();
    return Statement(made);
}

// Runs a statement that gives no rows.
bool SqliteFormat::step(sqlite3_stmt* statement) {
    if (!statement) return false;
    const int result = sqlite3_step(statement);
    sqlite3_reset(statement);
    return result == SQLITE_DONE || fail();
}

static void bindText(sqlite3_stmt* to, int place, std::string_view text) {
    sqlite3_bind_text64(to, place, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

// --- The file

static constexpr int OurMark = 0x77797274; // "wyrt", as the database's application_id

// A new file is made beside its place and moved there when it is whole, so it needs no journal.
bool SqliteFormat::openFile() {
    std::FILE* old = std::fopen(path.c_str(), "rb");
    const bool isNew = !old || std::fgetc(old) == EOF;
    if (old) std::fclose(old);
    if (isNew) {
        madeAt = path + ".part";
        std::remove(madeAt.c_str());
    }
    sqlite3* opened = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    const int result = sqlite3_open_v2(isNew ? madeAt.c_str() : path.c_str(), &opened, flags, nullptr);
    database.reset(opened);
    if (result != SQLITE_OK) return fail();
    const std::string cache = "PRAGMA cache_size = -8192; PRAGMA temp_store = FILE; PRAGMA locking_mode = EXCLUSIVE;";
    if (isNew)
        return execute(cache +
                       "PRAGMA page_size = 16384; PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF;"
                       "PRAGMA application_id = " +
                       std::to_string(OurMark) + "; PRAGMA user_version = 1;");
    return execute(cache) && isOurs();
}

// Refuses a database of another program.
bool SqliteFormat::isOurs() {
    const auto mark = prepared("PRAGMA application_id");
    if (!mark || sqlite3_step(mark.get()) != SQLITE_ROW) return fail();
    if (sqlite3_column_int(mark.get(), 0) == OurMark) return true;
    why = inQuotes(path) + " is a database of another program";
    return false;
}

// Begins the one transaction, in which everything is written.
bool SqliteFormat::begun() {
    if (!execute("BEGIN;"
                 "CREATE TABLE IF NOT EXISTS runs(id INTEGER PRIMARY KEY, host TEXT, boot TEXT, run TEXT, version TEXT,"
                 " UNIQUE(host, boot, run));"
                 "CREATE TABLE IF NOT EXISTS intervals(id INTEGER PRIMARY KEY, run INTEGER REFERENCES runs(id),"
                 " number INTEGER, time INTEGER, \"offset\" INTEGER, secs REAL, UNIQUE(run, time, number));"
                 "CREATE TABLE IF NOT EXISTS fields(kind TEXT, name TEXT, role TEXT, unit TEXT, UNIQUE(kind, name));"
                 "CREATE TABLE IF NOT EXISTS choice(words TEXT UNIQUE);"))
        return false;
    // An interval is there or not; so all exports to a file must have the same kinds and fields.
    const auto other = prepared("SELECT words FROM choice WHERE words <> ?");
    if (!other) return false;
    bindText(other.get(), 1, choice);
    if (sqlite3_step(other.get()) == SQLITE_ROW) {
        why = inQuotes(path) + " was made with another --kind or --fields; use another file";
        return false;
    }
    const auto add = prepared("INSERT OR IGNORE INTO choice VALUES(?)");
    if (!add) return false;
    bindText(add.get(), 1, choice);
    addInterval = prepared("INSERT OR IGNORE INTO intervals(run, number, time, \"offset\", secs) VALUES(?,?,?,?,?)");
    return step(add.get()) && addInterval;
}

// --- Tables

// Empty: there is no such table.
std::vector<std::string> SqliteFormat::columnsOf(const std::string& table) {
    std::vector<std::string> names;
    const auto ask = prepared("SELECT name FROM pragma_table_info(?)");
    if (!ask) return names;
    bindText(ask.get(), 1, table);
    while (sqlite3_step(ask.get()) == SQLITE_ROW)
        names.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(ask.get(), 0)));
    return names;
}

// What its columns mean, and the view of its rates.
bool SqliteFormat::describe(const Sheet& sheet, const std::string& table) {
    static constexpr const char* Roles[] = {"time", "elapsed", "id", "text", "amount", "level"};
    const auto add = prepared("INSERT OR IGNORE INTO fields VALUES(?,?,?,?)");
    if (!add) return false;
    for (auto& column : sheet.columns) {
        if (!isField(column)) continue;
        bindText(add.get(), 1, table), bindText(add.get(), 2, column.name);
        bindText(add.get(), 3, Roles[static_cast<size_t>(column.role)]), bindText(add.get(), 4, column.unit);
        if (!step(add.get())) return false;
    }
    const auto view = ratesView(sheet, table);
    return view.empty() || execute(view);
}

// Makes the table and the statement have the columns of the sheet.
bool SqliteFormat::fit(const Sheet& sheet) {
    auto& table = tables[sheet.number];
    if (table.insert && table.columns == sheet.columns.size()) return true;
    table.name = tableOf(sheet);
    const auto old = columnsOf(table.name);
    std::string sql, names = "interval, time, secs", places = "?,?,?";
    const auto add = [&](const SheetColumn& column) {
        sql += old.empty() ? ", " + shapeOf(column)
                           : "ALTER TABLE " + quoted(table.name) + " ADD COLUMN " + shapeOf(column) + ";";
    };
    if (old.empty()) sql = "CREATE TABLE " + quoted(table.name) + "(interval INTEGER, time INTEGER, secs REAL";
    for (auto& column : sheet.columns) {
        if (!isField(column)) continue;
        names += ", " + quoted(column.name), places += ",?";
        if (std::find(old.begin(), old.end(), column.name) == old.end()) add(column);
    }
    if (old.empty()) sql += ");";
    if (!sql.empty() && (!execute(sql) || !describe(sheet, table.name))) return false;
    table.insert = prepared("INSERT INTO " + quoted(table.name) + "(" + names + ") VALUES(" + places + ")");
    table.columns = sheet.columns.size();
    return table.insert != nullptr;
}

// --- Intervals

bool SqliteFormat::head(const LogHead& head, const Sheets& sheets) {
    if (!why.empty()) return false;
    tables.resize(sheets.sheets().size());
    for (auto& sheet : sheets.sheets())
        if (!fit(sheet)) return false;
    const auto add = prepared("INSERT OR IGNORE INTO runs(host, boot, run, version) VALUES(?,?,?,?)");
    const auto find = prepared("SELECT id FROM runs WHERE host = ? AND boot = ? AND run = ?");
    if (!add || !find) return false;
    int place = 0;
    for (auto* word : {&head.host, &head.boot, &head.run, &head.version}) {
        std::string valid;
        appendValid(*word, valid);
        bindText(add.get(), ++place, valid);
        if (word != &head.version) bindText(find.get(), place, valid);
    }
    if (!step(add.get())) return false;
    if (sqlite3_step(find.get()) != SQLITE_ROW) return fail();
    run = sqlite3_column_int64(find.get(), 0);
    return true;
}

bool SqliteFormat::begin(const Interval& of) {
    auto* to = addInterval.get();
    int place = 0;
    for (const int64_t value : {run, static_cast<int64_t>(of.number), of.time.epoch_ms, int64_t{of.time.offset_min}})
        sqlite3_bind_int64(to, ++place, value);
    sqlite3_bind_double(to, ++place, static_cast<double>(of.elapsed_us) / 1e6);
    if (!step(to) || sqlite3_changes(database.get()) == 0) return false;
    interval = sqlite3_last_insert_rowid(database.get());
    for (auto& table : tables) table.first = 0;
    return true;
}

// A cell that is not empty.
bool SqliteFormat::bind(sqlite3_stmt* to, int place, const SheetColumn& column, std::string_view cell) {
    if (column.cast == Cast::Text) {
        if (isPlainText(cell)) {
            if (!fitsPlain(column, cell)) return false;
            sqlite3_bind_text(to, place, cell.data(), static_cast<int>(cell.size()), SQLITE_STATIC);
            return true;
        }
        text.clear();
        if (!fits(column, cell) || !appendText(cell, text)) return false;
        bindText(to, place, text);
        return true;
    }
    if (!fits(column, cell)) return false;
    if (column.cast == Cast::Whole)
        if (const auto whole = signedOf(cell)) return sqlite3_bind_int64(to, place, *whole), true;
    sqlite3_bind_double(to, place, *realOf(cell)); // also a whole number that is larger than SQLite's are
    return true;
}

bool SqliteFormat::line(const Sheet& sheet, const Cells& cells, std::string_view) {
    auto& table = tables[sheet.number];
    auto* to = table.insert.get();
    if (!stamps.take(cells)) return false;
    sqlite3_bind_int64(to, 1, interval);
    sqlite3_bind_int64(to, 2, stamps.moment().epoch_ms);
    sqlite3_bind_double(to, 3, static_cast<double>(stamps.elapsed_us()) / 1e6);
    int place = FixedColumns;
    for (auto& column : sheet.columns) {
        if (!isField(column)) continue;
        const auto cell = cells[column.place];
        place++;
        if (cell.empty()) sqlite3_bind_null(to, place);
        else if (!bind(to, place, column, cell)) return false;
    }
    if (!step(to)) return true; // the reason is known
    if (table.first == 0) table.first = sqlite3_last_insert_rowid(database.get());
    return true;
}

bool SqliteFormat::end(bool keep) {
    if (!why.empty()) return false;
    if (keep) return true;
    std::string sql = "DELETE FROM intervals WHERE id = " + std::to_string(interval) + ";";
    for (auto& table : tables)
        if (table.first)
            sql += "DELETE FROM " + quoted(table.name) + " WHERE rowid >= " + std::to_string(table.first) + ";";
    return execute(sql);
}

// The indexes come last: sorted at once, they are made faster.
bool SqliteFormat::finish() {
    for (auto& table : tables)
        if (!execute("CREATE INDEX IF NOT EXISTS " + quoted(table.name + "_time") + " ON " + quoted(table.name) +
                     "(time)"))
            return false;
    if (!execute("COMMIT")) return false;
    tables.clear();
    addInterval.reset();
    database.reset();
    if (madeAt.empty()) return true;
    if (std::rename(madeAt.c_str(), path.c_str()) != 0) {
        why = inQuotes(path) + ": " + strerror(errno);
        return false;
    }
    madeAt.clear();
    return true;
}
