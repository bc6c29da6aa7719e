// Kernel object names that no other test, run or process of the machine uses.
#pragma once

#include <windows.h>

#include <atomic>

#include "VXString.h"

inline VXString uniqueName(const char16_t* what) {
    static std::atomic<int> counter{0};
    return vxFormat(u"VXTest_%u_%d_%s", static_cast<uint32_t>(GetCurrentProcessId()), ++counter, what);
}
