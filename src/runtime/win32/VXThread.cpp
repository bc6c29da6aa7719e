#include "VXThread.h"

#include <process.h>

#include <cerrno>

#include "VXChecks.h"
#include "VXCrashHandler.h"
#include "VXLog.h"
#include "VXRuntimeSwitches.h"
#include "VXSync.h"

namespace {

constexpr const char16_t* kStopEventName = u"VXThread::_evStopThread";
constexpr const char16_t* kInterruptEventName = u"VXThread::_evInterrupt";
constexpr const char16_t* kMutexSuffix = u"::_mutex";
constexpr int kTooManyThreads = 11;    // EAGAIN
constexpr int kInvalidParameter = 22;  // EINVAL
constexpr DWORD kTerminatedExitCode = 1;
constexpr int32_t kPriorities[] = {THREAD_PRIORITY_IDLE,         THREAD_PRIORITY_LOWEST,
                                   THREAD_PRIORITY_BELOW_NORMAL, THREAD_PRIORITY_NORMAL,
                                   THREAD_PRIORITY_ABOVE_NORMAL, THREAD_PRIORITY_HIGHEST,
                                   THREAD_PRIORITY_TIME_CRITICAL};

bool isPriority(int32_t priority) {
    for (int32_t p : kPriorities) {
        if (p == priority)
            return true;
    }
    return false;
}

uint64_t addressValue(const void* address) {
    return reinterpret_cast<uintptr_t>(address);
}

}  // namespace

struct VXThread::Shared {
    Shared(const VXString& name, Body threadBody, int32_t mode)
        : mutex((name + kMutexSuffix).c_str()),
          stopEvent(kStopEventName, true, VXSync::eScopeUnnamed),
          interruptEvent(kInterruptEventName, true, VXSync::eScopeUnnamed),
          body(std::move(threadBody)),
          comMode(mode),
          threadName(name) {}

    VXMutex mutex;  // guards state and result
    int32_t state = eCreated;
    VXResult result;
    VXEvent stopEvent;
    VXEvent interruptEvent;
    Body body;
    int32_t comMode;
    VXString threadName;
};

struct VXThread::Start {
    VXThread* owner;  // touched only for a derived body, never for a function body
    std::shared_ptr<Shared> shared;
};

VXThread::VXThread(const VXString& name, Body body, int32_t comMode, int32_t priority)
    : _shared(std::make_shared<Shared>(name, std::move(body), comMode)), _name(name), _priority(priority) {
    _start = new Start{this, _shared};
    unsigned threadId = 0;
    const uintptr_t handle = _beginthreadex(nullptr, 0, threadMain_, _start, CREATE_SUSPENDED, &threadId);
    if (handle == 0) {
        const int error = errno;
        delete _start;
        _start = nullptr;
        VXAssert::failedWith(VX_SITE, u"Thread was not created, errno = %d%s.", error,
                             error == kTooManyThreads     ? u" (too many threads)"
                             : error == kInvalidParameter ? u" (invalid parameter)"
                                                          : u"");
        return;
    }
    _handle = reinterpret_cast<HANDLE>(handle);
    _threadId = threadId;
    if (priority != THREAD_PRIORITY_NORMAL)
        setPriority(priority).logIfError(VX_SITE);
}

VXThread::~VXThread() {
    if (_handle == nullptr)
        return;
    const int32_t current = state();
    if (current == eCreated) {
        // Never started: the suspended thread has run no code, and nothing else would end it.
        TerminateThread(_handle, kTerminatedExitCode);
        WaitForSingleObject(_handle, INFINITE);
    } else if (current == eRunning && WaitForSingleObject(_handle, 0) == WAIT_TIMEOUT) {
        VX_LOG_ERROR(u"Thread %d(0x%x) \"%s\" is destroyed while still running. Return address = 0x%X",
                     _threadId, _threadId, _name, addressValue(VX_RETURN_ADDRESS()));
    }
    CloseHandle(_handle);
    delete _start;
}

unsigned __stdcall VXThread::threadMain_(void* parameter) {
    std::unique_ptr<Start> start(static_cast<Start*>(parameter));
    Shared& shared = *start->shared;
    VXLog::setCurrentThreadName(shared.threadName);
    VXCrashHandler::reserveHandlerStack();
    VXResult result;
    {
        VXComScope com(shared.comMode);
        result = shared.body ? shared.body(shared.stopEvent, shared.interruptEvent) : start->owner->run();
    }
    VXLog::flush();
    VXMutexLock guard(shared.mutex);
    shared.result = result;
    if (shared.state == eRunning)
        shared.state = eFinished;
    return result.isError() ? 1 : 0;
}

VXResult VXThread::run() {
    return VXError::eNoError;
}

int32_t VXThread::state() const {
    VXMutexLock guard(_shared->mutex);
    return _shared->state;
}

VXResult VXThread::result() const {
    VXMutexLock guard(_shared->mutex);
    return _shared->result;
}

VXEvent& VXThread::stopEvent() {
    return _shared->stopEvent;
}

VXEvent& VXThread::interruptEvent() {
    return _shared->interruptEvent;
}

bool VXThread::isStopRequested() {
    return _shared->stopEvent.isSignaled().code() == VXStatus::eYes;
}

bool VXThread::waitForStop(uint32_t timeoutMs) {
    return _shared->stopEvent.wait(timeoutMs).isSuccess();
}

VXResult VXThread::start() {
    VXMutexLock guard(_shared->mutex);
    if (_shared->state != eCreated) {
        VXAssert::failedWith(VX_SITE, u"Thread \"%s\" was not ready to run, state=%d", _name, _shared->state);
        return VX_ERROR(VXError::eBadStatus, u"Thread \"%s\" was not ready to run, state=%d", _name,
                        _shared->state);
    }
    if (_handle == nullptr) {
        VXAssert::failedWith(VX_SITE, u"Thread \"%s\" handle is NULL", _name);
        return VX_ERROR(VXError::eBadHandle, u"Thread \"%s\" handle is NULL", _name);
    }
    const DWORD previous = ResumeThread(_handle);
    if (previous == static_cast<DWORD>(-1))
        return VX_WIN32_ERROR(u"ResumeThread");
    if (previous == 0) {
        // Something else let it run: it has taken its start record and is running, which
        // its state must say, or the destructor would terminate it as never started.
        _start = nullptr;
        _shared->state = eRunning;
        return VX_ERROR(VXError::eBadStatus, u"Thread \"%s\" was not suspended", _name);
    }
    _shared->state = eRunning;
    _start = nullptr;
    return VXError::eNoError;
}

void VXThread::stop() {
    _shared->stopEvent.set().logIfError(VX_SITE);
}

void VXThread::interrupt() {
    _shared->interruptEvent.set().logIfError(VX_SITE);
}

VXResult VXThread::join(uint32_t timeoutMs, bool watchForDeadlock, bool notStartedIsError) {
    if (_handle == nullptr) {
        VXAssert::failedWith(VX_SITE, u"Join to thread \"%s\" called on NULL thread.", _name);
        return VX_ERROR(VXError::eBadHandle, u"Join to thread \"%s\" called on NULL thread.", _name);
    }
    {
        VXMutexLock guard(_shared->mutex);
        if (_shared->state == eCreated) {
            VX_LOG_DEBUG(u"join_() called on thread \"%s\" before it has been started.", _name);
            if (notStartedIsError) {
                return VX_ERROR(VXThreadError::eNotRunning, u"Thread \"%s\" has not been started", _name);
            }
        } else if (_shared->state == eRunning && GetCurrentThreadId() == _threadId) {
            return VX_ERROR(VXThreadError::eCantJoinCurrent, u"Thread \"%s\" cannot join itself", _name);
        }
    }
    return wait_(timeoutMs, watchForDeadlock);
}

VXResult VXThread::wait_(uint32_t timeoutMs, bool watchForDeadlock) {
    DWORD wait = WAIT_TIMEOUT;
    if (timeoutMs == INFINITE && watchForDeadlock && VXRuntimeSwitches::threadJoinDeadlockDetection()) {
        wait = WaitForSingleObject(_handle, VXRuntimeSwitches::deadlockTimeoutMs());
        if (wait == WAIT_TIMEOUT) {
            reportJoinDeadlock_(VX_RETURN_ADDRESS());
            wait = WaitForSingleObject(_handle, timeoutMs);
        }
    } else {
        wait = WaitForSingleObject(_handle, timeoutMs);
    }
    switch (wait) {
        case WAIT_OBJECT_0:
            return VXError::eNoError;
        case WAIT_TIMEOUT:
            return VX_ERROR(VXError::eTimeout, u"Thread \"%s\" did not end within %u ms", _name, timeoutMs);
        case WAIT_FAILED: {
            const DWORD error = GetLastError();
            VXAssert::failedWith(VX_SITE, u"Waiting on thread \"%s\" failed", _name);
            return VX_WIN32_ERROR_CODE(u"WaitForSingleObject", error);
        }
        default:
            return VXError::eSomeError;
    }
}

void VXThread::reportJoinDeadlock_(const void* caller) {
    VX_LOG(VXLogLevel::eCritical,
           u"Deadlock detected while waiting on thread \"%s\" with handle 0x%p and thread id 0x%08X", _name,
           _handle, _threadId);
    VX_LOG(VXLogLevel::eCritical, u"Current thread context:");
    VX_LOG(VXLogLevel::eCritical, u"%s", VXSync::stackWalkText(1));
    VX_LOG(VXLogLevel::eCritical, u"Current thread return address: 0x%llX: %s", addressValue(caller),
           VXSync::moduleRelativeAddress(caller));
}

VXResult VXThread::joinElseTerminate(uint32_t timeoutMs) {
    return joinElseTerminate2(timeoutMs, VX_RETURN_ADDRESS());
}

VXResult VXThread::joinElseTerminate2(uint32_t timeoutMs, const void* caller) {
    VXResult joined = join(timeoutMs, true, true);  // returned as it is: moved, not copied
    if (joined.isSuccess())
        return joined;
    // Neither a thread joining itself nor one without a handle can be terminated here.
    const bool terminating =
        joined.code() != VXThreadError::eCantJoinCurrent && joined.code() != VXError::eBadHandle;
    {
        VXMutexLock guard(_shared->mutex);
        if (joined.code() == VXError::eTimeout) {
            VX_LOG_ERROR(
                u"Waiting on thread \"%s\" with handle 0x%p timed out (timeout = %d, return address = 0x%X). "
                u"The thread will be terminated.",
                _name, _handle, timeoutMs, addressValue(caller));
            VX_LOG_WARNING(u"join_() timed out for thread \"%s\".", _name);
        } else if (terminating) {
            VX_LOG_ERROR(
                u"Waiting on thread \"%s\" with handle 0x%p failed (return address = 0x%X). The thread will "
                u"be terminated.",
                _name, _handle, addressValue(caller));
        } else {
            VX_LOG_ERROR(u"Waiting on thread \"%s\" with handle 0x%p failed (return address = 0x%X).", _name,
                         _handle, addressValue(caller));
        }
    }
    if (!terminating)
        return VX_CHAIN(joined);
    VX_RETURN_IF_ERROR(terminate());
    return VX_CHAIN(joined);
}

VXResult VXThread::terminate() {
    if (_handle == nullptr) {
        VXAssert::failedWith(VX_SITE, u"Thread \"%s\" handle is NULL", _name);
        return VX_ERROR(VXError::eBadHandle, u"Thread \"%s\" handle is NULL", _name);
    }
    bool neverStarted = false;
    {
        VXMutexLock guard(_shared->mutex);
        switch (_shared->state) {
            case eCreated:
                VX_LOG_WARNING(u"Thread \"%s\" being terminated was not started.", _name);
                VXAssert::failedWith(VX_SITE, u"Thread \"%s\" is being terminated, but has not been started.",
                                     _name);
                break;
            case eRunning:
            case eFinished:
            case eTerminated:
                break;
            default:
                VXAssert::failedWith(VX_SITE, u"Unexpected thread state %d", _shared->state);
                break;
        }
        if (_shared->state == eFinished || _shared->state == eTerminated)
            return VXError::eNoError;
        neverStarted = _shared->state == eCreated;
        if (!TerminateThread(_handle, kTerminatedExitCode))
            return VX_WIN32_ERROR(u"TerminateThread");
    }
    // Outside the state mutex: others may ask for the state while the thread goes.
    if (waitForEnd(INFINITE) == WAIT_FAILED) {
        const DWORD error = GetLastError();
        VXAssert::failedWith(VX_SITE, u"Waiting on terminated thread failed");
        return VX_WIN32_ERROR_CODE(u"WaitForSingleObject", error);
    }
    VXMutexLock guard(_shared->mutex);
    if (neverStarted) {
        delete _start;  // the thread never ran to take it
        _start = nullptr;
    }
    _shared->state = eTerminated;
    return VXError::eNoError;
}

DWORD VXThread::waitForEnd(uint32_t timeoutMs) {
    return WaitForSingleObject(_handle, timeoutMs);
}

VXResult VXThread::setPriority(int32_t priority) {
    if (_handle == nullptr)
        return VX_ERROR(VXError::eBadHandle, u"Invalid thread handle!");
    if (!isPriority(priority))
        return VX_ERROR(VXError::eBadParameter, u"Invalid priority passed to VXThread::setPriority!");
    if (!SetThreadPriority(_handle, priority))
        return VX_WIN32_ERROR(u"::SetThreadPriority( _handle, nPriority )");
    _priority = priority;
    return VXError::eNoError;
}

VXResult VXThread::getPriority(int32_t& priority) const {
    if (_handle == nullptr)
        return VX_ERROR(VXError::eBadHandle, u"Invalid thread handle!");
    const int value = GetThreadPriority(_handle);
    if (value == THREAD_PRIORITY_ERROR_RETURN)
        return VX_WIN32_ERROR(u"::GetThreadPriority( _handle )");
    if (!isPriority(value))
        return VX_ERROR(VXError::eUnexpected, u"Unexpected thread priority %d", value);
    priority = value;
    return VXError::eNoError;
}

VXResult VXThread::isRunning() const {
    if (_handle == nullptr || state() != eRunning)
        return VXStatus::eNo;
    switch (WaitForSingleObject(_handle, 0)) {
        case WAIT_TIMEOUT:
            return VXStatus::eYes;
        case WAIT_OBJECT_0:
            return VXStatus::eNo;
        default: {
            VXResult failure = VX_WIN32_ERROR(u"WaitForSingleObject");
            failure.addContext(u"Can't determine thread \"%s\" running state", _name);
            return failure;
        }
    }
}
