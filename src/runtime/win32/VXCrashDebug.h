// VXDebug: what the crash handler tells about an exception and the process: the names of
// exception codes, the first-chance texts and the list of loaded modules.
#pragma once

#include <windows.h>

#include <cstdint>

#include "VXString.h"

// The runtime's own exception codes, raised from its handlers for pure virtual calls,
// invalid CRT parameters, terminate and fatal preconditions.
namespace VXRuntimeException {
enum : uint32_t {
    eReportCallStack = 0xE0000001,
    ePureVirtualCall = 0xE0000002,
    eInvalidCRuntimeParameter = 0xE0000003,
    eTerminateHandler = 0xE0000004,
    eBufferOverrun = 0xE0000005,
    eNullPointer = 0xE0000006,
    eUnexpectedError = 0xE0000007,
    eAllocFailed = 0xE0000008,
    eVerifyFailed = 0xE0000009,
    ePreconditionFailed = 0xE000000A,
    eDebuggerThreadName = 0x406D1388,
};
}

class VXDebug {
public:
    // The system's or the runtime's name of the code; "Unknown exception" for others.
    static const char16_t* exceptionName(uint32_t code);
    // "First chance <name> at %p" for the hardware exceptions; null for every other code
    // (C++ throws, debugger notifications, the runtime's own codes).
    static const char16_t* firstChanceFormat(uint32_t code);
    // The lines that describe an exception: code, address and module, its name, and the
    // access-violation, in-page or delay-load detail.
    static void logException(const EXCEPTION_RECORD& record);
    static void logLoadedModules();
    // Path of the module that holds the address; empty when none does.
    static VXString modulePathOf(const void* address);
};
