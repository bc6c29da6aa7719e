#include "VXPlatform.h"

#include <atomic>
#include <cerrno>
#include <chrono>

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>
#endif

namespace {

// Constant-initialised, so that it holds before any static initialiser logs.
std::atomic<bool> gInitialized{true};

}  // namespace

namespace VXPlatform {

void initialize() {
    gInitialized = true;
}

void shutdown() {
    gInitialized = false;
}

bool isInitialized() {
    return gInitialized.load();
}

uint32_t currentThreadId() {
#ifdef _WIN32
    return GetCurrentThreadId();
#else
    return static_cast<uint32_t>(syscall(SYS_gettid));
#endif
}

uint64_t monotonicMicroseconds() {
    using namespace std::chrono;
    return static_cast<uint64_t>(duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count());
}

VXSystemTime utcNow() {
    VXSystemTime t;
#ifdef _WIN32
    SYSTEMTIME st;
    GetSystemTime(&st);
    t.year = st.wYear;
    t.month = st.wMonth;
    t.dayOfWeek = st.wDayOfWeek;
    t.day = st.wDay;
    t.hour = st.wHour;
    t.minute = st.wMinute;
    t.second = st.wSecond;
    t.milliseconds = st.wMilliseconds;
#else
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    tm parts{};
    gmtime_r(&ts.tv_sec, &parts);
    t.year = static_cast<uint16_t>(parts.tm_year + 1900);
    t.month = static_cast<uint16_t>(parts.tm_mon + 1);
    t.dayOfWeek = static_cast<uint16_t>(parts.tm_wday);
    t.day = static_cast<uint16_t>(parts.tm_mday);
    t.hour = static_cast<uint16_t>(parts.tm_hour);
    t.minute = static_cast<uint16_t>(parts.tm_min);
    t.second = static_cast<uint16_t>(parts.tm_sec);
    t.milliseconds = static_cast<uint16_t>(ts.tv_nsec / 1000000);
#endif
    return t;
}

int32_t lastOsError() {
#ifdef _WIN32
    return static_cast<int32_t>(GetLastError());
#else
    return errno;
#endif
}

void setLastOsError(int32_t error) {
#ifdef _WIN32
    SetLastError(static_cast<DWORD>(error));
#else
    errno = error;
#endif
}

#ifdef _WIN32
static_assert(kNoThreadSlot == FLS_OUT_OF_INDEXES);

uint32_t allocateThreadSlot(void (*destroy)(void*)) {
    return FlsAlloc(destroy);
}

void* threadSlotValue(uint32_t slot) {
    return FlsGetValue(slot);
}

void setThreadSlotValue(uint32_t slot, void* value) {
    FlsSetValue(slot, value);
}
#endif

void raiseFatalPrecondition() {
#ifdef _WIN32
    RaiseException(kFatalPreconditionException, 0, 0, nullptr);
#endif
}

}  // namespace VXPlatform
