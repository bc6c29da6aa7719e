// COM start-up for a thread: the apartment or OLE mode a thread asks for, and the scope
// that undoes it when the thread ends.
#pragma once

#include <cstdint>

namespace VXComMode {
enum : int32_t {
    eNone = 0,
    eApartmentThreaded = 2,  // CoInitializeEx with COINIT_APARTMENTTHREADED
    eMultiThreaded = 3,      // CoInitializeEx with COINIT_MULTITHREADED
    eOle = 4,                // OleInitialize
};
}

// Brings COM up on the calling thread in the given mode; other modes do nothing. A
// failure is logged at error level and not returned.
void initializeCom(int32_t mode);

// initializeCom for the life of the object; the matching uninitialisation runs only when
// the start-up succeeded.
class VXComScope {
public:
    explicit VXComScope(int32_t mode);
    ~VXComScope();
    VXComScope(const VXComScope&) = delete;
    VXComScope& operator=(const VXComScope&) = delete;
    bool isInitialized() const { return _initialized; }

private:
    int32_t _mode;
    bool _initialized;
};
