#include "VXCrashDebug.h"

#include <psapi.h>

#include "VXLog.h"

namespace {

struct ExceptionName {
    uint32_t code;
    const char16_t* name;
    const char16_t* firstChance;  // null: not logged as a first-chance exception
};

constexpr ExceptionName kExceptionNames[] = {
    {EXCEPTION_ACCESS_VIOLATION, u"EXCEPTION_ACCESS_VIOLATION",
     u"First chance EXCEPTION_ACCESS_VIOLATION at %p"},
    {EXCEPTION_STACK_OVERFLOW, u"EXCEPTION_STACK_OVERFLOW", u"First chance EXCEPTION_STACK_OVERFLOW at %p"},
    {EXCEPTION_INT_DIVIDE_BY_ZERO, u"EXCEPTION_INT_DIVIDE_BY_ZERO",
     u"First chance EXCEPTION_INT_DIVIDE_BY_ZERO at %p"},
    {EXCEPTION_INT_OVERFLOW, u"EXCEPTION_INT_OVERFLOW", u"First chance EXCEPTION_INT_OVERFLOW at %p"},
    {EXCEPTION_ARRAY_BOUNDS_EXCEEDED, u"EXCEPTION_ARRAY_BOUNDS_EXCEEDED",
     u"First chance ARRAY_BOUNDS_EXCEEDED at %p"},
    {EXCEPTION_DATATYPE_MISALIGNMENT, u"EXCEPTION_DATATYPE_MISALIGNMENT",
     u"First chance EXCEPTION_DATATYPE_MISALIGNMENT at %p"},
    {EXCEPTION_FLT_DENORMAL_OPERAND, u"EXCEPTION_FLT_DENORMAL_OPERAND",
     u"First chance EXCEPTION_FLT_DENORMAL_OPERAND at %p"},
    {EXCEPTION_FLT_DIVIDE_BY_ZERO, u"EXCEPTION_FLT_DIVIDE_BY_ZERO",
     u"First chance EXCEPTION_FLT_DIVIDE_BY_ZERO at %p"},
    {EXCEPTION_FLT_INEXACT_RESULT, u"EXCEPTION_FLT_INEXACT_RESULT",
     u"First chance EXCEPTION_FLT_INEXACT_RESULT at %p"},
    {EXCEPTION_FLT_INVALID_OPERATION, u"EXCEPTION_FLT_INVALID_OPERATION",
     u"First chance EXCEPTION_FLT_INVALID_OPERATION at %p"},
    {EXCEPTION_FLT_OVERFLOW, u"EXCEPTION_FLT_OVERFLOW", u"First chance EXCEPTION_FLT_OVERFLOW at %p"},
    {EXCEPTION_FLT_STACK_CHECK, u"EXCEPTION_FLT_STACK_CHECK",
     u"First chance EXCEPTION_FLT_STACK_CHECK at %p"},
    {EXCEPTION_FLT_UNDERFLOW, u"EXCEPTION_FLT_UNDERFLOW", u"First chance EXCEPTION_FLT_UNDERFLOW at %p"},
    {EXCEPTION_GUARD_PAGE, u"EXCEPTION_GUARD_PAGE", u"First chance EXCEPTION_GUARD_PAGE at %p"},
    {EXCEPTION_ILLEGAL_INSTRUCTION, u"EXCEPTION_ILLEGAL_INSTRUCTION",
     u"First chance EXCEPTION_ILLEGAL_INSTRUCTION at %p"},
    {EXCEPTION_IN_PAGE_ERROR, u"EXCEPTION_IN_PAGE_ERROR", u"First chance EXCEPTION_IN_PAGE_ERROR at %p"},
    {EXCEPTION_INVALID_DISPOSITION, u"EXCEPTION_INVALID_DISPOSITION",
     u"First chance EXCEPTION_INVALID_DISPOSITION at %p"},
    {EXCEPTION_INVALID_HANDLE, u"EXCEPTION_INVALID_HANDLE", u"First chance EXCEPTION_INVALID_HANDLE at %p"},
    {EXCEPTION_NONCONTINUABLE_EXCEPTION, u"EXCEPTION_NONCONTINUABLE_EXCEPTION",
     u"First chance EXCEPTION_NONCONTINUABLE_EXCEPTION at %p"},
    {EXCEPTION_PRIV_INSTRUCTION, u"EXCEPTION_PRIV_INSTRUCTION",
     u"First chance EXCEPTION_PRIV_INSTRUCTION at %p"},
    {EXCEPTION_SINGLE_STEP, u"EXCEPTION_SINGLE_STEP", u"First chance EXCEPTION_SINGLE_STEP at %p"},
    {STATUS_BREAKPOINT, u"STATUS_BREAKPOINT", u"First chance STATUS_BREAKPOINT at %p"},
    {0xE06D7363, u"EXCEPTION_MS_CPP", nullptr},
    {VXRuntimeException::eReportCallStack, u"EX_REPORT_CALLSTACK", nullptr},
    {VXRuntimeException::ePureVirtualCall, u"EX_PURE_VIRT_CALL", nullptr},
    {VXRuntimeException::eInvalidCRuntimeParameter, u"EX_INVALID_CRUNTIME_PARAMETER", nullptr},
    {VXRuntimeException::eTerminateHandler, u"EX_TERMINATE_HANDLER", nullptr},
    {VXRuntimeException::eBufferOverrun, u"EX_BUFFER_OVERRUN", nullptr},
    {VXRuntimeException::eNullPointer, u"EX_NULL_PTR", nullptr},
    {VXRuntimeException::eUnexpectedError, u"EX_UNEXPECTED_ERR", nullptr},
    {VXRuntimeException::eAllocFailed, u"EX_ALLOC_FAILED", nullptr},
    {VXRuntimeException::eVerifyFailed, u"EX_VERIFY_FAILED", nullptr},
    {VXRuntimeException::ePreconditionFailed, u"EX_PRECONDITION_FAILED", nullptr},
    {VXRuntimeException::eDebuggerThreadName, u"EX_MSVS_NET_DEBUGGER_THREAD_NAME", nullptr},
};

// Delay-load failures: the helper's exception codes and the record it passes along.
constexpr uint32_t kDelayLoadModuleNotFound = 0xC06D007E;
constexpr uint32_t kDelayLoadProcNotFound = 0xC06D007F;

struct DelayLoadProc {
    BOOL importByName;
    union {
        LPCSTR procName;
        DWORD ordinal;
    };
};

struct DelayLoadInfo {
    DWORD size;
    const void* descriptor;
    FARPROC* importAddress;
    LPCSTR dllName;
    DelayLoadProc proc;
    HMODULE module;
    FARPROC function;
    DWORD lastError;
};

constexpr DWORD kMaxModules = 1024;
constexpr DWORD kPathChars = 32768;

const ExceptionName* find(uint32_t code) {
    for (const ExceptionName& entry : kExceptionNames) {
        if (entry.code == code)
            return &entry;
    }
    return nullptr;
}

const char16_t* accessText(ULONG_PTR kind) {
    switch (kind) {
        case 0:
            return u"reading";
        case 1:
            return u"writing";
        case 8:
            return u"executing";
        default:
            return u"accessing";
    }
}

VXString narrow(LPCSTR text) {
    return text != nullptr ? VXString::fromUtf8(text) : VXString(u"(null)");
}

void logDelayLoad(const EXCEPTION_RECORD& record) {
    if (record.NumberParameters < 1 || record.ExceptionInformation[0] == 0)
        return;
    const auto* info = reinterpret_cast<const DelayLoadInfo*>(record.ExceptionInformation[0]);
    if (record.ExceptionCode == kDelayLoadModuleNotFound) {
        VX_LOG(VXLogLevel::eCritical, u"Dalay loaded library not found at runtime: %s",
               narrow(info->dllName));
    } else if (info->proc.importByName) {
        VX_LOG(VXLogLevel::eCritical, u"Function %s was not found in %s", narrow(info->proc.procName),
               narrow(info->dllName));
    } else {
        VX_LOG(VXLogLevel::eCritical, u"Function ordinal %d was not found in %s", info->proc.ordinal,
               narrow(info->dllName));
    }
}

}  // namespace

const char16_t* VXDebug::exceptionName(uint32_t code) {
    const ExceptionName* entry = find(code);
    return entry != nullptr ? entry->name : u"Unknown exception";
}

const char16_t* VXDebug::firstChanceFormat(uint32_t code) {
    const ExceptionName* entry = find(code);
    return entry != nullptr ? entry->firstChance : nullptr;
}

VXString VXDebug::modulePathOf(const void* address) {
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            static_cast<LPCWSTR>(address), &module)) {
        return VXString();
    }
    VXString path;
    char16_t* buffer = path.getWritableBuffer(MAX_PATH);
    if (buffer == nullptr)
        return VXString();
    const DWORD n = GetModuleFileNameW(module, reinterpret_cast<wchar_t*>(buffer), MAX_PATH + 1);
    path.releaseWritableBuffer(n <= MAX_PATH ? static_cast<int32_t>(n) : 0);
    return path;
}

void VXDebug::logException(const EXCEPTION_RECORD& record) {
    const uint32_t code = record.ExceptionCode;
    VXString module = modulePathOf(record.ExceptionAddress);
    if (module.isEmpty())
        module = u"(unknown module)";
    VX_LOG(VXLogLevel::eCritical, u"Exception: %08X at %p in %s", code, record.ExceptionAddress, module);
    VX_LOG(VXLogLevel::eCritical, u"%s", exceptionName(code));
    if ((code == EXCEPTION_ACCESS_VIOLATION || code == EXCEPTION_IN_PAGE_ERROR) &&
        record.NumberParameters >= 2) {
        const auto* address = reinterpret_cast<const void*>(record.ExceptionInformation[1]);
        VX_LOG(VXLogLevel::eCritical,
               code == EXCEPTION_ACCESS_VIOLATION ? u"ACCESS_VIOLATION while %s %p"
                                                  : u"IN_PAGE_ERROR while %s %p",
               accessText(record.ExceptionInformation[0]), address);
    }
    if (code == kDelayLoadModuleNotFound || code == kDelayLoadProcNotFound)
        logDelayLoad(record);
}

void VXDebug::logLoadedModules() {
    // Static: a crash may come from a thread with little stack left, and crashes are logged
    // one at a time.
    static HMODULE modules[kMaxModules];
    DWORD needed = 0;
    if (!EnumProcessModules(GetCurrentProcess(), modules, sizeof(modules), &needed)) {
        VX_LOG(VXLogLevel::eCritical, u"EnumProcessModules failed!");
        return;
    }
    const DWORD count = needed / sizeof(HMODULE);
    if (count > kMaxModules) {
        VX_LOG(VXLogLevel::eCritical, u"Buffer of %d modules is too small in VXDebug::logLoadedModules()",
               kMaxModules);
        return;
    }
    VX_LOG(VXLogLevel::eCritical, u"LOADED MODULES DUMP BEGIN >>>>>>>>>>>>>>>>>>>>>");
    VXString path;
    for (DWORD i = 0; i < count; ++i) {
        MODULEINFO info{};
        GetModuleInformation(GetCurrentProcess(), modules[i], &info, sizeof(info));
        char16_t* buffer = path.getWritableBuffer(kPathChars - 2);
        const DWORD n = buffer != nullptr ? GetModuleFileNameW(modules[i], reinterpret_cast<wchar_t*>(buffer),
                                                               kPathChars - 2)
                                          : 0;
        path.releaseWritableBuffer(n < kPathChars - 2 ? static_cast<int32_t>(n) : 0);
        VX_LOG(VXLogLevel::eCritical, u"Load Addr: 0x%p Size: 0x%06x\t Path: %s", info.lpBaseOfDll,
               info.SizeOfImage, path);
    }
    VX_LOG(VXLogLevel::eCritical, u"LOADED MODULES DUMP END <<<<<<<<<<<<<<<<<<<<<<<");
}
