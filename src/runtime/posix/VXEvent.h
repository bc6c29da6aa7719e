// A named event between processes that behaves like a Windows auto-reset event: set on a set
// event leaves one signal, a wait takes the signal (one waiter per set), waits have a time-out
// in milliseconds. It is one 32-bit futex word in a small shared-memory object of its own name
// (0: not set, anything else: set); no lock is ever held, so a process that dies while holding
// the event leaves it usable. A named semaphore would count repeated sets, an event does not.
//
// Ownership: held through std::shared_ptr; the object unmaps the word when it goes, and removes
// the name too when it created it (VXSharedMapping's rule). set, reset, isSignaled and wait may
// be called from any thread of any process that has the event open.
#pragma once

#include <cstdint>
#include <memory>

#include "VXResult.h"
#include "VXSharedMapping.h"
#include "VXString.h"

class VXEvent {
public:
    // Bytes of the shared object: the word at offset 0, the rest reserved (zero).
    static constexpr size_t kObjectSize = 64;
    // A wait without a time-out, as on Windows.
    static constexpr uint32_t kInfinite = 0xFFFFFFFF;

    VXEvent(const VXEvent&) = delete;
    VXEvent& operator=(const VXEvent&) = delete;

    // Creates (not set) or opens the event `name` as `mode` says (VXSharedMapping's names,
    // modes and failures). On failure `event` is left as it was.
    static VXResult create(const VXString& name, VXSharedMapping::Open mode, std::shared_ptr<VXEvent>& event);

    VXResult set();
    VXResult reset();
    // VXStatus::eYes when set (the signal is taken, as a zero wait on Windows takes it),
    // VXStatus::eNo otherwise.
    VXResult isSignaled();
    // 2000 when the signal was taken, 2024 (bare) on time-out, the errno result of "futex"
    // when the system refuses the wait.
    VXResult wait(uint32_t timeoutMs);

    const VXString& name() const { return _name; }
    // This object made the name (and removes it when it goes).
    bool created() const { return _mapping->created(); }
    // Removes the name now; the event stays usable by those who hold it.
    VXResult remove() { return _mapping->remove(); }
    VXSharedMapping& mapping() const { return *_mapping; }

private:
    VXEvent(const VXString& name, std::unique_ptr<VXSharedMapping> mapping);
    uint32_t* word() const;

    VXString _name;
    std::unique_ptr<VXSharedMapping> _mapping;
};
