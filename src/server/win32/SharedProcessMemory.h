// One named, page-file-backed shared-memory block and its view in this process. Either side
// of the exchange may create it first: creation opens an existing block of the name as it is.
// Held through std::shared_ptr; the last holder unmaps the view, then closes the mapping.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>

#include "VXResult.h"

class SharedProcessMemory {
public:
    // The mapping object; null when not open.
    HANDLE mapping = nullptr;
    // Start of the readable and writable view; null when not mapped. Callers read and write
    // through it directly: the block's size is the whole contract.
    uint8_t* view = nullptr;

    SharedProcessMemory() = default;
    ~SharedProcessMemory();
    SharedProcessMemory(const SharedProcessMemory&) = delete;
    SharedProcessMemory& operator=(const SharedProcessMemory&) = delete;

    // On failure memory is left as it was.
    static VXResult create(const char16_t* tszName, uint32_t dwSize,
                           std::shared_ptr<SharedProcessMemory>& memory);

private:
    // Each step runs even when the other failed; failures are only logged.
    void release_();
};
