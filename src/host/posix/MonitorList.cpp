// The POSIX half of MonitorList.h: the monitors come from the X server (RandR), which the host
// library does not talk to yet.
#include "MonitorList.h"

#include "VXChecks.h"

namespace Vistrel {

VXResult MonitorList::list(std::vector<MonitorInfo>& monitors, VXRect& virtualScreen) {
    (void)monitors;
    (void)virtualScreen;
    return VX_ERROR(VXError::eNotImplemented,
                    u"Listing monitors needs the X server's RandR; not implemented on Linux yet");
}

}  // namespace Vistrel
