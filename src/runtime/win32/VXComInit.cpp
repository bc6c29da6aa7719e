#include "VXComInit.h"

#include <objbase.h>
#include <ole2.h>

#include "VXLog.h"

namespace {

// COM start-up failures are logged from the place the process start-up reports them.
constexpr const char* kLogFile = "winmain.cpp";
constexpr const char* kLogFunction = "initializeCom";
// The flag words as the start-up has always passed them: the mode number itself for the
// apartment-threaded mode, 0 for the multithreaded one.
constexpr DWORD kApartmentThreadedFlag = 2;
constexpr DWORD kMultiThreadedFlag = 0;

bool initialize(int32_t mode) {
    HRESULT hr = S_OK;
    const char16_t* failure = nullptr;
    switch (mode) {
        case VXComMode::eApartmentThreaded:
            hr = CoInitializeEx(nullptr, kApartmentThreadedFlag);
            failure = u"CoInitializeEx() failed";
            break;
        case VXComMode::eMultiThreaded:
            hr = CoInitializeEx(nullptr, kMultiThreadedFlag);
            failure = u"CoInitializeEx() failed";
            break;
        case VXComMode::eOle:
            hr = OleInitialize(nullptr);
            failure = u"OleInitialize() failed";
            break;
        default:
            return false;
    }
    if (hr < 0) {
        VXLog::log(VXLogLevel::eError, kLogFile, kLogFunction, failure);
        return false;
    }
    return true;
}

}  // namespace

void initializeCom(int32_t mode) {
    initialize(mode);
}

VXComScope::VXComScope(int32_t mode) : _mode(mode), _initialized(initialize(mode)) {}

VXComScope::~VXComScope() {
    if (!_initialized)
        return;
    if (_mode == VXComMode::eOle) {
        OleUninitialize();
    } else {
        CoUninitialize();
    }
}
