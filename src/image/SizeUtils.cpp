#include "SizeUtils.h"

#include <algorithm>

#include "VXChecks.h"

namespace {

// trunc(value) <= limit, and the truncated value, without converting an out-of-range double.
bool truncatedWithin(double value, int32_t limit, int32_t& truncated) {
    if (!(value < static_cast<double>(limit) + 1.0))
        return false;
    truncated = static_cast<int32_t>(value);
    return true;
}

}  // namespace

VXResult SizeUtils::fitAspectRatio(const VXSize& size, double aspectRatio, VXSize& fitted) {
    fitted = VXSize(0, 0);
    VX_CHECK_PARAM(aspectRatio > 0.0);
    VX_CHECK_PARAM(size.getX() > 0 && size.getY() > 0);

    const int32_t W = size.getX();
    const int32_t H = size.getY();
    if (aspectRatio == 1.0) {
        fitted = VXSize(std::min(W, H), std::min(W, H));
        return VXError::eNoError;
    }
    // A wide ratio keeps the full width if it can, a tall one the full height.
    const bool wide = aspectRatio > 1.0;
    for (int attempt = 0; attempt < 2; ++attempt) {
        const bool keepWidth = (attempt == 0) == wide;
        int32_t side = 0;
        if (keepWidth && truncatedWithin(W / aspectRatio, H, side)) {
            fitted = VXSize(W, side);
            return VXError::eNoError;
        }
        if (!keepWidth && truncatedWithin(H * aspectRatio, W, side)) {
            fitted = VXSize(side, H);
            return VXError::eNoError;
        }
    }
    return VX_ERROR(VXError::eUnexpected, u"Error returned");
}

VXResult SizeUtils::fitAspectRatio(const VXSizeF& size, float aspectRatio, VXSizeF& fitted) {
    fitted = VXSizeF(0.0f, 0.0f);
    VX_CHECK_PARAM(aspectRatio > 0.0);
    VX_CHECK_PARAM(size.getX() > 0.0f && size.getY() > 0.0f);

    const float W = size.getX();
    const float H = size.getY();
    if (aspectRatio == 1.0f) {
        fitted = VXSizeF(std::min(W, H), std::min(W, H));
        return VXError::eNoError;
    }
    const bool wide = aspectRatio > 1.0f;
    for (int attempt = 0; attempt < 2; ++attempt) {
        const bool keepWidth = (attempt == 0) == wide;
        if (keepWidth && W / aspectRatio <= H) {
            fitted = VXSizeF(W, W / aspectRatio);
            return VXError::eNoError;
        }
        if (!keepWidth && H * aspectRatio <= W) {
            fitted = VXSizeF(H * aspectRatio, H);
            return VXError::eNoError;
        }
    }
    return VX_ERROR(VXError::eUnexpected, u"Error returned");
}
