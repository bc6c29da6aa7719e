// VXThread: the runtime's worker thread. Created suspended with a name that every message
// carries, started explicitly, asked to stop through an event, joined with a timeout (an
// infinite join is watched for deadlocks) and, as a last resort, terminated.
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <memory>

#include "VXComInit.h"
#include "VXEvent.h"
#include "VXMutex.h"
#include "VXResult.h"
#include "VXString.h"

class VXThread {
public:
    enum State : int32_t { eCreated = 1, eRunning = 2, eFinished = 3, eTerminated = 4 };
    // A body given as a function sees only the thread's events, never the VXThread object,
    // so that the thread stays safe even when its owner destroys the object too early.
    using Body = std::function<VXResult(VXEvent& stop, VXEvent& interrupt)>;

    // The thread exists, suspended, when the constructor returns (unless creation failed,
    // which is reported as an assertion). comMode is handed to initializeCom on the thread.
    explicit VXThread(const VXString& name, Body body = nullptr, int32_t comMode = VXComMode::eNone,
                      int32_t priority = THREAD_PRIORITY_NORMAL);
    // A thread still running is reported and left running; its handle is closed.
    virtual ~VXThread();
    VXThread(const VXThread&) = delete;
    VXThread& operator=(const VXThread&) = delete;

    VXResult start();
    // Sets the stop event; the body polls or waits on it.
    void stop();
    // Sets the interrupt event.
    void interrupt();
    // 2000 when the thread ended, 2024 on timeout, 3001 for a thread never started (when
    // notStartedIsError), 3002 for a join from the thread itself.
    VXResult join(uint32_t timeoutMs = INFINITE, bool watchForDeadlock = true,
                  bool notStartedIsError = false);
    // Joins; a join that times out or fails is reported and the thread terminated.
    VXResult joinElseTerminate(uint32_t timeoutMs);
    VXResult terminate();
    VXResult setPriority(int32_t priority);
    VXResult getPriority(int32_t& priority) const;
    // VXStatus::eYes while the started thread has not ended, VXStatus::eNo otherwise.
    VXResult isRunning() const;

    const VXString& name() const { return _name; }
    DWORD threadId() const { return _threadId; }
    HANDLE handle() const { return _handle; }
    int32_t state() const;
    // What the body returned; 2000 until it has.
    VXResult result() const;
    VXEvent& stopEvent();
    VXEvent& interruptEvent();
    bool isStopRequested();
    // True when stop was requested within the time.
    bool waitForStop(uint32_t timeoutMs);

protected:
    // The body of a derived thread; the default runs the function given to the constructor.
    virtual VXResult run();
    // The wait on the handle of a thread being terminated, made outside the state mutex; a
    // derived thread may do more while it waits.
    virtual DWORD waitForEnd(uint32_t timeoutMs);

private:
    // What the running thread touches: shared with it, so that it outlives this object.
    struct Shared;
    struct Start;

    static unsigned __stdcall threadMain_(void* parameter);
    VXResult wait_(uint32_t timeoutMs, bool watchForDeadlock);
    VXResult joinElseTerminate2(uint32_t timeoutMs, const void* caller);
    void reportJoinDeadlock_(const void* caller);

    std::shared_ptr<Shared> _shared;
    Start* _start = nullptr;  // owned here until the thread is started, then by the thread
    HANDLE _handle = nullptr;
    VXString _name;
    DWORD _threadId = 0;
    int32_t _priority;
};
