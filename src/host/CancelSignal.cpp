// The portable part of CancelSignal: who may set it and when. The platform halves hold the
// waitable object (win32/, posix/).
#include "CancelSignal.h"

namespace Vistrel {

bool CancelSignal::arm() {
    std::lock_guard<std::mutex> guard(_lock);
    if (_stopped)
        return false;
    _armed = true;
    reset_();  // a cancel meant for an earlier capture is not this one's
    return true;
}

void CancelSignal::disarm() {
    std::lock_guard<std::mutex> guard(_lock);
    _armed = false;
}

void CancelSignal::cancel() {
    std::lock_guard<std::mutex> guard(_lock);
    if (_armed)
        set_();
}

void CancelSignal::stop() {
    std::lock_guard<std::mutex> guard(_lock);
    _stopped = true;
    set_();
}

bool CancelSignal::stopped() const {
    std::lock_guard<std::mutex> guard(_lock);
    return _stopped;
}

}  // namespace Vistrel
