#include "classic/collect/port.h"

#include "base/words.h"
#include "classic/collect/hexadecimal.h"

#include <charconv>
#include <iterator>

Text<24> ToAddr(std::string_view digits) {
    Text<24> address;
    for (size_t i = digits.size() / 2; i-- > 0;) {
        char number[12];
        const int byte = 16 * digitOf(digits[2 * i]) + digitOf(digits[2 * i + 1]);
        const char* end = std::to_chars(number, std::end(number), byte).ptr;
        address.add({number, end});
        if (i > 0) address.add(".");
    }
    return address;
}

// The TCP state that the two digits name; 0 when the kernel has no such state.
static int getState(std::string_view st) {
    if (!st.starts_with('0')) return 0;
    const int state = st[1] > '9' && st[1] <= '@' ? 0 : digitOf(st[1]);
    return state >= 1 && state <= 11 ? state : 0;
}

// "   0: 0100007F:0016 00000000:0000 0A 00000000:00000000 00:00000000 00000000     0        0 4711 1 ..."
bool getportline(std::string_view line, char protocol, TPortInfo& row) {
    constexpr size_t Address = 8, Second = 9; // digits of an address, where the number after it starts
    // Quirk: the newline after the padding counts as a word. TIME_WAIT and SYN_RECV rows have only twelve other words
    // and would be lost without it. Seen by tests/worlds/port-states.
    std::string_view words[13]; // each reaches to the end of the line, which has at least two characters a word
    if (splitWords(line, words) < static_cast<int>(std::size(words))) return false;
    row.sl = toInt(words[0]);
    row.loc = ToAddr(words[1].substr(0, Address));
    row.loc_port = static_cast<int>(ToUINT(words[1].substr(Second)));
    row.rem = ToAddr(words[2].substr(0, Address));
    row.rem_port = static_cast<int>(ToUINT(words[2].substr(Second)));
    row.st = words[3].substr(0, 2);
    row.status = protocol == 'T' ? getState(row.st) : 0;
    row.txq = static_cast<int>(ToUINT(words[4]));
    row.rxq = static_cast<int>(ToUINT(words[4].substr(Second)));
    row.retrnsmt = ToUINT(words[6]);
    row.uid = toInt(words[7]);
    row.timeout = toInt(words[8]);
    row.inode = toLong(words[9]);
    row.protocol = protocol;
    return true;
}
