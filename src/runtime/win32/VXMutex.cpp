#include "VXMutex.h"

#include <algorithm>

#include "VXChecks.h"
#include "VXGlobalDeadlockEvent.h"
#include "VXRuntimeSwitches.h"

namespace {

constexpr ULONGLONG kMsPerSecond = 1000;

std::atomic<VXMutex::TickSource> gTickSource{nullptr};

ULONGLONG now() {
    const VXMutex::TickSource source = gTickSource.load();
    return source != nullptr ? source() : GetTickCount64();
}

}  // namespace

VXMutex::VXMutex(const char16_t* name, bool initialOwner, int32_t scope) : _createdTick(now()) {
    if (VXSync::makeEventName(VXString(name != nullptr ? name : u""), scope, _name).isError()) {
        VX_LOG(VXLogLevel::eWarning, u"Failed to create mutex \"%s\"", name != nullptr ? name : u"");
        return;
    }
    VXSync::OpenSecurity open;
    SECURITY_ATTRIBUTES* attributes = scope == VXSync::eScopeOpen ? open.attributes() : nullptr;
    _handle = CreateMutexW(attributes, initialOwner ? TRUE : FALSE, VXSync::kernelName(_name, scope));
    const DWORD error = GetLastError();
    if (_handle == nullptr) {
        VX_LOG(VXLogLevel::eWarning, u"Failed to create mutex \"%s\"", _name);
        return;
    }
    // Joining an existing mutex grants no ownership even when it was asked for.
    if (initialOwner && error != ERROR_ALREADY_EXISTS)
        acquired_(true, VX_RETURN_ADDRESS());
}

VXMutex::~VXMutex() {
    if (_recursion > 0)
        VX_LOG(VXLogLevel::eError, u"VXMutex::~VXMutex() Mutex \"%s\" is locked.", _name);
    const int32_t locks = _lockCount.load();
    if (locks > 0) {
        const auto seconds = static_cast<int32_t>((now() - _createdTick) / kMsPerSecond);
        // A mutex younger than a second counts as one second old, so the rate stays finite.
        const int32_t rate = locks / std::max(seconds, 1);
        VX_LOG(VXLogLevel::eDebug, u"Mutex \"%s\" had %d locks in %d seconds (%d locks/second)", _name, locks,
               seconds, rate);
    }
    if (_handle != nullptr)
        CloseHandle(_handle);
}

void VXMutex::setTickSource(TickSource source) {
    gTickSource.store(source);
}

void VXMutex::lock() {
    ++_lockCount;
    if (_handle == nullptr)
        return;
    const void* caller = VX_RETURN_ADDRESS();
    DWORD wait = WAIT_FAILED;
    if (VXRuntimeSwitches::mutexDeadlockDetection() && _deadlockDetection) {
        const uint32_t timeout = VXRuntimeSwitches::deadlockTimeoutMs();
        const ULONGLONG start = now();
        wait = WaitForSingleObject(_handle, timeout);
        if (wait == WAIT_FAILED) {
            VX_ASSERT_MSG(false, u"Locking mutex failed, WAIT_FAILED, lastErr = %u, name: \"%s\"",
                          static_cast<uint32_t>(GetLastError()), _name);
            return;
        }
        if (wait == WAIT_TIMEOUT) {
            if (now() - start < static_cast<ULONGLONG>(timeout) + kSleepGuardMs)
                reportDeadlock_(caller);
            wait = WaitForSingleObject(_handle, INFINITE);
        }
    } else {
        wait = WaitForSingleObject(_handle, INFINITE);
    }
    if (wait == WAIT_OBJECT_0 || wait == WAIT_ABANDONED) {
        acquired_(wait == WAIT_OBJECT_0, caller);
        lockHook_();
    } else {
        VX_ASSERT_MSG(false, u"Locking mutex \"%s\" failed, lastErr = %d", _name,
                      static_cast<int32_t>(GetLastError()));
    }
}

bool VXMutex::tryLock() {
    if (_handle == nullptr)
        return false;
    const DWORD wait = WaitForSingleObject(_handle, 0);
    if (wait == WAIT_OBJECT_0 || wait == WAIT_ABANDONED) {
        acquired_(wait == WAIT_OBJECT_0, VX_RETURN_ADDRESS());
        lockHook_();
        return true;
    }
    if (wait == WAIT_FAILED) {
        VX_ASSERT_MSG(false, u"Trylock on mutex \"%s\" failed, lastErr = %d", _name,
                      static_cast<int32_t>(GetLastError()));
    }
    return false;
}

void VXMutex::unlock() {
    if (_handle == nullptr)
        return;
    // The bookkeeping belongs to the holder and changes before the mutex is free; a thread
    // that does not hold it changes nothing and gets the system's refusal below.
    if (_holderThreadId.load() == GetCurrentThreadId() && _recursion > 0 && --_recursion == 0) {
        _holderThreadId.store(0);
        std::lock_guard<std::mutex> guard(_ownerLock);
        _ownerThreadId.store(0);
        _ownerIdentity.clear();
        _lockedFrom = nullptr;
    }
    if (!ReleaseMutex(_handle)) {
        const DWORD error = GetLastError();
        VXString text;
        VXResult::formatWin32Message(error, text);
        VX_ASSERT_MSG(false, u"ReleaseMutex(\"%s\") failed - %s", _name, text);
    }
}

void VXMutex::acquired_(bool recordOwner, const void* lockedFrom) {
    const uint32_t self = GetCurrentThreadId();
    if (_holderThreadId.load() == self) {
        ++_recursion;
    } else {
        // Free before, or its holder died holding it: a new count begins.
        _holderThreadId.store(self);
        _recursion = 1;
    }
    if (!recordOwner)
        return;
    std::lock_guard<std::mutex> guard(_ownerLock);
    _ownerIdentity = VXLog::threadIdentity();
    _ownerThreadId.store(self);
    _lockedFrom = lockedFrom;
}

void VXMutex::reportDeadlock_(const void* caller) {
    uint32_t ownerId = 0;
    VXString ownerIdentity;
    const void* lockedFrom = nullptr;
    {
        std::lock_guard<std::mutex> guard(_ownerLock);
        ownerId = _ownerThreadId.load();
        ownerIdentity = _ownerIdentity;
        lockedFrom = _lockedFrom;
    }
    VX_LOG(VXLogLevel::eCritical,
           u"Deadlock detected while trying to lock mutex %s, owned by thread 0x%08X(%s).", _name, ownerId,
           ownerIdentity);
    VX_LOG(VXLogLevel::eWarning, u"Locked from: 0x%X: %s", lockedFrom,
           VXSync::moduleRelativeAddress(lockedFrom));
    VX_LOG(VXLogLevel::eCritical, u"Current thread context:");
    VX_LOG(VXLogLevel::eCritical, u"%s", VXSync::stackWalkText(1));
    VX_LOG(VXLogLevel::eCritical, u"Current thread return address: 0x%p: %s", caller,
           VXSync::moduleRelativeAddress(caller));
    VXGlobalDeadlockEvent::setGlobalDeadlockEvent();
}
