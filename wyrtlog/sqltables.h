// How a sheet becomes a table of a database: names, columns and views as SQL.
#pragma once

#include "wyrtlog/sheets.h"

#include <string>

// In small letters; a kind of a later program can have the name of a table that is not a kind's.
std::string tableOf(const Sheet& sheet);
std::string quoted(const std::string& name);
// Whether a column of the sheet is one of the table, besides those that every table has.
bool isField(const SheetColumn& column);
// "\"reads\" INTEGER"
std::string shapeOf(const SheetColumn& column);
// Makes the view of a table's rates. Empty: it has no amounts.
std::string ratesView(const Sheet& sheet, const std::string& table);
