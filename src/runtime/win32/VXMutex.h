// A kernel mutex with deadlock detection: a lock that waits longer than the process-wide
// deadlock timeout is reported once (owner, where the owner locked it, the waiting stack)
// and then waits on without limit. Keeps lock statistics for the destructor's report.
// Lock failures are programming or system faults and are reported as assertions.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <mutex>

#include "VXString.h"
#include "VXSync.h"

class VXMutex {
public:
    // Time after the deadlock timeout within which a timed-out wait still counts as a
    // deadlock; a longer gap means the machine slept meanwhile.
    static constexpr uint32_t kSleepGuardMs = 4000;
    using TickSource = ULONGLONG (*)();

    // The scope follows the event naming rule; the default keeps the kernel object unnamed so
    // that two mutexes with one name in different objects or processes stay apart.
    explicit VXMutex(const char16_t* name = nullptr, bool initialOwner = false,
                     int32_t scope = VXSync::eScopeUnnamed);
    // Reports a mutex destroyed while held, and writes the lock statistics (debug level) of
    // every mutex that was locked at least once.
    virtual ~VXMutex();
    VXMutex(const VXMutex&) = delete;
    VXMutex& operator=(const VXMutex&) = delete;

    void lock();
    bool tryLock();
    void unlock();

    // This mutex's own switch; detection needs both it and the process-wide one.
    void setDeadlockDetection(bool enabled) { _deadlockDetection = enabled; }
    const VXString& name() const { return _name; }
    HANDLE handle() const { return _handle; }
    uint32_t ownerThreadId() const { return _ownerThreadId.load(); }
    int32_t lockCount() const { return _lockCount.load(); }

    // The clock of the deadlock timing (GetTickCount64 unless a test replaces it; null restores).
    static void setTickSource(TickSource source);

protected:
    // Called after every successful or abandoned acquisition, on the locking thread.
    virtual void lockHook_() {}

private:
    // Counts an acquisition by the current thread; the owner fields are recorded only for a
    // clean one (an abandoned mutex keeps its dead owner's record as a clue).
    void acquired_(bool recordOwner, const void* lockedFrom);
    void reportDeadlock_(const void* caller);

    HANDLE _handle = nullptr;
    VXString _name;
    // Guards the owner fields against a deadlock report reading them while they change.
    std::mutex _ownerLock;
    VXString _ownerIdentity;
    std::atomic<uint32_t> _ownerThreadId{0};
    const void* _lockedFrom = nullptr;
    // The thread that holds the mutex now and how often; only that thread changes them.
    std::atomic<uint32_t> _holderThreadId{0};
    uint32_t _recursion = 0;
    std::atomic<int32_t> _lockCount{0};
    ULONGLONG _createdTick = 0;
    bool _deadlockDetection = true;
};

// Locks for the lifetime of the object.
class VXMutexLock {
public:
    explicit VXMutexLock(VXMutex& mutex) : _mutex(mutex) { _mutex.lock(); }
    ~VXMutexLock() { _mutex.unlock(); }
    VXMutexLock(const VXMutexLock&) = delete;
    VXMutexLock& operator=(const VXMutexLock&) = delete;

private:
    VXMutex& _mutex;
};
