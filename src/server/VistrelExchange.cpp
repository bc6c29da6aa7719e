#include "VistrelExchange.h"

namespace {

uint32_t extent(int32_t from, int32_t to) {
    const int64_t d = static_cast<int64_t>(to) - from;
    return static_cast<uint32_t>(d < 0 ? -d : d);
}

}  // namespace

uint32_t Vistrel::imageBlockSize(const VXRect& captureRect) {
    const uint32_t width = extent(captureRect.getLeft(), captureRect.getRight());
    const uint32_t height = extent(captureRect.getTop(), captureRect.getBottom());
    return (width + 4u) * height * 4u + kImageBlockSlack;
}
