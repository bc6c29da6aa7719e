// Copies, comparisons, difference searches and scaling between small images of any depth and
// size, with rectangles from the input, inside or far outside the images. Results are checked
// against plain byte-by-byte forms of the same operations.
#include <cstring>
#include <memory>
#include <vector>

#include "VXImageUtils.h"

namespace {

class Input {
public:
    Input(const uint8_t* data, size_t size) : _data(data), _size(size) {}
    uint8_t byte() { return _at < _size ? _data[_at++] : 0; }
    int32_t coordinate() { return static_cast<int8_t>(byte()); }  // -128..127: past any edge
    VXRect rect() {
        const int32_t left = coordinate();
        const int32_t top = coordinate();
        return VXRect(left, top, left + coordinate(), top + coordinate());
    }

private:
    const uint8_t* _data;
    size_t _size;
    size_t _at = 0;
};

using ImagePtr = std::shared_ptr<VXImage>;

ImagePtr makeImage(Input& in, int32_t depth, int32_t width) {
    const int32_t height = 1 + in.byte() % 24;
    ImagePtr image;
    if (VXImageUtils::createImage(VXSize(width, height), depth, nullptr, image).isError())
        return nullptr;
    // Few distinct values, so that equal runs and late differences are common.
    const uint8_t seed = in.byte();
    uint8_t* bits = image->getBits();
    for (int64_t i = 0; i < image->getImageSize(); ++i)
        bits[i] = static_cast<uint8_t>((i % 7 == seed % 7) ? seed : 0);
    for (int n = in.byte() % 4; n > 0; --n) {
        const int64_t at = (static_cast<int64_t>(in.byte()) << 8 | in.byte()) % image->getImageSize();
        bits[at] ^= 1 + in.byte() % 255;
    }
    return image;
}

int32_t rowBytes(const VXImage& image) {
    return image.getBytesPerPixel() * image.getWidth();
}

// The first (last) byte column where two rows differ within [0, limit), or -1.
int32_t firstDiff(const uint8_t* a, const uint8_t* b, int32_t limit) {
    for (int32_t i = 0; i < limit; ++i)
        if (a[i] != b[i])
            return i;
    return -1;
}

int32_t lastDiff(const uint8_t* a, const uint8_t* b, int32_t limit) {
    for (int32_t i = limit - 1; i >= 0; --i)
        if (a[i] != b[i])
            return i;
    return -1;
}

void checkSearches(const ImagePtr& a, const ImagePtr& b, Input& in) {
    const int32_t firstRow = in.coordinate() % 30;
    const int32_t rowCount = in.coordinate() % 30;
    int32_t column = 0;
    const VXResult left = VXImageUtils::findLeftMostDifference(a, b, firstRow, rowCount, column);
    int32_t rightColumn = 0;
    const VXResult right = VXImageUtils::findRightMostDifference(a, b, firstRow, rowCount, rightColumn);
    if (left.isError() != right.isError())
        __builtin_trap();
    if (left.isSuccess()) {
        const int32_t bpp = a->getBytesPerPixel();
        int32_t best = -1;
        int32_t worst = -1;
        for (int32_t y = firstRow; y < firstRow + rowCount; ++y) {
            const int32_t f = firstDiff(a->getLinePtr(y), b->getLinePtr(y), rowBytes(*a));
            if (f >= 0 && (best < 0 || f < best))
                best = f;
            worst = std::max(worst, lastDiff(a->getLinePtr(y), b->getLinePtr(y), rowBytes(*a)));
        }
        const int32_t expectLeft = best < 0 ? -1 : best / bpp;
        const int32_t expectRight = worst < 0 ? -1 : worst / bpp;
        if (column != expectLeft || rightColumn != expectRight ||
            (left.code() == VXStatus::eYes) != (best >= 0) ||
            (right.code() == VXStatus::eYes) != (worst >= 0)) {
            __builtin_trap();
        }
    }
    const int32_t firstColumn = in.coordinate() % 30;
    const int32_t columnCount = in.coordinate() % 30;
    int32_t row = 0;
    VXImageUtils::findTopMostDifference(a, b, firstColumn, columnCount, row);
    VXImageUtils::findBottomMostDifference(a, b, firstColumn, columnCount, row);
    int32_t firstDifferentRow = 0;
    VXImageUtils::compare(a, b, &firstDifferentRow);
}

void checkCopy(const ImagePtr& dst, const ImagePtr& src, Input& in) {
    const VXRect dstRect = in.rect();
    const VXRect srcRect = in.rect();
    ImagePtr before;
    if (VXImageUtils::createCopy(src, before).isError())
        return;
    if (VXImageUtils::copy(dst, dstRect, src, srcRect).isError() || dst == src)
        return;
    // What was copied equals the source it came from.
    const VXRect from =
        srcRect.isEmpty() ? VXRect(VXPoint(srcRect.getLeft(), srcRect.getTop()), src->getSize()) : srcRect;
    const int32_t width = std::min(dstRect.getWidth(), from.getWidth());
    const int32_t height = std::min(dstRect.getHeight(), from.getHeight());
    if (width <= 0 || height <= 0)
        return;  // an empty rectangle at an image's far edge has no pixel address
    const size_t bytes = static_cast<size_t>(width) * static_cast<size_t>(src->getBytesPerPixel());
    for (int32_t i = 0; i < height; ++i) {
        if (std::memcmp(dst->getPixelPtr(dstRect.getLeft(), dstRect.getTop() + i),
                        before->getPixelPtr(from.getLeft(), from.getTop() + i), bytes) != 0) {
            __builtin_trap();
        }
    }
}

void checkScale(const ImagePtr& dst, const ImagePtr& src, Input& in) {
    const VXRect srcRect = in.rect();
    const VXRect dstRect = in.rect();
    if (dst == src || VXImageUtils::scale(src, srcRect, dst, dstRect).isError())
        return;
    // Nearest neighbour, sampled at pixel centres.
    const int32_t bpp = src->getBytesPerPixel();
    for (int32_t y = 0; y < dstRect.getHeight(); ++y) {
        const int64_t sy = srcRect.getTop() +
                           ((2 * int64_t{y} + 1) * srcRect.getHeight()) / (2 * int64_t{dstRect.getHeight()});
        for (int32_t x = 0; x < dstRect.getWidth(); ++x) {
            const int64_t sx = srcRect.getLeft() + ((2 * int64_t{x} + 1) * srcRect.getWidth()) /
                                                       (2 * int64_t{dstRect.getWidth()});
            if (std::memcmp(dst->getPixelPtr(dstRect.getLeft() + x, dstRect.getTop() + y),
                            src->getPixelPtr(static_cast<int32_t>(sx), static_cast<int32_t>(sy)), bpp) != 0) {
                __builtin_trap();
            }
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input in(data, size);
    static constexpr int32_t kDepths[] = {8, 16, 24, 32};
    const uint8_t shape = in.byte();
    const int32_t depth1 = kDepths[shape % 4];
    // Mostly one depth and one width: the searches need both.
    const int32_t depth2 = (shape & 0x10) ? kDepths[(shape >> 2) % 4] : depth1;
    const int32_t width1 = 1 + in.byte() % 40;
    const int32_t width2 = (shape & 0x20) ? 1 + in.byte() % 40 : width1;
    const ImagePtr a = makeImage(in, depth1, width1);
    const ImagePtr b = (shape & 0x40) ? a : makeImage(in, depth2, width2);
    if (!a || !b)
        return 0;
    checkSearches(a, b, in);
    checkCopy(a, b, in);
    checkScale(a, b, in);
    return 0;
}
