// A kernel event owned by one object: created or joined by name in the constructor, closed in
// the destructor. The creation code tells the caller whether it created the event (2000),
// joined an existing one (2009) or failed (the mapped Win32 error; the object then has no
// handle and every wait on it fails).
#pragma once

#include <windows.h>

#include <cstdint>

#include "VXResult.h"
#include "VXString.h"
#include "VXSync.h"

class VXEvent {
public:
    // securityScope picks the security rule of a scope (only eScopeOpen has one of its own);
    // by default the name's scope decides.
    static constexpr int32_t kSecurityOfNameScope = -1;

    VXEvent(const char16_t* name, bool manualReset, int32_t scope = VXSync::eScopeOpen,
            int32_t securityScope = kSecurityOfNameScope);
    ~VXEvent();
    VXEvent(const VXEvent&) = delete;
    VXEvent& operator=(const VXEvent&) = delete;

    // Opens an existing event with SYNCHRONIZE access (EVENT_MODIFY_STATE when modifyAccess
    // is set). A handle already in the slot is closed first.
    static VXResult open(const char16_t* name, int32_t scope, bool modifyAccess, HANDLE& handle);

    VXResult set();
    VXResult reset();
    // VXStatus::eYes when signalled, VXStatus::eNo otherwise (also for a wait failure).
    VXResult isSignaled();
    // 2000 when signalled, 2024 on timeout.
    VXResult wait(uint32_t timeoutMs);

    HANDLE handle() const { return _handle; }
    const VXString& name() const { return _name; }
    int32_t creationCode() const { return _creationCode; }
    bool isManualReset() const { return _manualReset; }

private:
    HANDLE _handle = nullptr;
    VXString _name;
    int32_t _creationCode = VXError::eNoError;
    bool _manualReset = false;
};
