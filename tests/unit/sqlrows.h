// Asks an SQLite database that a test has made.
#pragma once

#include <string>

#include <sqlite3.h>

// All rows of a question, cells with | between them and rows with a newline.
inline std::string asked(const std::string& path, const std::string& sql) {
    sqlite3* database = nullptr;
    if (sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) return "no database";
    std::string rows;
    const auto add = [](void* to, int count, char** cells, char**) {
        for (int i = 0; i < count; i++)
            *static_cast<std::string*>(to) += std::string(i ? "|" : "") + (cells[i] ? cells[i] : "NULL");
        *static_cast<std::string*>(to) += "\n";
        return 0;
    };
    char* error = nullptr;
    if (sqlite3_exec(database, sql.c_str(), add, &rows, &error) != SQLITE_OK) rows = error;
    sqlite3_free(error);
    sqlite3_close(database);
    return rows;
}
