#include "ScopedVirtualProtect.h"

#include "VXChecks.h"

ScopedVirtualProtect::~ScopedVirtualProtect() {
    if (_address != nullptr)
        restore().logIfError(VX_SITE);
}

VXResult ScopedVirtualProtect::protect(void* address, size_t size, uint32_t protection) {
    VX_CHECK_PARAM(address);
    VX_CHECK_PARAM(size > 0);
    if (_address != nullptr) {
        return VX_ERROR(VXError::ePreconditionFailed, u"A protection change is already held");
    }
    DWORD previous = 0;
    if (!VirtualProtect(address, size, protection, &previous))
        return VX_WIN32_ERROR(u"VirtualProtect");
    _address = address;
    _size = size;
    _previous = previous;
    return VXError::eNoError;
}

VXResult ScopedVirtualProtect::restore() {
    if (_address == nullptr)
        return VX_ERROR(VXError::ePreconditionFailed, u"No protection change to restore");
    DWORD ignored = 0;
    if (!VirtualProtect(_address, _size, _previous, &ignored))
        return VX_WIN32_ERROR(u"VirtualProtect");
    _address = nullptr;
    _size = 0;
    _previous = 0;
    return VXError::eNoError;
}
