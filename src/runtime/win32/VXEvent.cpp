#include "VXEvent.h"

#include "VXChecks.h"

VXEvent::VXEvent(const char16_t* name, bool manualReset, int32_t scope, int32_t securityScope)
    : _manualReset(manualReset) {
    const VXResult named = VXSync::makeEventName(VXString(name != nullptr ? name : u""), scope, _name);
    if (named.isError()) {
        VXLog::logResult(VXLogLevel::eWarning, u"VXEvent::VXEvent", named);
        _creationCode = named.code();
        return;
    }
    const int32_t security = securityScope == kSecurityOfNameScope ? scope : securityScope;
    VXSync::OpenSecurity open;
    SECURITY_ATTRIBUTES* attributes = security == VXSync::eScopeOpen ? open.attributes() : nullptr;
    _handle = CreateEventW(attributes, manualReset ? TRUE : FALSE, FALSE, VXSync::kernelName(_name, scope));
    const DWORD error = GetLastError();
    if (_handle == nullptr) {
        VX_LOG(VXLogLevel::eWarning, u"Failed to create VXEvent \"%s\". Last error = %d", _name,
               static_cast<int32_t>(error));
        _creationCode = VXResult::mapWin32Error(error);
        return;
    }
    _creationCode = error == ERROR_ALREADY_EXISTS ? VXError::eExists : VXError::eNoError;
}

VXEvent::~VXEvent() {
    if (_handle != nullptr)
        CloseHandle(_handle);
}

VXResult VXEvent::open(const char16_t* name, int32_t scope, bool modifyAccess, HANDLE& handle) {
    VX_CHECK_PARAM(name);
    if (handle != nullptr) {
        CloseHandle(handle);
        handle = nullptr;
    }
    VXString scoped;
    VX_RETURN_IF_ERROR(VXSync::makeEventName(VXString(name), scope, scoped));
    const DWORD access = modifyAccess ? EVENT_MODIFY_STATE : SYNCHRONIZE;
    // A scope-0 name was never given to the kernel, so there is nothing to find by it.
    const wchar_t* kernelName = VXSync::kernelName(scoped, scope);
    handle = kernelName != nullptr ? OpenEventW(access, FALSE, kernelName) : nullptr;
    if (handle == nullptr) {
        const DWORD error = kernelName != nullptr ? GetLastError() : static_cast<DWORD>(ERROR_FILE_NOT_FOUND);
        VXResult r = VX_WIN32_ERROR_CODE(u"OpenEvent", error);
        r.addContext(u"Event name: \"%s\"", scoped);
        return r;
    }
    return VXError::eNoError;
}

VXResult VXEvent::set() {
    if (!SetEvent(_handle))
        return VX_WIN32_ERROR(u"SetEvent");
    return VXError::eNoError;
}

VXResult VXEvent::reset() {
    if (!ResetEvent(_handle))
        return VX_WIN32_ERROR(u"ResetEvent");
    return VXError::eNoError;
}

VXResult VXEvent::isSignaled() {
    if (_handle == nullptr) {
        const VXResult missing = VX_CHAIN(VXResult(VXError::ePreconditionFailed));
        VXLog::logResult(VXLogLevel::eDebug, u"VXEvent::isSignaled", missing);
        return VXStatus::eNo;
    }
    return WaitForSingleObject(_handle, 0) == WAIT_OBJECT_0 ? VXStatus::eYes : VXStatus::eNo;
}

VXResult VXEvent::wait(uint32_t timeoutMs) {
    // Without a handle the system would report an invalid handle; say so without asking it.
    if (_handle == nullptr)
        return VX_WIN32_ERROR_CODE(u"WaitForSingleObject", ERROR_INVALID_HANDLE);
    const DWORD wait = WaitForSingleObject(_handle, timeoutMs);
    if (wait == WAIT_OBJECT_0)
        return VXError::eNoError;
    if (wait == WAIT_TIMEOUT)
        return VXError::eTimeout;
    if (wait == WAIT_FAILED)
        return VX_WIN32_ERROR(u"WaitForSingleObject");
    return VXError::eSomeError;
}
