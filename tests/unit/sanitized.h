// WYRT_SANITIZED: the address sanitizer is in the program, which makes it some times slower and has a heap of its own.
#pragma once

#if defined(__SANITIZE_ADDRESS__)
#define WYRT_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define WYRT_SANITIZED
#endif
#endif
