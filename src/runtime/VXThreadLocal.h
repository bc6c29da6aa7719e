// VXThreadLocal<T>: one T per thread, destroyed when the thread ends, on every toolchain.
// MinGW's emulated TLS (GCC) frees a thread's thread_local storage before it runs their
// destructors, so a thread_local with a destructor reads freed memory there at thread exit.
// On Windows the objects therefore live in a fiber-local slot whose callback deletes them while
// they are still intact; elsewhere a plain thread_local does.
#pragma once

#include "VXPlatform.h"

template <typename T>
class VXThreadLocal {
public:
    T& get() {
#ifdef _WIN32
        // Made on first use, so that logging from another file's static initialiser works.
        static const uint32_t slot = VXPlatform::allocateThreadSlot(&destroy_);
        if (slot != VXPlatform::kNoThreadSlot) {
            void* value = VXPlatform::threadSlotValue(slot);
            if (value == nullptr) {
                value = new T();
                VXPlatform::setThreadSlotValue(slot, value);
            }
            return *static_cast<T*>(value);
        }
#endif
        thread_local T value;  // elsewhere, and if Windows has no slot left
        return value;
    }

private:
    static void destroy_(void* value) {
        delete static_cast<T*>(value);
    }
};
