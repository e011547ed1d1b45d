// What ifconfig prints of an interface.
#include "classic/collect/netif.h"
#include "fuzz/check.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    TAddresses addresses;
    getAddresses({reinterpret_cast<const char*>(data), size}, addresses);
    check(addresses.ipcount >= 0 && addresses.ipcount <= MostAddresses);
    check(addresses.ipstring.size() <= 99 && addresses.ipstring.view().starts_with(addresses.ip[0]));
    for (int i = 0; i < MostAddresses; i++)
        for (auto* text : {&addresses.ip[i], &addresses.netmask[i], &addresses.broadcast[i]})
            check(text->size() <= 15 && text->view().find_first_of(" \n") == std::string_view::npos);
    return 0;
}
