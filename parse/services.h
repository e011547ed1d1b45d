// Names of services by port: /etc/services.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

// "https\t443/tcp\t\t# comment". By protocol ('t' or 'u') and port; the first name of a port counts.
using Services = std::map<std::pair<char, uint16_t>, std::string>;
Services parseServices(std::string_view text);
