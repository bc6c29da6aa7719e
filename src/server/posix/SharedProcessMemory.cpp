#include "SharedProcessMemory.h"

#include <new>

#include "VXChecks.h"

VXResult SharedProcessMemory::create(const char16_t* tszName, uint32_t dwSize,
                                     std::shared_ptr<SharedProcessMemory>& memory,
                                     VXSharedMapping::Open mode) {
    VX_CHECK_PARAM(tszName);
    VX_CHECK_PARAM(dwSize > 0);
    std::shared_ptr<SharedProcessMemory> block(new (std::nothrow) SharedProcessMemory());
    if (!block)
        return VX_ERROR(VXError::eNoMemory, u"No memory for shared block \"%s\"", tszName);
    VX_RETURN_IF_ERROR(VXSharedMapping::create(VXString(tszName), dwSize, mode, block->mapping));
    block->view = block->mapping->data();
    memory = std::move(block);
    return VXError::eNoError;
}
