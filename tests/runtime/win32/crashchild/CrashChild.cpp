// Crashes on purpose. Modes: access-violation (with a real dump), terminate, handler-fault
// (the log faults while the crash is being reported), missing-dbghelp; all but the first
// find no dump library.
#include <windows.h>

#include <cstdint>
#include <cstring>
#include <exception>
#include <memory>

#include "VXCrashHandler.h"
#include "VXDumpThread.h"
#include "VXLog.h"
#include "VXRuntimeSwitches.h"

namespace {

// Read through a volatile so that the compiler cannot see the address.
volatile uintptr_t gBadAddress = 0x10;

// Debug output, except that the first crash line makes it fault once.
class FaultingTarget : public ILogTarget {
public:
    void write(const VXString& line) override {
        if (!_faulted && line.find(u"*** Crash ***") >= 0) {
            _faulted = true;
            auto* nowhere = reinterpret_cast<volatile int*>(gBadAddress);
            *nowhere = 2;
        }
        _console.write(line);
    }

private:
    bool _faulted = false;
    VXLogTargetConsole _console;
};

void accessViolation() {
    auto* address = reinterpret_cast<volatile int*>(gBadAddress);
    *address = 1;
}

}  // namespace

int main(int argc, char** argv) {
    const char* mode = argc > 1 ? argv[1] : "access-violation";
    if (std::strcmp(mode, "handler-fault") == 0)
        VXLog::setTargets({std::make_shared<FaultingTarget>()});
    // Only the access-violation mode writes a real dump: the others are about other lines.
    if (std::strcmp(mode, "access-violation") != 0)
        VXDumpThread::setLibraryName(u"vx_no_such_dbghelp.dll");
    VXCrashHandler::install();
    VX_LOG_INFO(u"Runtime switches read before the crash: %hs", VXRuntimeSwitches::isLoaded() ? "yes" : "no");
    VX_LOG_INFO(u"Crash child crashes now: %hs", mode);
    if (std::strcmp(mode, "terminate") == 0)
        std::terminate();
    accessViolation();
    return 0;
}
