#include "VXCrashHandler.h"

#include <atomic>
#include <cstdlib>
#include <exception>
#include <mutex>

#include "VXCrashDebug.h"
#include "VXDumpThread.h"
#include "VXLog.h"
#include "VXRuntimeSwitches.h"

namespace {

constexpr const char16_t* kFirstChanceSwitch = u"DisableFirstChanceExTracking";
constexpr ULONG kHandlerStackBytes = 64 * 1024;
constexpr DWORD kOtherCrashPollMs = 100;

std::mutex gInstallLock;
bool gInstalled = false;
LPTOP_LEVEL_EXCEPTION_FILTER gPreviousFilter = nullptr;
_purecall_handler gPreviousPurecall = nullptr;
_invalid_parameter_handler gPreviousInvalidParameter = nullptr;
std::terminate_handler gPreviousTerminate = nullptr;
void* gFirstChanceHandle = nullptr;
std::atomic<DWORD> gCrashingThread{0};
thread_local bool tInFirstChance = false;

bool firstChanceLogWanted() {
    uint32_t disabled = 0;
    return VXRuntimeSwitches::readDword(kFirstChanceSwitch, disabled).isError() || disabled == 0;
}

[[noreturn]] void raiseRuntimeException(uint32_t code) {
    RaiseException(code, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    std::abort();
}

void onPureCall() {
    raiseRuntimeException(VXRuntimeException::ePureVirtualCall);
}

void onInvalidParameter(const wchar_t*, const wchar_t*, const wchar_t*, unsigned int, uintptr_t) {
    raiseRuntimeException(VXRuntimeException::eInvalidCRuntimeParameter);
}

void onTerminate() {
    raiseRuntimeException(VXRuntimeException::eTerminateHandler);
}

LONG CALLBACK onFirstChance(EXCEPTION_POINTERS* exception) {
    const char16_t* format = VXDebug::firstChanceFormat(exception->ExceptionRecord->ExceptionCode);
    // The log itself may raise (debug output is an exception under a debugger): no recursion.
    if (format == nullptr || tInFirstChance)
        return EXCEPTION_CONTINUE_SEARCH;
    tInFirstChance = true;
    VX_LOG(VXLogLevel::eWarning, format, exception->ExceptionRecord->ExceptionAddress);
    tInFirstChance = false;
    return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

void VXCrashHandler::install() {
    std::lock_guard<std::mutex> guard(gInstallLock);
    if (gInstalled)
        return;
    gInstalled = true;
    // Deadlock switches are used by the dump thread's join: read them now, not mid-crash.
    VXRuntimeSwitches::ensureLoaded();
    gPreviousFilter = SetUnhandledExceptionFilter(VXDebugExceptionHandler);
    gPreviousPurecall = _set_purecall_handler(onPureCall);
    gPreviousInvalidParameter = _set_invalid_parameter_handler(onInvalidParameter);
    gPreviousTerminate = std::set_terminate(onTerminate);
    if (firstChanceLogWanted())
        gFirstChanceHandle = AddVectoredExceptionHandler(1, onFirstChance);
    reserveHandlerStack();
}

void VXCrashHandler::uninstall() {
    std::lock_guard<std::mutex> guard(gInstallLock);
    if (!gInstalled)
        return;
    gInstalled = false;
    SetUnhandledExceptionFilter(gPreviousFilter);
    _set_purecall_handler(gPreviousPurecall);
    _set_invalid_parameter_handler(gPreviousInvalidParameter);
    std::set_terminate(gPreviousTerminate);
    if (gFirstChanceHandle != nullptr)
        RemoveVectoredExceptionHandler(gFirstChanceHandle);
    gFirstChanceHandle = nullptr;
}

bool VXCrashHandler::isFirstChanceLogOn() {
    std::lock_guard<std::mutex> guard(gInstallLock);
    return gFirstChanceHandle != nullptr;
}

void VXCrashHandler::reserveHandlerStack() {
    ULONG bytes = kHandlerStackBytes;
    SetThreadStackGuarantee(&bytes);
}

LONG WINAPI VXDebugExceptionHandler(EXCEPTION_POINTERS* exception) {
    const DWORD self = GetCurrentThreadId();
    DWORD expected = 0;
    while (!gCrashingThread.compare_exchange_strong(expected, self)) {
        if (expected == self) {
            // A fault inside this handler: report it and let the system end the process.
            VX_LOG(VXLogLevel::eCritical, u"VXDebugExceptionHandler crashed !");
            VXLog::flush();
            return EXCEPTION_EXECUTE_HANDLER;
        }
        // Another thread is reporting its crash; the process ends when it is done.
        Sleep(kOtherCrashPollMs);
        expected = 0;
    }
    VX_LOG(VXLogLevel::eCritical, u"*** Crash ***");
    VXDebug::logException(*exception->ExceptionRecord);
    VXDebug::logLoadedModules();
    VXDumpThread::writeDump(exception, VXCrashHandler::kDumpWaitMs);
    VXLog::flush();
    gCrashingThread = 0;
    return EXCEPTION_EXECUTE_HANDLER;
}
