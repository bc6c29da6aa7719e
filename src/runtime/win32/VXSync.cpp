#include "VXSync.h"

#include <algorithm>

#include "VXChecks.h"
#include "VXEvent.h"

namespace {

constexpr const char16_t* kLocalPrefix = u"Local\\";
constexpr const char16_t* kGlobalPrefix = u"Global\\";
constexpr DWORD kAllInput = QS_ALLINPUT;  // 0x4FF
// How often a wait-all with the message pump looks at its objects while no input comes.
constexpr uint32_t kWaitAllPollMs = 10;
constexpr uint32_t kMaxStackFrames = 64;
constexpr DWORD kModulePathChars = 1024;

VXResult waitOutcome(DWORD wait, uint32_t count, uint32_t& signaledIndex) {
    if (wait == WAIT_FAILED)
        return VX_WIN32_ERROR(u"WaitForMultipleObjects");
    if (wait == WAIT_TIMEOUT)
        return VXError::eTimeout;
    if (wait >= WAIT_OBJECT_0 && wait < WAIT_OBJECT_0 + count) {
        signaledIndex = wait - WAIT_OBJECT_0;
        return VXError::eNoError;
    }
    if (wait >= WAIT_ABANDONED_0 && wait < WAIT_ABANDONED_0 + count) {
        signaledIndex = wait - WAIT_ABANDONED_0;
        return VXThreadError::eWaitAbandoned;
    }
    return VXError::eSomeError;
}

uint32_t remainingMs(uint32_t timeoutMs, ULONGLONG start) {
    if (timeoutMs == INFINITE)
        return INFINITE;
    const ULONGLONG elapsed = GetTickCount64() - start;
    return elapsed >= timeoutMs ? 0 : static_cast<uint32_t>(timeoutMs - elapsed);
}

}  // namespace

VXResult VXSync::makeEventName(const VXString& name, int32_t scope, VXString& scopedName) {
    VXString out;
    bool ok = true;
    // No name stays no name: a bare prefix would make every unnamed object of the scope one
    // kernel object.
    if (name.isEmpty())
        scope = eScopeUnnamed;
    if (scope == eScopeLocal)
        ok = out.assign(kLocalPrefix);
    if (scope == eScopeGlobal)
        ok = out.assign(kGlobalPrefix);
    if (!ok || !out.append(name))
        return VXResult(VXError::eUnexpected, u"Unexpected error in VXSync::makeEventName()");
    scopedName = out;
    return VXError::eNoError;
}

VXSync::OpenSecurity::OpenSecurity() : _descriptor{}, _attributes{} {
    // A present but null DACL grants everyone access: host and server may run under
    // different accounts of one session.
    if (!InitializeSecurityDescriptor(&_descriptor, SECURITY_DESCRIPTOR_REVISION))
        return;
    if (!SetSecurityDescriptorDacl(&_descriptor, TRUE, nullptr, FALSE))
        return;
    _attributes.nLength = sizeof(_attributes);
    _attributes.lpSecurityDescriptor = &_descriptor;
    _attributes.bInheritHandle = FALSE;
    _valid = true;
}

VXResult VXSync::waitForMultiple(VXEvent* const* events, uint32_t count, uint32_t timeoutMs, bool waitAll,
                                 bool pumpMessages, uint32_t& signaledIndex) {
    if (events == nullptr || count == 0 || count > kMaxWaitObjects) {
        return VX_ERROR(VXError::ePreconditionFailed, u"Cannot wait for %u objects", count);
    }
    HANDLE handles[kMaxWaitObjects];
    for (uint32_t i = 0; i < count; ++i) {
        if (events[i] == nullptr || events[i]->handle() == nullptr) {
            return VX_ERROR(VXError::eNullPointer, u"Wait object %u has no handle", i);
        }
        handles[i] = events[i]->handle();
    }
    if (!pumpMessages)
        return waitOutcome(WaitForMultipleObjects(count, handles, waitAll, timeoutMs), count, signaledIndex);

    const ULONGLONG start = GetTickCount64();
    for (;;) {
        uint32_t remaining = remainingMs(timeoutMs, start);
        MSG msg;
        while (remaining > 0 && PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
            if (msg.message == WM_QUIT) {
                // Put it back: the caller's own message loop must see it too.
                PostQuitMessage(static_cast<int>(msg.wParam));
                return VX_ERROR(VXThreadError::eCanceled, u"WM_QUIT received while waiting");
            }
            TranslateMessage(&msg);
            DispatchMessageW(&msg);
            remaining = remainingMs(timeoutMs, start);
            const DWORD poll = WaitForMultipleObjects(count, handles, waitAll, 0);
            if (poll != WAIT_TIMEOUT)
                return waitOutcome(poll, count, signaledIndex);
        }
        DWORD wait = WAIT_TIMEOUT;
        if (waitAll) {
            // With wait-all the system call would wait for every object and for input at once.
            // Poll the set instead, which takes the signals only when all are there, and
            // wait for input between polls.
            const DWORD poll = WaitForMultipleObjects(count, handles, TRUE, 0);
            if (poll != WAIT_TIMEOUT || remaining == 0)
                return waitOutcome(poll, count, signaledIndex);
            wait =
                MsgWaitForMultipleObjects(0, nullptr, FALSE, std::min(remaining, kWaitAllPollMs), kAllInput);
            if (wait == WAIT_TIMEOUT)
                continue;
            wait = wait == WAIT_OBJECT_0 ? WAIT_OBJECT_0 + count : wait;
        } else {
            wait = MsgWaitForMultipleObjects(count, handles, FALSE, remaining, kAllInput);
        }
        if (wait != WAIT_OBJECT_0 + count)
            return waitOutcome(wait, count, signaledIndex);
        // Input that keeps arriving must not hold the wait open past its time.
        if (remainingMs(timeoutMs, start) == 0) {
            return waitOutcome(WaitForMultipleObjects(count, handles, waitAll, 0), count, signaledIndex);
        }
    }
}

VXString VXSync::moduleRelativeAddress(const void* address) {
    HMODULE module = nullptr;
    const DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (address == nullptr || !GetModuleHandleExW(flags, static_cast<LPCWSTR>(address), &module))
        return VXString();
    wchar_t path[kModulePathChars];
    const DWORD n = GetModuleFileNameW(module, path, kModulePathChars);
    if (n == 0 || n >= kModulePathChars)
        return VXString();
    const wchar_t* file = path;
    for (const wchar_t* p = path; *p != L'\0'; ++p) {
        if (*p == L'\\' || *p == L'/')
            file = p + 1;
    }
    const auto offset = reinterpret_cast<uintptr_t>(address) - reinterpret_cast<uintptr_t>(module);
    return vxFormat(u"%s+0x%llX", file, static_cast<unsigned long long>(offset));
}

VXString VXSync::stackWalkText(uint32_t skipFrames) {
    // Unwinds from this function's own context with the image's unwind tables, so that it
    // needs no frame pointers and no symbol files.
    CONTEXT context{};
    RtlCaptureContext(&context);
    VXString text;
    uint32_t listed = 0;
    for (uint32_t frame = 0; frame < kMaxStackFrames + skipFrames; ++frame) {
        DWORD64 imageBase = 0;
        PRUNTIME_FUNCTION function = RtlLookupFunctionEntry(context.Rip, &imageBase, nullptr);
        if (function == nullptr) {
            // Only the innermost frame can be a leaf, which keeps its return address at the top
            // of the stack. A caller without unwind data (generated code, a thunk) leaves its
            // return address anywhere in its frame: the walk ends rather than list garbage.
            if (frame > 0)
                break;
            context.Rip = *reinterpret_cast<const DWORD64*>(context.Rsp);
            context.Rsp += sizeof(DWORD64);
        } else {
            void* handlerData = nullptr;
            DWORD64 establisherFrame = 0;
            RtlVirtualUnwind(UNW_FLAG_NHANDLER, imageBase, context.Rip, function, &context, &handlerData,
                             &establisherFrame, nullptr);
        }
        if (context.Rip == 0)
            break;
        if (frame < skipFrames)
            continue;
        const void* address = reinterpret_cast<const void*>(context.Rip);
        if (listed > 0)
            text.append(u"\n");
        text.appendFormat(u"  #%u 0x%p %s", listed++, address, moduleRelativeAddress(address));
    }
    return text;
}
