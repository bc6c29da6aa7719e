#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "support/LogCapture.h"

// "%016llX" of an address, as the log prints pointers.
inline std::string hex16(const void* p) {
    char text[20];
    std::snprintf(text, sizeof(text), "%016llX",
                  static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(p)));
    return text;
}
