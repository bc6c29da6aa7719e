#include "VXImageUtils.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "VXChecks.h"

// Scaling.

namespace {

constexpr const char16_t* kScale = u"VXImageUtils::scale()";

// Source coordinate of each destination one, sampled at pixel centres.
bool mapAxis(int32_t srcStart, int32_t srcLength, int32_t dstLength, std::vector<int32_t>& map) {
    map.resize(static_cast<size_t>(dstLength));
    for (int32_t i = 0; i < dstLength; ++i) {
        const int64_t offset =
            ((2 * static_cast<int64_t>(i) + 1) * srcLength) / (2 * static_cast<int64_t>(dstLength));
        if (offset < 0 || offset >= srcLength)
            return false;
        map[static_cast<size_t>(i)] = srcStart + static_cast<int32_t>(offset);
    }
    return true;
}

// The bytes from a rect's first to its last row, lowest address first (a bottom-up image's
// rows run backwards); null without pixels.
std::pair<uintptr_t, uintptr_t> spanOf(const VXImage& image, const VXRect& rect) {
    const auto top = reinterpret_cast<uintptr_t>(image.getPixelPtr(rect.getLeft(), rect.getTop()));
    const auto bottom = reinterpret_cast<uintptr_t>(image.getPixelPtr(rect.getLeft(), rect.getBottom() - 1));
    const uintptr_t bytes =
        static_cast<uintptr_t>(image.getBytesPerPixel()) * static_cast<uint32_t>(rect.getWidth());
    return {std::min(top, bottom), std::max(top, bottom) + bytes};
}

bool sharesMemory(const VXImage& a, const VXRect& ra, const VXImage& b, const VXRect& rb) {
    if (a.getBits() == nullptr || b.getBits() == nullptr)
        return false;
    const auto [a0, a1] = spanOf(a, ra);
    const auto [b0, b1] = spanOf(b, rb);
    return a0 < b1 && b0 < a1;
}

// One destination row; a pixel size known at compile time makes each copy a single move.
template <size_t kBytes>
void scaleRow(const uint8_t* source, uint8_t* target, const std::vector<int32_t>& columns) {
    for (const int32_t column : columns) {
        std::memcpy(target, source + static_cast<int64_t>(kBytes) * column, kBytes);
        target += kBytes;
    }
}

}  // namespace

VXResult VXImageUtils::scaleUpFast50(const ImagePtr& srcImage, const ImagePtr& dstImage) {
    VX_CHECK_PARAM(srcImage);
    VX_CHECK_PARAM(srcImage->getBits());
    VX_CHECK_PARAM(dstImage);
    VX_CHECK_PARAM(dstImage->getBits());
    if (srcImage->getBitDepth() != 32) {
        VX_LOG_ERROR(u"### only supports 32 bit images: source[%d] ###", srcImage->getBitDepth());
        return VXError::eBadFormat;
    }
    VX_CHECK_PARAM(dstImage->getBitDepth() == 32);
    const VXRect srcR(srcImage->getSize());
    const VXRect dstR(dstImage->getSize());
    VX_CHECK_PARAM(!srcR.isEmpty());
    VX_CHECK_PARAM(!dstR.isEmpty());
    const VXRect needed(0, 0, 2 * srcImage->getWidth(), 2 * srcImage->getHeight());
    if (needed.intersect(dstR) != needed) {
        VX_LOG_ERROR(u"### bad destination rect %s expecting %s ###", dstR.toString(), needed.toString());
        return VXError::eBadFormat;
    }
    for (int32_t y = 0; y < srcImage->getHeight(); ++y) {
        const uint8_t* source = srcImage->getLinePtr(y);
        uint8_t* upper = dstImage->getLinePtr(2 * y);
        uint8_t* lower = dstImage->getLinePtr(2 * y + 1);
        if (source == nullptr || upper == nullptr || lower == nullptr)
            break;
        for (int32_t x = 0; x < srcImage->getWidth(); ++x) {
            std::memcpy(upper + 8 * x, source + 4 * x, 4);
            std::memcpy(upper + 8 * x + 4, source + 4 * x, 4);
        }
        std::memcpy(lower, upper, 8 * static_cast<size_t>(srcImage->getWidth()));
    }
    return VXError::eNoError;
}

VXResult VXImageUtils::scale(const ImagePtr& src, const VXRect& srcRect, const ImagePtr& dst,
                             const VXRect& dstRect) {
    if (!src || !dst)
        return VX_ERROR(VXError::ePreconditionFailed, u"%s -- image is NULL", kScale);
    if (src->getBitDepth() != dst->getBitDepth() || src->getBytesPerPixel() < 1) {
        return VX_ERROR(VXError::eBadFormat, u"%s -- unsupported bit depths [%d %d]", kScale,
                        src->getBitDepth(), dst->getBitDepth());
    }
    VX_CHECK_PARAM(!srcRect.isEmpty());
    VX_CHECK_PARAM(!dstRect.isEmpty());
    VX_RETURN_IF_ERROR(checkBounds(*src, srcRect));
    VX_RETURN_IF_ERROR(checkBounds(*dst, dstRect));
    // Rows are written while others are still to be read: a source that shares memory with the
    // destination (one image, or sub-images of one parent) is read from a copy of its rect.
    if (sharesMemory(*src, srcRect, *dst, dstRect)) {
        const VXRect whole(srcRect.getSize());
        ImagePtr source;
        VX_RETURN_IF_ERROR(VXImage::create(whole.getWidth(), whole.getHeight(), src->getBitDepth(), source));
        VX_RETURN_IF_ERROR(source->allocate());
        VX_RETURN_IF_ERROR(copy(source, whole, src, srcRect));
        VX_RETURN_IF_ERROR(scale(source, whole, dst, dstRect));
        return VXError::eNoError;
    }

    std::vector<int32_t> columns;
    std::vector<int32_t> rows;
    if (!mapAxis(srcRect.getLeft(), srcRect.getWidth(), dstRect.getWidth(), columns) ||
        !mapAxis(srcRect.getTop(), srcRect.getHeight(), dstRect.getHeight(), rows)) {
        return VX_ERROR(VXError::eUnexpected, u"%s -- we have a problem...", kScale);
    }
    const int32_t bytesPerPixel = src->getBytesPerPixel();
    const size_t rowBytes = static_cast<size_t>(bytesPerPixel) * columns.size();
    const uint8_t* previousTarget = nullptr;
    for (int32_t i = 0; i < dstRect.getHeight(); ++i) {
        const uint8_t* source = src->getLinePtr(rows[static_cast<size_t>(i)]);
        uint8_t* target = dst->getPixelPtr(dstRect.getLeft(), dstRect.getTop() + i);
        if (source == nullptr || target == nullptr)
            return VX_ERROR(VXError::eUnexpected, u"%s -- we have a problem...", kScale);
        // Enlarging repeats source rows: the row just made is the same again.
        if (previousTarget != nullptr && rows[static_cast<size_t>(i)] == rows[static_cast<size_t>(i) - 1]) {
            std::memcpy(target, previousTarget, rowBytes);
        } else {
            switch (bytesPerPixel) {
                case 4:
                    scaleRow<4>(source, target, columns);
                    break;
                case 3:
                    scaleRow<3>(source, target, columns);
                    break;
                case 2:
                    scaleRow<2>(source, target, columns);
                    break;
                case 1:
                    scaleRow<1>(source, target, columns);
                    break;
                default:
                    for (const int32_t column : columns) {
                        std::memcpy(target, source + static_cast<int64_t>(bytesPerPixel) * column,
                                    static_cast<size_t>(bytesPerPixel));
                        target += bytesPerPixel;
                    }
                    break;
            }
        }
        previousTarget = dst->getPixelPtr(dstRect.getLeft(), dstRect.getTop() + i);
    }
    return VXError::eNoError;
}
