// A page-protection change that is undone when the record goes out of scope, so that a
// patch never leaves code writable on an early return.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>

#include "VXResult.h"

class ScopedVirtualProtect {
public:
    ScopedVirtualProtect() = default;
    ScopedVirtualProtect(const ScopedVirtualProtect&) = delete;
    ScopedVirtualProtect& operator=(const ScopedVirtualProtect&) = delete;
    // Puts the previous protection back if restore() was not called or failed; logs a failure.
    ~ScopedVirtualProtect();

    // Changes the protection of [address, address + size) and remembers the previous one.
    VXResult protect(void* address, size_t size, uint32_t protection);
    // Puts the previous protection back; on failure the record is kept.
    VXResult restore();

    void* address() const { return _address; }
    size_t size() const { return _size; }
    uint32_t previous() const { return _previous; }

private:
    void* _address = nullptr;
    size_t _size = 0;
    uint32_t _previous = 0;
};
