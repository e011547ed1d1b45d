#include "classic/monitor/report.h"

static void sayBlanks(size_t count) {
    constexpr std::string_view Blanks = "                                ";
    for (; count > Blanks.size(); count -= Blanks.size()) sayText(Blanks);
    sayText(Blanks.substr(0, count));
}

void sayCell(std::string_view text, int width) {
    const auto room = static_cast<size_t>(width < 0 ? -width : width);
    const size_t blanks = room > text.size() ? room - text.size() : 0;
    if (width >= 0) sayBlanks(blanks);
    sayText(text);
    if (width < 0) sayBlanks(blanks);
}

void dispHeader(const Kind& kind) {
    auto& out = pendingOutput();
    out.push_back('^');
    for (char c : kind.tag) out.push_back(static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c));
    for (auto& field : kind.fields.first(kind.announced)) out.append(",").append(field.name);
    out.append("$\n");
}
