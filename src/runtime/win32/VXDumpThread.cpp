#include "VXDumpThread.h"

#include <dbghelp.h>

#include <mutex>

#include "VXDumpFile.h"
#include "VXLog.h"

namespace {

constexpr const char16_t* kThreadName = u"VXDumpThread";
constexpr const char16_t* kDefaultLibrary = u"DBGHELP.dll";
constexpr const char* kWriteDumpEntry = "MiniDumpWriteDump";
// Stacks with what they point to: enough to read the crash without the size of a full dump.
constexpr MINIDUMP_TYPE kDumpType = static_cast<MINIDUMP_TYPE>(MiniDumpWithIndirectlyReferencedMemory);
constexpr DWORD kVersionSignature = 0xFEEF04BD;

using WriteDumpFunction = BOOL(WINAPI*)(HANDLE, DWORD, HANDLE, MINIDUMP_TYPE, PMINIDUMP_EXCEPTION_INFORMATION,
                                        PMINIDUMP_USER_STREAM_INFORMATION, PMINIDUMP_CALLBACK_INFORMATION);

std::mutex gLibraryLock;
VXString* gLibraryName = nullptr;

VXString libraryName() {
    std::lock_guard<std::mutex> guard(gLibraryLock);
    return gLibraryName != nullptr ? *gLibraryName : VXString(kDefaultLibrary);
}

// The fixed file version from the module's own version resource: no version.dll needed.
bool fileVersion(HMODULE module, DWORD& high, DWORD& low) {
    HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(VS_VERSION_INFO), MAKEINTRESOURCEW(16));
    HGLOBAL loaded = resource != nullptr ? LoadResource(module, resource) : nullptr;
    const auto* data = static_cast<const uint8_t*>(loaded != nullptr ? LockResource(loaded) : nullptr);
    const DWORD size = resource != nullptr ? SizeofResource(module, resource) : 0;
    if (data == nullptr)
        return false;
    for (DWORD offset = 0; offset + sizeof(VS_FIXEDFILEINFO) <= size; offset += 4) {
        const auto* info = reinterpret_cast<const VS_FIXEDFILEINFO*>(data + offset);
        if (info->dwSignature == kVersionSignature) {
            high = info->dwFileVersionMS;
            low = info->dwFileVersionLS;
            return true;
        }
    }
    return false;
}

void enableDebugPrivilege() {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token))
        return;
    TOKEN_PRIVILEGES privileges{};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    if (LookupPrivilegeValueW(nullptr, L"SeDebugPrivilege", &privileges.Privileges[0].Luid)) {
        AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr);
    }
    CloseHandle(token);
}

}  // namespace

VXDumpThread::VXDumpThread(EXCEPTION_POINTERS* exception, DWORD threadId)
    : VXThread(kThreadName),
      _exception(exception),
      _threadId(threadId),
      _running(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

VXDumpThread::~VXDumpThread() {
    if (_running != nullptr)
        CloseHandle(_running);
}

void VXDumpThread::setLibraryName(const VXString& name) {
    std::lock_guard<std::mutex> guard(gLibraryLock);
    if (gLibraryName == nullptr)
        gLibraryName = new VXString;
    *gLibraryName = name;
}

VXResult VXDumpThread::run() {
    if (_running != nullptr)
        SetEvent(_running);
    VX_LOG(VXLogLevel::eCritical, u"VXDumpThread::run()");
    const VXString name = libraryName();
    const HMODULE library = LoadLibraryW(name.wstr());
    if (library == nullptr) {
        VXString message;
        VXResult::formatWin32Message(GetLastError(), message);
        VX_LOG(VXLogLevel::eCritical, u"Failed to load dbghelp.dll while trying to create crash dump:\n%s",
               message);
        return VXError::eSomeError;
    }
    DWORD high = 0, low = 0;
    const HMODULE loaded = GetModuleHandleW(L"DBGHELP.DLL");
    if (fileVersion(loaded != nullptr ? loaded : library, high, low)) {
        VX_LOG(VXLogLevel::eCritical, u"Loaded dbghelp.dll ver. %d.%02d.%d.%d", HIWORD(high), LOWORD(high),
               HIWORD(low), LOWORD(low));
    }
    const auto writeDump = reinterpret_cast<WriteDumpFunction>(
        reinterpret_cast<void*>(GetProcAddress(library, kWriteDumpEntry)));
    if (writeDump == nullptr) {
        VX_LOG(VXLogLevel::eCritical, u"MiniDumpWriteDump() entry not found. Crash dump generation failed.");
        FreeLibrary(library);
        return VXError::eSomeError;
    }
    if (VXMiniDump::folder().isEmpty())
        VXMiniDump::setFolder(VXMiniDump::defaultFolder());
    const HANDLE file = VXMiniDump::createFile(VXMiniDump::nextFileName());
    if (file == nullptr) {
        FreeLibrary(library);
        return VXError::eSomeError;
    }
    enableDebugPrivilege();
    VX_LOG(VXLogLevel::eCritical, u"Starting crash dump generation...");
    MINIDUMP_EXCEPTION_INFORMATION exceptionInfo{};
    exceptionInfo.ThreadId = _threadId;
    exceptionInfo.ExceptionPointers = _exception;
    exceptionInfo.ClientPointers = FALSE;
    bool logged = false;
    if (!writeDump(GetCurrentProcess(), GetCurrentProcessId(), file, kDumpType,
                   _exception != nullptr ? &exceptionInfo : nullptr, nullptr, nullptr)) {
        VX_LOG(VXLogLevel::eCritical, u"Crash dump generation failed: 0x%X.", GetLastError());
    } else {
        VX_LOG(VXLogLevel::eCritical, u"Crash dump data successfully generated.");
        logged = VXMiniDump::logFile(file);
    }
    CloseHandle(file);
    FreeLibrary(library);
    VXLog::flush();
    return logged ? VXError::eNoError : VXError::eSomeError;
}

bool VXDumpThread::writeDump(EXCEPTION_POINTERS* exception, uint32_t timeoutMs) {
    auto* thread = new VXDumpThread(exception, GetCurrentThreadId());
    if (thread->start().isError()) {
        delete thread;
        return false;
    }
    // A new thread starts only once it may take the loader lock; a crash while the crashing
    // thread holds it would otherwise wait out the whole time-out for a dump that never comes.
    // A dump thread that is not done keeps its object: leaked rather than freed under it.
    const DWORD startMs = timeoutMs < kStartWaitMs ? timeoutMs : kStartWaitMs;
    if (thread->_running != nullptr && WaitForSingleObject(thread->_running, startMs) != WAIT_OBJECT_0) {
        VX_LOG(VXLogLevel::eCritical,
               u"Crash dump thread did not start within %u ms (is the loader lock held?). No crash dump "
               u"written.",
               startMs);
        return false;
    }
    if (thread->join(timeoutMs, false).isError())
        return false;
    const bool logged = thread->result().isSuccess();
    delete thread;
    return logged;
}
