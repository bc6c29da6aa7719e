#include "VXEvent.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <new>

#include "VXChecks.h"

namespace {

std::atomic_ref<uint32_t> atomicWord(uint32_t* word) {
    return std::atomic_ref<uint32_t>(*word);
}

// Takes the signal if there is one; any non-zero word is a signal.
bool take(uint32_t* word) {
    std::atomic_ref<uint32_t> state = atomicWord(word);
    uint32_t value = state.load(std::memory_order_acquire);
    while (value != 0) {
        if (state.compare_exchange_weak(value, 0, std::memory_order_acq_rel, std::memory_order_acquire))
            return true;
    }
    return false;
}

// Shared (not private) futex operations: the word lives in memory other processes map.
long futexWait(uint32_t* word, const timespec* deadline) {
    return syscall(SYS_futex, word, FUTEX_WAIT_BITSET, 0u, deadline, nullptr, FUTEX_BITSET_MATCH_ANY);
}

long futexWakeAll(uint32_t* word) {
    return syscall(SYS_futex, word, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

timespec deadlineAfter(uint32_t timeoutMs) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    constexpr long kNsPerSecond = 1000000000L;
    long nanoseconds = now.tv_nsec + static_cast<long>(timeoutMs % 1000) * 1000000L;
    timespec deadline{};
    deadline.tv_sec = now.tv_sec + static_cast<time_t>(timeoutMs / 1000) + nanoseconds / kNsPerSecond;
    deadline.tv_nsec = nanoseconds % kNsPerSecond;
    return deadline;
}

}  // namespace

VXEvent::VXEvent(const VXString& name, std::unique_ptr<VXSharedMapping> mapping)
    : _name(name), _mapping(std::move(mapping)) {}

VXResult VXEvent::create(const VXString& name, VXSharedMapping::Open mode, std::shared_ptr<VXEvent>& event) {
    std::unique_ptr<VXSharedMapping> mapping;
    VX_RETURN_IF_ERROR(VXSharedMapping::create(name, kObjectSize, mode, mapping));
    std::shared_ptr<VXEvent> made(new (std::nothrow) VXEvent(name, std::move(mapping)));
    if (!made)
        return VX_ERROR(VXError::eNoMemory, u"No memory for event \"%s\"", name);
    event = std::move(made);
    return VXError::eNoError;
}

uint32_t* VXEvent::word() const {
    return reinterpret_cast<uint32_t*>(_mapping->data());
}

VXResult VXEvent::set() {
    // A waiter woken for a signal that another took sleeps again; waking every sleeper means a
    // waiter that died between its wake and its take cannot strand the signal.
    if (atomicWord(word()).exchange(1, std::memory_order_acq_rel) == 0 && futexWakeAll(word()) < 0)
        return VX_CRT_ERROR(u"futex", errno);
    return VXError::eNoError;
}

VXResult VXEvent::reset() {
    atomicWord(word()).store(0, std::memory_order_release);
    return VXError::eNoError;
}

VXResult VXEvent::isSignaled() {
    return take(word()) ? VXStatus::eYes : VXStatus::eNo;
}

VXResult VXEvent::wait(uint32_t timeoutMs) {
    const bool infinite = timeoutMs == kInfinite;
    const timespec deadline = infinite ? timespec{} : deadlineAfter(timeoutMs);
    for (;;) {
        if (take(word()))
            return VXError::eNoError;
        if (futexWait(word(), infinite ? nullptr : &deadline) == 0)
            continue;
        // EAGAIN: the word changed before the wait began; EINTR: a signal handler ran.
        if (errno == EAGAIN || errno == EINTR)
            continue;
        if (errno == ETIMEDOUT)
            return take(word()) ? VXResult(VXError::eNoError) : VXResult(VXError::eTimeout);
        return VX_CRT_ERROR(u"futex", errno);
    }
}
