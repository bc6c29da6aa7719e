// VXCrashHandler: brings a crash into the log. One call at start-up installs the
// unhandled-exception filter (exception, modules, then a compressed minidump), the CRT
// handlers that turn pure virtual calls, invalid CRT parameters and terminate into the
// runtime's own exceptions, and the first-chance log.
#pragma once

#include <windows.h>

#include <cstdint>

class VXCrashHandler {
public:
    // How long the crash handler waits for the dump thread.
    static constexpr uint32_t kDumpWaitMs = 60000;

    // Idempotent. The first-chance log is left out when the runtime switch
    // "DisableFirstChanceExTracking" is non-zero.
    static void install();
    // Restores what install replaced: for hosts that unload the runtime, and tests.
    static void uninstall();
    static bool isFirstChanceLogOn();
    // Reserves stack for the crash handler on the calling thread, so that a stack overflow
    // can still be reported; install does it for its own thread.
    static void reserveHandlerStack();
};

// The unhandled-exception filter. Logs "*** Crash ***", the exception, the loaded modules
// and the dump, then lets the system end the process.
LONG WINAPI VXDebugExceptionHandler(EXCEPTION_POINTERS* exception);
