#include "SharedProcessMemory.h"

#include <new>

#include "VXChecks.h"

SharedProcessMemory::~SharedProcessMemory() {
    release_();
}

VXResult SharedProcessMemory::create(const char16_t* tszName, uint32_t dwSize,
                                     std::shared_ptr<SharedProcessMemory>& memory) {
    VX_CHECK_PARAM(tszName);
    VX_CHECK_PARAM(dwSize > 0);
    std::shared_ptr<SharedProcessMemory> block;
    try {
        block = std::make_shared<SharedProcessMemory>();
    } catch (const std::bad_alloc&) {
        return VX_ERROR(VXError::eNoMemory, u"No memory for shared block \"%s\"", tszName);
    }
    // Opens an existing section of the name as it is, whatever size it was made with.
    block->mapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, dwSize,
                                        reinterpret_cast<const wchar_t*>(tszName));
    if (block->mapping == nullptr)
        return VX_CHAIN(VX_WIN32_ERROR(u"CreateFileMapping"));
    block->view = static_cast<uint8_t*>(MapViewOfFile(block->mapping, FILE_MAP_WRITE, 0, 0, dwSize));
    if (block->view == nullptr)
        return VX_CHAIN(VX_WIN32_ERROR(u"MapViewOfFile"));
    memory = std::move(block);
    return VXError::eNoError;
}

void SharedProcessMemory::release_() {
    if (view != nullptr) {
        if (!UnmapViewOfFile(view)) {
            VXLog::logResult(VXLogLevel::eWarning, u"SharedProcessMemory::release",
                             VX_WIN32_ERROR(u"UnmapViewOfFile"));
        }
        view = nullptr;
    }
    if (mapping != nullptr) {
        if (!CloseHandle(mapping)) {
            VXLog::logResult(VXLogLevel::eWarning, u"SharedProcessMemory::release",
                             VX_WIN32_ERROR(u"CloseHandle"));
        }
        mapping = nullptr;
    }
}
