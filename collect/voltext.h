// Text helpers of the storage reports: what the volume tools print is taken apart with them.
#pragma once

#include <string_view>

// The last component of a path, "sda1" of "/dev/sda1". The last character is not looked at, so that a path that ends
// with a slash keeps its last name with it; a text without a slash is its own last component.
std::string_view getnameonly(std::string_view devname);
