// Vistrel::CancelSignal: wakes a host's wait for an answer from any thread. A capture arms it
// when it begins; cancel() sets it; stop() sets it for good (the host is closing).
#pragma once

#include <cstdint>
#include <mutex>

#include "VXResult.h"

namespace Vistrel {

class CancelSignal {
public:
    CancelSignal();
    ~CancelSignal();
    CancelSignal(const CancelSignal&) = delete;
    CancelSignal& operator=(const CancelSignal&) = delete;

    // Called by the capture as it begins: false once stop() was called.
    bool arm();
    void disarm();
    // Any thread. Wakes the capture in progress; does nothing when none is.
    void cancel();
    // Any thread. Wakes the capture in progress and refuses every later one.
    void stop();
    bool stopped() const;
    // What the platform's wait takes: an event HANDLE, or a descriptor that polls readable.
    intptr_t waitable() const { return _waitable; }

private:
    void set_();
    void reset_();

    mutable std::mutex _lock;
    bool _armed = false;
    bool _stopped = false;
    intptr_t _waitable = -1;
    intptr_t _other = -1;  // posix: the write side of the self-pipe
};

}  // namespace Vistrel
