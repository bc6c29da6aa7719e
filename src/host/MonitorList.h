// Vistrel::MonitorList: the display monitors and the virtual screen, in the physical pixels that
// a capture rectangle is given in, so that a host can ask for exactly one monitor.
#pragma once

#include <vector>

#include "VXRect.h"
#include "VXResult.h"
#include "VXString.h"

namespace Vistrel {

struct MonitorInfo {
    // Physical pixels in virtual-screen coordinates (the primary monitor's top-left is 0,0):
    // what HostOptions::captureRect takes.
    VXRect bounds;
    // The bounds less the task bar and docked tool bars, same coordinates.
    VXRect workArea;
    bool primary = false;
    // The display device, such as "\\.\DISPLAY1".
    VXString deviceName;
};

class MonitorList {
public:
    // The monitors, the primary one first and the others in the system's order, and the virtual
    // screen: the smallest rectangle holding them all. Callable from any thread. The bounds are
    // physical whatever the process's DPI awareness: the calling thread is switched to
    // per-monitor awareness for the query and switched back. On Windows before 10 (1607),
    // which has no per-thread awareness, they are physical only in a DPI-aware process.
    static VXResult list(std::vector<MonitorInfo>& monitors, VXRect& virtualScreen);
};

}  // namespace Vistrel
