// Naming of kernel objects shared between processes, the multi-object wait that can keep a
// window message loop alive, and the stack text that deadlock reports print.
#pragma once

#include <windows.h>

#include <cstdint>

#include "VXResult.h"
#include "VXString.h"

class VXEvent;

// The address the current function returns to, for "locked from" and "return address" texts.
#if defined(_MSC_VER)
#include <intrin.h>
#define VX_RETURN_ADDRESS() _ReturnAddress()
#else
#define VX_RETURN_ADDRESS() __builtin_return_address(0)
#endif

namespace VXSync {

// Where a named object lives. Only eScopeOpen gets the open (null-DACL) security.
enum Scope : int32_t {
    eScopeUnnamed = 0,  // created without a kernel name; the name serves messages only
    eScopeOpen = 1,     // the name as given, any account may open the object
    eScopeLocal = 2,    // "Local\" + name
    eScopeGlobal = 3,   // "Global\" + name
};

// Windows keeps room for the message queue in a wait: at most 63 objects.
constexpr uint32_t kMaxWaitObjects = MAXIMUM_WAIT_OBJECTS - 1;

// The scoped name; for scope 0 the name as given (it is never handed to the kernel).
VXResult makeEventName(const VXString& name, int32_t scope, VXString& scopedName);
// The name handed to the kernel for a scoped name: none for scope 0.
inline const wchar_t* kernelName(const VXString& scopedName, int32_t scope) {
    return scope == eScopeUnnamed || scopedName.isEmpty() ? nullptr : scopedName.wstr();
}

// Security attributes with a null DACL, not inheritable: any account may open the object.
class OpenSecurity {
public:
    OpenSecurity();
    SECURITY_ATTRIBUTES* attributes() { return _valid ? &_attributes : nullptr; }

private:
    SECURITY_DESCRIPTOR _descriptor;
    SECURITY_ATTRIBUTES _attributes;
    bool _valid = false;
};

// Waits for one (or all) of count events. 2000 with the index of the signalled event,
// 2024 on timeout, 3005 abandoned, 3006 when pumping met a WM_QUIT (left in the queue for
// the caller's own loop), 2021 for no list or a count outside 1..63, 2002 for a null entry.
VXResult waitForMultiple(VXEvent* const* events, uint32_t count, uint32_t timeoutMs, bool waitAll,
                         bool pumpMessages, uint32_t& signaledIndex);

// "module.exe+0x1A2B" for an address inside a loaded module, else empty.
VXString moduleRelativeAddress(const void* address);
// The current thread's stack, one frame a line: "  #N 0x<address> module+0x<offset>", unwound
// with the images' unwind tables (x86-64).
// skipFrames leaves out the innermost callers (this function itself is never listed).
VXString stackWalkText(uint32_t skipFrames = 0);

}  // namespace VXSync
