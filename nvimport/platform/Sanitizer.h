#pragma once

// Defined where the address sanitizer is built in.
#if defined(__SANITIZE_ADDRESS__)
#define NVIMPORT_UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define NVIMPORT_UNDER_ASAN 1
#endif
#endif
