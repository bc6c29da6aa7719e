// Crashes on purpose. Modes: access-violation (with a real dump), terminate, pure-virtual,
// purecall-handler, invalid-parameter, second-thread (another thread crashes
// while the first crash is reported), handler-fault (the log faults while the crash is being
// reported), loader-lock (the crash comes while this thread holds the loader lock); all but the
// first find no dump library.
#include <windows.h>

#include <cstdint>
#include <cstdlib>
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

void accessViolation() {
    auto* address = reinterpret_cast<volatile int*>(gBadAddress);
    *address = 1;
}

// Debug output that acts once on the first crash line: faults, or lets a second thread crash
// and waits until that thread's exception is on its way to the filter.
class CrashLineTarget : public ILogTarget {
public:
    explicit CrashLineTarget(bool fault) : _fault(fault) {}
    void write(const VXString& line) override {
        if (!_acted && line.find(u"*** Crash ***") >= 0) {
            _acted = true;
            if (_fault)
                accessViolation();
            HANDLE raised = CreateEventW(nullptr, TRUE, FALSE, nullptr);
            gSecondRaised = raised;
            CloseHandle(CreateThread(nullptr, 0, secondThread, nullptr, 0, nullptr));
            if (WaitForSingleObject(raised, 10000) == WAIT_OBJECT_0)
                _console.write(VXString(u"Second thread raised its exception"));
            Sleep(300);  // from the vectored handler to the filter
        }
        _console.write(line);
    }

private:
    static DWORD WINAPI secondThread(void*) {
        AddVectoredExceptionHandler(1, [](EXCEPTION_POINTERS*) -> LONG {
            SetEvent(gSecondRaised);
            return EXCEPTION_CONTINUE_SEARCH;
        });
        RaiseException(kSecondCode, EXCEPTION_NONCONTINUABLE, 0, nullptr);
        return 0;
    }
    static constexpr DWORD kSecondCode = 0xE0005EC2;
    static inline HANDLE gSecondRaised = nullptr;

    const bool _fault;
    bool _acted = false;
    VXLogTargetConsole _console;
};

}  // namespace

extern "C" void __cxa_pure_virtual();

int main(int argc, char** argv) {
    const char* mode = argc > 1 ? argv[1] : "access-violation";
    auto is = [mode](const char* name) { return std::strcmp(mode, name) == 0; };
    if (is("handler-fault") || is("second-thread"))
        VXLog::setTargets({std::make_shared<CrashLineTarget>(is("handler-fault"))});
    // Only the access-violation mode writes a real dump: the others are about other lines.
    if (!is("access-violation"))
        VXDumpThread::setLibraryName(u"vx_no_such_dbghelp.dll");
    VXCrashHandler::install();
    VX_LOG_INFO(u"Runtime switches read before the crash: %hs", VXRuntimeSwitches::isLoaded() ? "yes" : "no");
    VX_LOG_INFO(u"Crash child crashes now: %hs", mode);
    if (is("terminate"))
        std::terminate();
    // What a pure virtual call compiled by GCC lands in (the vtable slot of a pure function);
    // a call written in the source would be undefined behaviour the compiler may drop.
    if (is("pure-virtual"))
        __cxa_pure_virtual();
    // The handlers as installed: msvcrt.dll itself never calls them (it ignores invalid
    // parameters, and GCC's pure virtual calls end in terminate), but a CRT that honours them does.
    if (is("purecall-handler"))
        _set_purecall_handler(nullptr)();
    if (is("invalid-parameter"))
        _get_invalid_parameter_handler()(nullptr, nullptr, nullptr, 0, 0);
    // What a crash in a DLL's entry point meets: no new thread can begin while the lock is held.
    if (is("loader-lock")) {
        using LockLoaderLock = LONG(NTAPI*)(ULONG flags, ULONG * state, ULONG_PTR * cookie);
        const auto lock = reinterpret_cast<LockLoaderLock>(
            reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "LdrLockLoaderLock")));
        ULONG_PTR cookie = 0;
        if (lock == nullptr || lock(0, nullptr, &cookie) != 0)
            return 3;
    }
    accessViolation();
    return 0;
}
