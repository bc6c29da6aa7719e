// The few facts of the running platform the portable runtime needs: thread identity,
// clocks, the last OS error and the fatal-precondition exception.
#pragma once

#include <cstdint>

struct VXSystemTime {
    uint16_t year = 0;
    uint16_t month = 0;  // 1..12
    uint16_t dayOfWeek = 0;
    uint16_t day = 0;  // 1..31
    uint16_t hour = 0;
    uint16_t minute = 0;
    uint16_t second = 0;
    uint16_t milliseconds = 0;
};

namespace VXPlatform {

// The platform layer is initialised from static initialisation until the runtime shuts it
// down; outside that, thread facts are not asked for.
void initialize();
void shutdown();
bool isInitialized();

uint32_t currentThreadId();
// Monotonic clock in microseconds; only differences are meaningful.
uint64_t monotonicMicroseconds();
VXSystemTime utcNow();
// GetLastError on Windows, errno elsewhere.
int32_t lastOsError();
void setLastOsError(int32_t error);
// The structured exception code of a failed fatal precondition.
constexpr uint32_t kFatalPreconditionException = 0xE000000A;
// Windows only: a fiber-local slot whose destroy callback runs at thread exit for a value that
// is not null (see VXThreadLocal).
constexpr uint32_t kNoThreadSlot = 0xFFFFFFFF;
uint32_t allocateThreadSlot(void (*destroy)(void*));
void* threadSlotValue(uint32_t slot);
void setThreadSlotValue(uint32_t slot, void* value);
// Raises kFatalPreconditionException on Windows (continuable); does nothing elsewhere.
void raiseFatalPrecondition();

}  // namespace VXPlatform
