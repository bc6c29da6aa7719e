// VXDumpThread: writes a minidump of the process with dbghelp (loaded at run time) into a
// temporary file and from there into the log. It runs on a thread of its own so that the
// crashing thread's stack is captured as it was, not as the dump code left it.
#pragma once

#include <windows.h>

#include <cstdint>

#include "VXString.h"
#include "VXThread.h"

class VXDumpThread : public VXThread {
public:
    // exception may be null (a dump on request); threadId is the thread it happened on.
    VXDumpThread(EXCEPTION_POINTERS* exception, DWORD threadId);
    ~VXDumpThread() override;

    // How long writeDump waits for the dump thread to begin running.
    static constexpr uint32_t kStartWaitMs = 5000;

    // Runs the dump for the calling thread's exception on a dump thread and waits for it
    // at most timeoutMs, of which at most kStartWaitMs for it to begin running. False when the
    // thread could not be started, did not begin, timed out or failed.
    static bool writeDump(EXCEPTION_POINTERS* exception, uint32_t timeoutMs);

    // "DBGHELP.dll" unless changed; tests name a missing library to drive the failure.
    static void setLibraryName(const VXString& name);

protected:
    // Every step of the dump; each failure is logged and ends it. 2000 when the dump text
    // reached the log.
    VXResult run() override;

private:
    EXCEPTION_POINTERS* _exception;
    DWORD _threadId;
    HANDLE _running;  // set when run begins
};
