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

void TValue::say(Form form) const {
    switch (form) {
    case Form::Int:
        return ::say("%d", static_cast<int>(whole));
    case Form::Long:
        return ::say("%lld", static_cast<long long>(whole));
    case Form::Real0:
        return ::say("%.0f", real);
    case Form::Real1:
        return ::say("%.1f", real);
    case Form::Real2:
        return ::say("%.2f", real);
    case Form::Real6:
        return ::say("%f", real);
    case Form::Milli:
        return ::say("%03d", static_cast<int>(whole));
    case Form::Two:
        return ::say("%02d", static_cast<int>(whole));
    case Form::Hex7:
        return ::say("%07X", static_cast<unsigned>(whole));
    case Form::Letter:
        return ::say("%c", static_cast<int>(whole));
    case Form::Text:
        return sayText(other);
    }
}
