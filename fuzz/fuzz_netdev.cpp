// /proc/net/dev, and the command that is made from the names in it.
#include "classic/collect/netif.h"

#include "base/words.h"
#include "fuzz/check.h"
#include "parse/netdev.h"

#include <cstdint>

// Reads one word as a shell does; false when a shell would read more than that word.
static bool getShellWord(std::string_view text, std::string& word) {
    bool quoted = false;
    for (size_t i = 0; i < text.size(); i++) {
        const char c = text[i];
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                           std::string_view(".:_-@").find(c) != std::string_view::npos;
        if (c == '\'') quoted = !quoted;
        else if (quoted || plain) word += c;
        else if (c == '\\' && i + 1 < text.size()) word += text[++i];
        else return false;
    }
    return !quoted;
}

static void checkCommand(std::string_view name) {
    const std::string command = getAddressCommand(name);
    constexpr std::string_view Before = "ifconfig ", After = " |grep \"inet \"";
    check(command.starts_with(Before) && command.ends_with(After));
    std::string word;
    check(getShellWord(std::string_view(command).substr(Before.size(), command.size() - Before.size() - After.size()),
                       word));
    check(word == name);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Lines lines({reinterpret_cast<const char*>(data), size}, 257);
    for (std::string_view line; lines.next(line);) {
        Netdev device;
        TNetif netif;
        const bool isDevice = parseNetdevLine(line, device);
        check(getNetifLine(line, netif) == isDevice);
        if (!isDevice) continue;
        check(isFrom(line, device.name) && device.name.starts_with(netif.name));
        check(netif.rcompressed == static_cast<double>(device.tx_compressed));
        check(netif.name.size() <= 31 && netif.name.view().find_first_of(" :") == std::string_view::npos);
        check(netif.wcompressed == 0 && netif.rbytes >= -0x1p63 && netif.rbytes <= 0x1p63);
        checkCommand(netif.name);
    }
    return 0;
}
