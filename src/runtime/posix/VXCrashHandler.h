// VXCrashHandler on Linux: brings a crash of the process into its log (standard error). One call
// at start-up installs handlers for SIGSEGV, SIGBUS, SIGILL, SIGFPE and SIGABRT that run on an
// alternate stack and use only async-signal-safe calls: they write "*** Crash ***", the signal,
// the faulting address and a backtrace of module + offset per frame as log lines, then end the
// process with the same signal under its default action, so that the parent sees it.
//
// install and uninstall are for the main thread at start-up and shut-down; the handler itself
// may run on any thread (the alternate stack is the installing thread's; other threads' handlers
// run on their own stacks).
#pragma once

class VXCrashHandler {
public:
    // Idempotent. Everything the handler would otherwise have to ask for while the process is
    // broken is read here: the loaded modules and their addresses, and the unwinder (loaded by
    // one backtrace). Modules loaded later are shown by address only.
    static void install();
    // Restores the previous handlers (for tests).
    static void uninstall();
};
