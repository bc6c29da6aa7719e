#include "MonitorList.h"

#include <windows.h>

#include <algorithm>

#include "VXChecks.h"
#include "VXPlatform.h"

namespace Vistrel {

namespace {

// DPI_AWARENESS_CONTEXT values; taken by value so that older SDK headers need not declare them.
const HANDLE kPerMonitorAwareV2 = reinterpret_cast<HANDLE>(static_cast<intptr_t>(-4));
const HANDLE kPerMonitorAware = reinterpret_cast<HANDLE>(static_cast<intptr_t>(-3));

using SetThreadDpiAwarenessContextFn = HANDLE(WINAPI*)(HANDLE);

// Per-monitor awareness for this thread while it lives: without it a DPI-unaware host would
// get scaled bounds that do not match the server's physical rectangle.
class PerMonitorAwareness {
public:
    PerMonitorAwareness() {
        const HMODULE user32 = GetModuleHandleW(L"user32.dll");
        if (user32 == nullptr)
            return;
        _set = reinterpret_cast<SetThreadDpiAwarenessContextFn>(
            reinterpret_cast<void*>(GetProcAddress(user32, "SetThreadDpiAwarenessContext")));
        if (_set == nullptr)
            return;
        _previous = _set(kPerMonitorAwareV2);
        if (_previous == nullptr)  // V2 came with Windows 10 1703
            _previous = _set(kPerMonitorAware);
    }
    ~PerMonitorAwareness() {
        if (_previous != nullptr)
            _set(_previous);
    }
    PerMonitorAwareness(const PerMonitorAwareness&) = delete;
    PerMonitorAwareness& operator=(const PerMonitorAwareness&) = delete;

private:
    SetThreadDpiAwarenessContextFn _set = nullptr;
    HANDLE _previous = nullptr;
};

struct Enumeration {
    std::vector<MonitorInfo>* monitors;
    VXResult failure;
};

VXRect toRect(const RECT& r) {
    return VXRect(r.left, r.top, r.right, r.bottom);
}

BOOL CALLBACK addMonitor(HMONITOR monitor, HDC, LPRECT, LPARAM param) {
    auto* e = reinterpret_cast<Enumeration*>(param);
    MONITORINFOEXW info{};
    info.cbSize = sizeof(info);
    if (!GetMonitorInfoW(monitor, &info)) {
        e->failure = VX_WIN32_ERROR(u"GetMonitorInfo");
        return FALSE;
    }
    MonitorInfo m;
    m.bounds = toRect(info.rcMonitor);
    m.workArea = toRect(info.rcWork);
    m.primary = (info.dwFlags & MONITORINFOF_PRIMARY) != 0;
    m.deviceName = VXString::fromWide(info.szDevice);
    e->monitors->push_back(std::move(m));
    return TRUE;
}

}  // namespace

VXResult MonitorList::list(std::vector<MonitorInfo>& monitors, VXRect& virtualScreen) {
    PerMonitorAwareness awareness;
    std::vector<MonitorInfo> found;
    Enumeration e{&found, VXError::eNoError};
    const BOOL enumerated = EnumDisplayMonitors(nullptr, nullptr, addMonitor, reinterpret_cast<LPARAM>(&e));
    if (e.failure.isError())
        return e.failure;
    if (!enumerated)
        return VX_WIN32_ERROR(u"EnumDisplayMonitors");
    if (found.empty())
        return VX_ERROR(VXError::eNotFound, u"No display monitor");
    std::stable_partition(found.begin(), found.end(), [](const MonitorInfo& m) { return m.primary; });
    VXRect all = found.front().bounds;
    for (const MonitorInfo& m : found) {
        all = VXRect(std::min(all.getLeft(), m.bounds.getLeft()), std::min(all.getTop(), m.bounds.getTop()),
                     std::max(all.getRight(), m.bounds.getRight()),
                     std::max(all.getBottom(), m.bounds.getBottom()));
    }
    monitors = std::move(found);
    virtualScreen = all;
    return VXError::eNoError;
}

}  // namespace Vistrel
