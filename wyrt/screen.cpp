#include "wyrt/screen.h"

#include "base/door.h"

#include <algorithm>
#include <cerrno>

std::string redrawn(std::string_view page, size_t rows) {
    std::string text = "\033[H"; // the upper left corner
    for (size_t row = 0; row < rows && !page.empty(); row++) {
        const auto line = page.substr(0, page.find('\n'));
        page.remove_prefix(std::min(line.size() + 1, page.size()));
        text.append(line).append("\033[K\n"); // and nothing to the right of it
    }
    return text + "\033[J"; // and nothing below
}

bool Screen::open(const Settings& settings) {
    toFile = !settings.output.empty();
    if (toFile && !file.open(settings.output, OutFile::How::New)) return false;
    const bool terminal = !toFile && isTerminal();
    colors = isColored(settings.color, terminal);
    redraws = terminal && !settings.scroll && !settings.count && getTerminalSize().has_value();
    if (redraws) keys.emplace();
    return true;
}

size_t Screen::width() const {
    const auto size = toFile ? std::nullopt : getTerminalSize();
    return size && size->columns > 0 ? static_cast<size_t>(size->columns) : 0;
}

bool Screen::show(std::string_view page) {
    bool good;
    if (toFile) {
        good = file.write(page);
    } else if (redraws) {
        constexpr int LeastRows = 2, PlainRows = 24;
        const auto size = getTerminalSize();
        const int rows = std::max(size && size->rows > 0 ? size->rows : PlainRows, LeastRows) - 1; // one for the cursor
        std::string text = redrawn(page, static_cast<size_t>(rows));
        if (!cleared) text.insert(0, "\033[H\033[J");
        cleared = true;
        good = putUntilSignal(signals, text);
    } else {
        good = putUntilSignal(signals, page);
    }
    if (!good) failure = errno;
    return good;
}

bool Screen::markHeld() {
    constexpr std::string_view Mark = " held ";
    const auto size = getTerminalSize();
    if (!size || size->columns < static_cast<int>(Mark.size())) return true;
    const std::string column = std::to_string(size->columns - static_cast<int>(Mark.size()) + 1);
    std::string text = "\0337\033[1;" + column + "H"; // the cursor's place is kept
    text.append(colors ? "\033[7m" : "").append(Mark).append(colors ? "\033[0m" : "").append("\0338");
    if (putUntilSignal(signals, text)) return true;
    failure = errno;
    return false;
}

Screen::Key Screen::take() {
    while (keys) {
        const auto key = keys->take();
        if (!key) break;
        if (*key == 'q' || *key == 'Q') return Key::Quit;
        if (*key == ' ') return held = !held, Key::Hold;
    }
    return Key::None;
}

void Screen::renew() {
    if (keys) keys->renew();
    cleared = false;
}
