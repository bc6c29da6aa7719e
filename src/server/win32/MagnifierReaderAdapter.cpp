#include "MagnifierReaderAdapter.h"

namespace Vistrel {

VXResult MagnifierReaderAdapter::setup(const VXRect& captureRect, const std::shared_ptr<VXImage>& image) {
    return _reader.setup(captureRect, image);
}

VXResult MagnifierReaderAdapter::setExcludedWindows(const std::vector<uint64_t>& windows) {
    _windows.clear();
    for (uint64_t handle : windows)
        _windows.push_back(reinterpret_cast<HWND>(static_cast<uintptr_t>(handle)));
    return _reader.setExcludedWindows(_windows);
}

VXResult MagnifierReaderAdapter::setCaptureCursor(bool show) {
    return _reader.setCaptureCursor(show);
}

VXResult MagnifierReaderAdapter::readScreen() {
    return _reader.readScreen();
}

uint32_t MagnifierReaderAdapter::getStabilizationRounds() const {
    return _reader.getStabilizationRounds();
}

uint32_t MagnifierReaderAdapter::getStabilizationTimeMs() const {
    return _reader.getStabilizationTimeMs();
}

bool MagnifierReaderAdapter::isStabilizationTimedOut() const {
    return _reader.isStabilizationTimedOut();
}

}  // namespace Vistrel
