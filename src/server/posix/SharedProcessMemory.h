// One named shared-memory block and its view in this process, on POSIX shared memory. Either
// side of the exchange may create it first: creation opens an existing block of the name as it
// is (it must be large enough). The process that created the name removes it when the block
// goes; a process that only opened it leaves it. Held through std::shared_ptr; the last holder
// unmaps the view. Used from one thread at a time.
#pragma once

#include <cstdint>
#include <memory>

#include "VXResult.h"
#include "VXSharedMapping.h"

class SharedProcessMemory {
public:
    // The shared object and its mapping; null when not open.
    std::unique_ptr<VXSharedMapping> mapping;
    // Start of the readable and writable view; null when not mapped. Callers read and write
    // through it directly: the block's size is the whole contract.
    uint8_t* view = nullptr;

    SharedProcessMemory() = default;
    ~SharedProcessMemory() = default;
    SharedProcessMemory(const SharedProcessMemory&) = delete;
    SharedProcessMemory& operator=(const SharedProcessMemory&) = delete;

    // Creates or opens the block (mode picks how; see VXSharedMapping). On failure memory is
    // left as it was.
    static VXResult create(const char16_t* tszName, uint32_t dwSize,
                           std::shared_ptr<SharedProcessMemory>& memory,
                           VXSharedMapping::Open mode = VXSharedMapping::Open::eCreateOrOpen);
};
