#include "wyrtlog/sqltables.h"

std::string tableOf(const Sheet& sheet) {
    std::string name;
    for (const char c : sheet.tag) name += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    const bool taken = name == "runs" || name == "intervals" || name == "fields" || name == "choice" ||
                       name.starts_with("sqlite") || name.ends_with("_rates");
    return taken ? "kind_" + name : name;
}

std::string quoted(const std::string& name) { return "\"" + name + "\""; }

bool isField(const SheetColumn& column) {
    return column.cast == Cast::Text || column.cast == Cast::Whole || column.cast == Cast::Real;
}

std::string shapeOf(const SheetColumn& column) {
    const char* type = column.cast == Cast::Text ? " TEXT" : column.cast == Cast::Whole ? " INTEGER" : " REAL";
    return quoted(column.name) + type;
}

std::string ratesView(const Sheet& sheet, const std::string& table) {
    std::string rates;
    bool amounts = false;
    for (auto& column : sheet.columns) {
        if (!isField(column)) continue;
        const bool amount = column.role == Role::Amount;
        amounts |= amount;
        rates += ", t." + quoted(column.name);
        if (amount) rates += " / nullif(t.secs, 0) AS " + quoted(column.name + "_per_s");
    }
    if (!amounts) return {};
    const auto view = quoted(table + "_rates");
    return "DROP VIEW IF EXISTS " + view + "; CREATE VIEW " + view +
           " AS SELECT r.host AS host, strftime('%Y-%m-%dT%H:%M:%fZ', t.time / 1000.0, 'unixepoch') AS utc,"
           " t.time, t.secs" +
           rates + " FROM " + quoted(table) + " t JOIN intervals i ON i.id = t.interval JOIN runs r ON r.id = i.run";
}
