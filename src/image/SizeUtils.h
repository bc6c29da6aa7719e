// SizeUtils: fits an aspect ratio (width / height) into a bounding size, keeping one side
// of the bound and shrinking the other.
#pragma once

#include "VXResult.h"
#include "VXSize.h"
#include "VXSizeF.h"

class SizeUtils {
public:
    // Integer fit: the shrunk side is truncated toward zero. fitted is 0 x 0 on failure:
    // 2005 for a ratio not above 0 or a bound with a member not above 0, 2020 when no fit.
    static VXResult fitAspectRatio(const VXSize& size, double aspectRatio, VXSize& fitted);
    // The same in single precision, without truncation.
    static VXResult fitAspectRatio(const VXSizeF& size, float aspectRatio, VXSizeF& fitted);
};
