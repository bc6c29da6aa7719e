#include "NoScreenReader.h"

#include "VXChecks.h"

namespace Vistrel {

VXResult NoScreenReader::setup(const VXRect& captureRect, const std::shared_ptr<VXImage>& image) {
    VX_CHECK_PARAM(!captureRect.isEmpty());
    VX_CHECK_PARAM(image);
    return VXError::eNoError;
}

VXResult NoScreenReader::setExcludedWindows(const std::vector<uint64_t>&) {
    return VXError::eNoError;
}

VXResult NoScreenReader::setCaptureCursor(bool) {
    return VXError::eNoError;
}

VXResult NoScreenReader::readScreen() {
    return VX_ERROR(VXError::eNotImplemented, u"No screen reader is available on this display");
}

}  // namespace Vistrel
