#include "VXImageUtils.h"

#include <bit>
#include <cstring>
#include <vector>

#include "VXChecks.h"
#include "VXImageConverter.h"
#include "VXMakeShared.h"
#include "VXPngWriter.h"

namespace {

constexpr const char16_t* kCreateImage = u"VXImageUtils::createImage()";
constexpr const char16_t* kCreateCopy = u"VXImageUtils::createCopy()";
constexpr const char16_t* kCopy = u"VXImageUtils::copy()";
constexpr const char16_t* kCompare = u"VXImageUtils::compare()";
constexpr const char16_t* kFindLeft = u"VXImageUtils::findLeftMostDifference()";
constexpr const char16_t* kFindRight = u"VXImageUtils::findRightMostDifference()";
constexpr const char16_t* kFindBottom = u"VXImageUtils::findBottomMostDifference()";
constexpr const char16_t* kComposite = u"VXImageUtils::composite()";
constexpr const char16_t* kCompositePremultiplied = u"VXImageUtils::compositePremultipliedSrc()";
constexpr const char16_t* kSetAlphaChannel = u"VXImageUtils::setAlphaChannel()";
constexpr const char16_t* kApplyAlphaInfo = u"VXImageUtils::applyAlphaInfo()";
constexpr const char16_t* kScale = u"VXImageUtils::scale()";

bool isSupportedDepth(int32_t bitDepth) {
    return bitDepth == 8 || bitDepth == 16 || bitDepth == 24 || bitDepth == 32;
}

// Inverted edges count as bad even when they would describe an empty area.
bool isRectInside(const VXRect& rect, const VXImage& image) {
    return rect.getLeft() <= rect.getRight() && rect.getLeft() >= 0 && rect.getRight() <= image.getWidth() &&
           rect.getTop() <= rect.getBottom() && rect.getTop() >= 0 && rect.getBottom() <= image.getHeight();
}

}  // namespace

VXResult VXImageUtils::createImage(const VXSize& size, int32_t bitDepth,
                                   const std::shared_ptr<VXColorInfo>& colorInfo, ImagePtr& image) {
    const int32_t width = size.getX();
    const int32_t height = size.getY();
    if (width <= 0 || height <= 0 || width > kMaxDimension || height > kMaxDimension)
        return VX_ERROR(VXError::eBadParameter, u"%s -- invalid image size [%d,%d]", kCreateImage, width,
                        height);
    if (!isSupportedDepth(bitDepth))
        return VX_ERROR(VXError::eBadParameter, u"%s -- unsupported image bpp [%d]", kCreateImage, bitDepth);

    std::shared_ptr<VXColorInfo> info = colorInfo;
    if (info) {
        if (info->getBitsPerPixel() != bitDepth) {
            return VX_ERROR(VXError::eBadFormat, u"%s -- VXColorInfo bit depth doesnt match[%d vs %d]",
                            kCreateImage, info->getBitsPerPixel(), bitDepth);
        }
    } else {
        info = vxMakeShared<VXColorInfo>();
        if (!info)
            return VX_ERROR(VXError::eNoMemory, u"%s -- failed to allocate color info", kCreateImage);
        const VXResult initialized = info->initialize(bitDepth);
        if (initialized.isError())
            return VXResult(initialized, VX_SITE, u"%s -- VXColorInfo::initialize(%d) failed.", kCreateImage,
                            bitDepth);
    }

    ImagePtr created;
    const VXResult made = VXImage::create(width, height, bitDepth, created);
    if (made.isError())
        return VXResult(made, VX_SITE, u"%s -- VXImageFactory failed.", kCreateImage);
    created->setColorInfo(info);
    VX_RETURN_IF_ERROR(created->allocate());
    image = std::move(created);
    return VXError::eNoError;
}

VXResult VXImageUtils::createCopy(const ImagePtr& source, ImagePtr& image) {
    if (!source)
        return VX_ERROR(VXError::ePreconditionFailed, u"%s -- source image is NULL", kCreateCopy);
    ImagePtr created;
    const VXResult made =
        createImage(source->getSize(), source->getBitDepth(), source->getColorInfo(), created);
    if (made.isError())
        return VXResult(made, VX_SITE, u"%s -- create image failed", kCreateCopy);
    const VXRect whole(source->getSize());
    VX_RETURN_IF_ERROR(copy(created, whole, source, whole));
    image = std::move(created);
    return VXError::eNoError;
}

VXResult VXImageUtils::copy(const ImagePtr& dst, const VXRect& dstRect, const ImagePtr& src,
                            const VXRect& srcRect) {
    if (!dst)
        return VX_ERROR(VXError::ePreconditionFailed, u"%s -- destination image is NULL", kCopy);
    if (!src)
        return VX_ERROR(VXError::ePreconditionFailed, u"%s -- source image is NULL", kCopy);
    if (dst->getBitDepth() != src->getBitDepth()) {
        return VXResult(VXError::eBadFormat, u"Images have different bit depths [%d %d] %s",
                        dst->getBitDepth(), src->getBitDepth(), VX_SITE.text());
    }
    if (!isRectInside(dstRect, *dst)) {
        return VXResult(VXError::eBadFormat, u"dst rect is bad: rect%s imageSize%s %s", dstRect.toString(),
                        dst->getSize().toString(), VX_SITE.text());
    }
    // An empty source rect only places the source: all of it, from that origin.
    VXRect from = srcRect;
    if (from.isEmpty()) {
        from = VXRect(VXPoint(srcRect.getLeft(), srcRect.getTop()), src->getSize());
    }
    if (!isRectInside(from, *src)) {
        return VXResult(VXError::eBadFormat, u"src rect is bad: rect%s imageSize%s %s", from.toString(),
                        src->getSize().toString(), VX_SITE.text());
    }

    int32_t width = dstRect.getWidth();
    int32_t height = dstRect.getHeight();
    if (from.getWidth() < width) {
        VX_LOG_WARNING(u"%s -- srcRect too narrow: dst[%d] actual[%d]", kCopy, width, from.getWidth());
        width = from.getWidth();
    }
    if (from.getHeight() < height) {
        VX_LOG_WARNING(u"%s -- srcRect too short: dst[%d] actual[%d]", kCopy, height, from.getHeight());
        height = from.getHeight();
    }
    if (width == 0 || height == 0)
        return VXError::eNoError;
    if (dst->getBits() == nullptr || src->getBits() == nullptr)
        return VX_ERROR(VXError::eNullPointer, u"VXImageUtils::copy() bits are NULL");

    const size_t rowBytes = static_cast<size_t>(src->getBytesPerPixel()) * static_cast<size_t>(width);
    for (int32_t i = 0; i < height; ++i) {
        const uint8_t* from_ = src->getPixelPtr(from.getLeft(), from.getTop() + i);
        uint8_t* to = dst->getPixelPtr(dstRect.getLeft(), dstRect.getTop() + i);
        if (from_ == nullptr || to == nullptr) {
            return VXResult(VXError::eNullPointer, u"NULL pixel ptr[%p][%p] >> %s",
                            static_cast<const void*>(from_), static_cast<const void*>(to), VX_SITE.text());
        }
        // The two rects may lie in one image.
        std::memmove(to, from_, rowBytes);
    }
    return VXError::eNoError;
}

// ---- comparison and difference search ----

VXResult VXImageUtils::compare(const ImagePtr& image1, const ImagePtr& image2, int32_t* firstDifferentRow) {
    if (firstDifferentRow != nullptr)
        *firstDifferentRow = -1;
    if (!image1 || !image2)
        return VX_ERROR(VXError::ePreconditionFailed, u"%s -- image is NULL", kCompare);
    if (image1->getSize() != image2->getSize()) {
        return VX_ERROR(VXError::eBadParameter, u"### %s -- sizes do not match %s vs %s", kCompare,
                        image1->getSize().toString(), image2->getSize().toString());
    }
    if (image1->getBitDepth() != image2->getBitDepth()) {
        return VX_ERROR(VXError::eBadParameter, u"### %s -- BPP mismatch [%d] vs [%d]", kCompare,
                        image1->getBitDepth(), image2->getBitDepth());
    }
    const size_t rowBytes = static_cast<size_t>(VXImage::rowBytes(image1->getWidth(), image1->getBitDepth()));
    for (int32_t y = 0; y < image1->getHeight(); ++y) {
        const uint8_t* voidPtr1 = image1->getLinePtr(y);
        const uint8_t* voidPtr2 = image2->getLinePtr(y);
        if (voidPtr1 == nullptr)
            return VX_ERROR(VXError::eNullPointer, u"voidPtr1 == NULL");
        if (voidPtr2 == nullptr)
            return VX_ERROR(VXError::eNullPointer, u"voidPtr2 == NULL");
        const int order = std::memcmp(voidPtr1, voidPtr2, rowBytes);
        if (order != 0) {
            if (firstDifferentRow != nullptr)
                *firstDifferentRow = y;
            return order < 0 ? VXStatus::eLessThan : VXStatus::eGreaterThan;
        }
    }
    return VXStatus::eEqualTo;
}

namespace {

bool isContainedAtOrigin(const VXImage& image1, const VXImage& image2) {
    return image2.getWidth() <= image1.getWidth() && image2.getHeight() <= image1.getHeight();
}

// Pixels are compared byte by byte, so the search needs whole bytes per pixel.
bool isSearchablePair(const VXImage& image1, const VXImage& image2) {
    return image1.getBitDepth() == image2.getBitDepth() && image1.getBytesPerPixel() > 0;
}

uint64_t load64(const uint8_t* p) {
    uint64_t value;
    std::memcpy(&value, p, sizeof(value));
    return value;
}

// The first byte in [0, end) where the rows differ, or end. Most rows of two frames agree, so
// a memcmp settles them; only a row that differs is searched, eight bytes at a time.
int32_t firstDifference(const uint8_t* a, const uint8_t* b, int32_t end) {
    if (end <= 0 || std::memcmp(a, b, static_cast<size_t>(end)) == 0)
        return end;
    int32_t i = 0;
    for (; i + 8 <= end; i += 8) {
        const uint64_t bits = load64(a + i) ^ load64(b + i);
        if (bits != 0)
            return i + std::countr_zero(bits) / 8;  // little-endian: the lowest byte comes first
    }
    while (a[i] == b[i])
        ++i;
    return i;
}

// The last byte in (from, end) where the rows differ, or from.
int32_t lastDifference(const uint8_t* a, const uint8_t* b, int32_t from, int32_t end) {
    const int32_t start = from + 1;
    if (start >= end || std::memcmp(a + start, b + start, static_cast<size_t>(end - start)) == 0)
        return from;
    int32_t i = end;
    for (; i - 8 >= start; i -= 8) {
        const uint64_t bits = load64(a + i - 8) ^ load64(b + i - 8);
        if (bits != 0)
            return i - 1 - std::countl_zero(bits) / 8;
    }
    do {
        --i;
    } while (a[i] == b[i]);
    return i;
}

}  // namespace

VXResult VXImageUtils::findLeftMostDifference(const ImagePtr& image1, const ImagePtr& image2,
                                              int32_t firstRow, int32_t rowCount, int32_t& column) {
    column = -1;
    VX_CHECK_PARAM(image1);
    VX_CHECK_PARAM(image2);
    VX_CHECK_PARAM(isSearchablePair(*image1, *image2));
    if (!isContainedAtOrigin(*image1, *image2))
        return VX_ERROR(VXError::eBadParameter, u"%s -- image not fully contained by this image at origin",
                        kFindLeft);
    if (image1->getWidth() != image2->getWidth()) {
        return VX_ERROR(VXError::eBadParameter, u"%s images are not the same width[%d %d]", kFindLeft,
                        image1->getWidth(), image2->getWidth());
    }
    if (rowCount <= 0)
        return VX_ERROR(VXError::eBadParameter, u"%s lines outside of image(s)", kFindLeft);
    const int64_t endRow = static_cast<int64_t>(firstRow) + rowCount;
    if (firstRow < 0 || endRow > image2->getHeight()) {
        return VX_ERROR(VXError::eBadParameter, u"%s lines outside of images(s) [%d|%d] [%d|%d]", kFindLeft,
                        firstRow, endRow, image1->getHeight(), image2->getHeight());
    }
    const int32_t bytesPerPixel = image1->getBytesPerPixel();
    const int32_t rowBytes = bytesPerPixel * image1->getWidth();
    int32_t first = rowBytes;  // nothing different yet
    for (int32_t y = firstRow; y < endRow; ++y) {
        const uint8_t* line1 = image1->getLinePtr(y);
        const uint8_t* line2 = image2->getLinePtr(y);
        if (line1 == nullptr || line2 == nullptr) {
            return VX_ERROR(VXError::eBadParameter, u"%s -- lines outside of image(s) Y:%d [%d-%d]",
                            kFindLeft, y, firstRow, endRow);
        }
        // Only what lies left of the best so far can improve on it.
        first = firstDifference(line1, line2, first);
    }
    if (first == rowBytes)
        return VXStatus::eNo;
    column = first / bytesPerPixel;
    return VXStatus::eYes;
}

VXResult VXImageUtils::findRightMostDifference(const ImagePtr& image1, const ImagePtr& image2,
                                               int32_t firstRow, int32_t rowCount, int32_t& column) {
    column = -1;
    VX_CHECK_PARAM(image1);
    VX_CHECK_PARAM(image2);
    VX_CHECK_PARAM(isSearchablePair(*image1, *image2));
    if (!isContainedAtOrigin(*image1, *image2))
        return VX_ERROR(VXError::eBadParameter, u"%s -- image not fully conatined by this image at origin",
                        kFindRight);
    if (image1->getWidth() != image2->getWidth()) {
        return VX_ERROR(VXError::eBadParameter, u"%s -- images are not the same width[%d %d]", kFindRight,
                        image1->getWidth(), image2->getWidth());
    }
    const int64_t endRow = static_cast<int64_t>(firstRow) + rowCount;
    if (rowCount <= 0 || firstRow < 0 || endRow > image2->getHeight()) {
        return VX_ERROR(VXError::eBadParameter, u"%s -- lines outside of images(s) --> [%d-%d] [%d-%d]",
                        kFindRight, firstRow, endRow, image1->getHeight(), image2->getHeight());
    }
    const int32_t bytesPerPixel = image1->getBytesPerPixel();
    const int32_t rowBytes = bytesPerPixel * image1->getWidth();
    int32_t last = -1;
    for (int32_t y = firstRow; y < endRow; ++y) {
        const uint8_t* line1 = image1->getLinePtr(y);
        const uint8_t* line2 = image2->getLinePtr(y);
        if (line1 == nullptr || line2 == nullptr)
            return VX_ERROR(VXError::eBadParameter, u"%s -- lines outside of image(s)", kFindRight);
        last = lastDifference(line1, line2, last, rowBytes);
    }
    if (last < 0)
        return VXStatus::eNo;
    column = last / bytesPerPixel;
    return VXStatus::eYes;
}

VXResult VXImageUtils::findTopMostDifference(const ImagePtr& image1, const ImagePtr& image2,
                                             int32_t firstColumn, int32_t columnCount, int32_t& row) {
    row = -1;
    VX_CHECK_PARAM(image1);
    VX_CHECK_PARAM(image2);
    VX_CHECK_PARAM(isSearchablePair(*image1, *image2));
    if (!isContainedAtOrigin(*image1, *image2)) {
        return VX_ERROR(
            VXError::eBadParameter,
            u"VXImage::findTopMostDifference() image not fully conatined by this image at origin");
    }
    VX_CHECK_PARAM(columnCount > 0);
    VX_RETURN_IF_ERROR(
        checkBounds(*image2, VXRect(VXPoint(firstColumn, 0), VXSize(columnCount, image2->getHeight()))));
    const int32_t bytesPerPixel = image1->getBytesPerPixel();
    const size_t offset = static_cast<size_t>(bytesPerPixel) * static_cast<size_t>(firstColumn);
    const size_t bytes = static_cast<size_t>(bytesPerPixel) * static_cast<size_t>(columnCount);
    for (int32_t y = 0; y < image2->getHeight(); ++y) {
        const uint8_t* line1 = image1->getLinePtr(y);
        const uint8_t* line2 = image2->getLinePtr(y);
        if (line1 == nullptr || line2 == nullptr)
            return VX_ERROR(VXError::eBadParameter,
                            u"VXImage::findTopMostDifference() lines outside of image(s)");
        if (std::memcmp(line1 + offset, line2 + offset, bytes) != 0) {
            row = y;
            return VXStatus::eYes;
        }
    }
    return VXStatus::eNo;
}

VXResult VXImageUtils::findBottomMostDifference(const ImagePtr& image1, const ImagePtr& image2,
                                                int32_t firstColumn, int32_t columnCount, int32_t& row) {
    row = -1;
    VX_CHECK_PARAM(image1);
    VX_CHECK_PARAM(image2);
    VX_CHECK_PARAM(isSearchablePair(*image1, *image2));
    if (!isContainedAtOrigin(*image1, *image2)) {
        return VX_ERROR(VXError::eBadParameter, u"%s -- image not fully contained by this image at origin",
                        kFindBottom);
    }
    VX_CHECK_PARAM(columnCount > 0);
    VX_RETURN_IF_ERROR(
        checkBounds(*image2, VXRect(VXPoint(firstColumn, 0), VXSize(columnCount, image2->getHeight()))));
    const int32_t bytesPerPixel = image1->getBytesPerPixel();
    const size_t offset = static_cast<size_t>(bytesPerPixel) * static_cast<size_t>(firstColumn);
    const size_t bytes = static_cast<size_t>(bytesPerPixel) * static_cast<size_t>(columnCount);
    for (int32_t y = image2->getHeight() - 1; y >= 0; --y) {
        const uint8_t* line1 = image1->getLinePtr(y);
        const uint8_t* line2 = image2->getLinePtr(y);
        if (line1 == nullptr || line2 == nullptr) {
            return VX_ERROR(VXError::eBadParameter, u"%s -- lines outside of image: [%d] [%d,%d]",
                            kFindBottom, y, image1->getHeight(), image2->getHeight());
        }
        if (std::memcmp(line1 + offset, line2 + offset, bytes) != 0) {
            row = y;
            return VXStatus::eYes;
        }
    }
    return VXStatus::eNo;
}

VXResult VXImageUtils::checkBounds(const VXImage& image, const VXRect& rect) {
    const int32_t width = image.getWidth();
    const int32_t height = image.getHeight();
    if (rect.getLeft() < 0 || rect.getLeft() > width) {
        return VXResult(VXError::eBadParameter, u"left X value out of bounds[%d] width[%d] >> %s",
                        rect.getLeft(), width, VX_SITE.text());
    }
    if (rect.getRight() < rect.getLeft() || rect.getRight() > width) {
        return VXResult(VXError::eBadParameter, u"right X value out of bounds[%d] width[%d] [%d+%d] >> %s",
                        rect.getRight(), width, rect.getLeft(), rect.getWidth(), VX_SITE.text());
    }
    if (rect.getTop() < 0 || rect.getTop() > height) {
        return VXResult(VXError::eBadParameter, u"top Y value out of bounds[%d] height[%d] >> %s",
                        rect.getTop(), height, VX_SITE.text());
    }
    if (rect.getBottom() < rect.getTop() || rect.getBottom() > height) {
        return VXResult(VXError::eBadParameter, u"bottom Y value out of bounds[%d] height[%d] [%d+%d] >> %s",
                        rect.getBottom(), height, rect.getTop(), rect.getHeight(), VX_SITE.text());
    }
    return VXError::eNoError;
}

// ---- compositing ----

namespace {

uint32_t load32(const uint8_t* p) {
    uint32_t value;
    std::memcpy(&value, p, sizeof(value));
    return value;
}

uint32_t load24(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
           (static_cast<uint32_t>(p[2]) << 16);
}

// Rows of one compositing job. fetch(x, sourceRow, alphaRow, colour, alpha) reads source pixel x.
template <typename Fetch>
VXResult blendRows(const VXImage& dst, const VXRect& dstRect, const VXImage& src, const VXPoint& srcOrigin,
                   const VXImage* alphaImage, Fetch fetch) {
    const int32_t width = dstRect.getWidth();
    const int32_t dstStep = dst.getBytesPerPixel();
    for (int32_t i = 0; i < dstRect.getHeight(); ++i) {
        uint8_t* d = VX_PIXEL_PTR(dst, dstRect.getLeft(), dstRect.getTop() + i);
        const uint8_t* s = VX_PIXEL_PTR(src, srcOrigin.getX(), srcOrigin.getY() + i);
        const uint8_t* a = alphaImage != nullptr
                               ? VX_PIXEL_PTR(*alphaImage, srcOrigin.getX(), srcOrigin.getY() + i)
                               : nullptr;
        if (d == nullptr || s == nullptr || (alphaImage != nullptr && a == nullptr)) {
            return VXResult(VXError::eNullPointer, u"NULL pixel ptr[%p][%p] >> %s",
                            static_cast<const void*>(s), static_cast<void*>(d), VX_SITE.text());
        }
        for (int32_t x = 0; x < width; ++x, d += dstStep) {
            uint32_t colour = 0;
            uint32_t alpha = 0;
            fetch(x, s, a, colour, alpha);
            VXImageUtils::blendPixel(d, colour, alpha);
        }
    }
    return VXError::eNoError;
}

}  // namespace

VXResult VXImageUtils::composite(const ImagePtr& dst, const VXRect& dstRect, const ImagePtr& src,
                                 const VXPoint& srcOrigin, const ImagePtr& alphaImage) {
    if (!dst || !src)
        return VX_ERROR(VXError::ePreconditionFailed, u"%s -- image is NULL", kComposite);
    const int32_t dstDepth = dst->getBitDepth();
    const int32_t srcDepth = src->getBitDepth();
    if (dstDepth != 32 && dstDepth != 24) {
        return VX_ERROR(VXError::eBadParameter, u"%s -- destination image must be 32 or 24 bit --> [%d]",
                        kComposite, dstDepth);
    }
    if (srcDepth != 8 && srcDepth != 32)
        return VX_ERROR(VXError::eBadParameter, u"%s -- source image must be 8 or 32bit --> [%d]", kComposite,
                        srcDepth);
    if (alphaImage && alphaImage->getBitDepth() != 8) {
        return VX_ERROR(VXError::eBadParameter, u"%s -- source alpha must be 8bit -->[%d]", kComposite,
                        alphaImage->getBitDepth());
    }
    if (!alphaImage && srcDepth != 32) {
        return VX_ERROR(VXError::eBadParameter, u"%s -- no alpha image, src image must be 32 bit, is [%d]",
                        kComposite, srcDepth);
    }
    VX_CHECK_PARAM(!dstRect.isEmpty());
    if (dstDepth == 24 && (srcDepth != 32 || alphaImage)) {
        return VX_ERROR(VXError::eNotImplemented,
                        u"%s -- a 24 bit destination takes a 32 bit source without alpha image", kComposite);
    }
    const uint32_t* table = nullptr;
    if (srcDepth == 8) {
        const std::shared_ptr<VXColorInfo> info = src->getColorInfo();
        if (!info)
            return VXResult(VXError::eNullPointer, u"color info is missing >> %s", VX_SITE.text());
        table = info->getColorTable();
        if (table == nullptr)
            return VXResult(VXError::eNullPointer, u"color table is missing >> %s", VX_SITE.text());
    }
    const VXRect srcArea(srcOrigin, dstRect.getSize());
    VX_RETURN_IF_ERROR(checkBounds(*dst, dstRect));
    VX_RETURN_IF_ERROR(checkBounds(*src, srcArea));
    if (alphaImage)
        VX_RETURN_IF_ERROR(checkBounds(*alphaImage, srcArea));

    if (srcDepth == 8) {
        VX_RETURN_IF_ERROR(
            blendRows(*dst, dstRect, *src, srcOrigin, alphaImage.get(),
                      [table](int32_t x, const uint8_t* s, const uint8_t* a, uint32_t& c, uint32_t& al) {
                          c = table[s[x]] & 0x00FFFFFFu;
                          al = a[x];
                      }));
    } else if (alphaImage) {
        VX_RETURN_IF_ERROR(
            blendRows(*dst, dstRect, *src, srcOrigin, alphaImage.get(),
                      [](int32_t x, const uint8_t* s, const uint8_t* a, uint32_t& c, uint32_t& al) {
                          c = load32(s + 4 * x);
                          al = a[x];
                      }));
    } else {
        VX_RETURN_IF_ERROR(
            blendRows(*dst, dstRect, *src, srcOrigin, nullptr,
                      [](int32_t x, const uint8_t* s, const uint8_t*, uint32_t& c, uint32_t& al) {
                          c = load32(s + 4 * x);
                          al = c >> 24;
                      }));
    }
    return VXError::eNoError;
}

VXResult VXImageUtils::composite(const ImagePtr& dst, const VXRect& dstRect, const ImagePtr& src,
                                 const VXPoint& srcOrigin) {
    VX_RETURN_IF_ERROR(composite(dst, dstRect, src, srcOrigin, ImagePtr()));
    return VXError::eNoError;
}

VXResult VXImageUtils::composite(const ImagePtr& dst, const VXRect& dstRect, const ImagePtr& src,
                                 const VXPoint& srcOrigin, uint8_t alpha) {
    if (!dst || !src)
        return VX_ERROR(VXError::ePreconditionFailed, u"%s -- image is NULL", kComposite);
    const int32_t dstDepth = dst->getBitDepth();
    const int32_t srcDepth = src->getBitDepth();
    if (dstDepth != 32 && dstDepth != 24) {
        return VX_ERROR(VXError::eBadParameter, u"%s -- destination image must be 32 or 24 bit --> [%d]",
                        kComposite, dstDepth);
    }
    if (srcDepth != 32 && srcDepth != 24) {
        return VX_ERROR(VXError::eBadParameter, u"%s -- source image must be 32 or 24 bit --> [%d]",
                        kComposite, srcDepth);
    }
    VX_CHECK_PARAM(!dstRect.isEmpty());
    VX_RETURN_IF_ERROR(checkBounds(*dst, dstRect));
    VX_RETURN_IF_ERROR(checkBounds(*src, VXRect(srcOrigin, dstRect.getSize())));
    const int32_t srcStep = src->getBytesPerPixel();
    VX_RETURN_IF_ERROR(
        blendRows(*dst, dstRect, *src, srcOrigin, nullptr,
                  [srcStep, alpha](int32_t x, const uint8_t* s, const uint8_t*, uint32_t& c, uint32_t& al) {
                      c = load24(s + srcStep * x);
                      al = alpha;
                  }));
    return VXError::eNoError;
}

VXResult VXImageUtils::compositePremultipliedSrc(const ImagePtr& dst, const VXRect& dstRect,
                                                 const ImagePtr& src, const VXPoint& srcOrigin) {
    if (!dst || !src)
        return VX_ERROR(VXError::ePreconditionFailed, u"%s -- image is NULL", kCompositePremultiplied);
    if (src->getBitDepth() != 32) {
        return VX_ERROR(VXError::eBadParameter, u"%s -- source image must be 32bit --> [%d]",
                        kCompositePremultiplied, src->getBitDepth());
    }
    const int32_t dstDepth = dst->getBitDepth();
    if (dstDepth != 32 && dstDepth != 24) {
        return VX_ERROR(VXError::eBadParameter, u"%s -- destination image must be 32 or 24 bit --> [%d]",
                        kCompositePremultiplied, dstDepth);
    }
    VX_CHECK_PARAM(!dstRect.isEmpty());
    VX_RETURN_IF_ERROR(checkBounds(*dst, dstRect));
    VX_RETURN_IF_ERROR(checkBounds(*src, VXRect(srcOrigin, dstRect.getSize())));
    const int32_t dstStep = dst->getBytesPerPixel();
    for (int32_t i = 0; i < dstRect.getHeight(); ++i) {
        uint8_t* d = VX_PIXEL_PTR(*dst, dstRect.getLeft(), dstRect.getTop() + i);
        const uint8_t* s = VX_PIXEL_PTR(*src, srcOrigin.getX(), srcOrigin.getY() + i);
        if (d == nullptr || s == nullptr) {
            return VXResult(VXError::eNullPointer, u"NULL pixel ptr[%p][%p] >> %s",
                            static_cast<const void*>(s), static_cast<void*>(d), VX_SITE.text());
        }
        for (int32_t x = 0; x < dstRect.getWidth(); ++x, d += dstStep, s += 4) {
            const uint32_t k = 255u - s[3];
            for (int c = 0; c < 3; ++c)
                d[c] = static_cast<uint8_t>(((d[c] * k) >> 8) + s[c]);
        }
    }
    return VXError::eNoError;
}

// ---- alpha channel ----

VXResult VXImageUtils::setAlphaChannel(const ImagePtr& dst, const ImagePtr& alphaImage) {
    if (!dst || !alphaImage)
        return VX_ERROR(VXError::ePreconditionFailed, u"%s -- image is NULL", kSetAlphaChannel);
    if (alphaImage->getBitDepth() != 8 || dst->getBitDepth() != 32) {
        return VX_ERROR(VXError::eBadFormat, u"%s -- images formats are not correct: alpha[%d:8] dst[%d:32]",
                        kSetAlphaChannel, alphaImage->getBitDepth(), dst->getBitDepth());
    }
    if (alphaImage->getSize() != dst->getSize()) {
        return VX_ERROR(VXError::eBadParameter, u"%s -- images are not the same size: %s vs %s",
                        kSetAlphaChannel, alphaImage->getSize().toString(), dst->getSize().toString());
    }
    const std::shared_ptr<VXColorInfo> info = alphaImage->getColorInfo();
    if (!info)
        return VX_ERROR(VXError::eNullPointer, u"setAlphaChannel() missing color information");
    if (info->getColorTable() == nullptr)
        return VX_ERROR(VXError::eNullPointer, u"setAlphaChannel color table is NULL");
    for (int32_t y = 0; y < dst->getHeight(); ++y) {
        uint8_t* d = VX_LINE_PTR(*dst, y);
        const uint8_t* a = VX_LINE_PTR(*alphaImage, y);
        if (d == nullptr || a == nullptr) {
            return VXResult(VXError::eNullPointer, u"NULL pixel ptr[%p][%p] >> %s",
                            static_cast<const void*>(a), static_cast<void*>(d), VX_SITE.text());
        }
        for (int32_t x = 0; x < dst->getWidth(); ++x)
            d[4 * x + 3] = a[x];
    }
    return VXError::eNoError;
}

VXResult VXImageUtils::setAlphaChannel(const ImagePtr& dst, uint8_t alpha) {
    VX_CHECK_PARAM(dst);
    if (dst->getBitDepth() != 32)
        return VX_ERROR(VXError::eBadFormat, u"%s -- unsupported bpp[%d] (only32)", kSetAlphaChannel,
                        dst->getBitDepth());
    for (int32_t y = 0; y < dst->getHeight(); ++y) {
        uint8_t* d = VX_LINE_PTR(*dst, y);
        if (d == nullptr)
            return VX_ERROR(VXError::eNullPointer, u"pxlPtr == NULL");
        for (int32_t x = 0; x < dst->getWidth(); ++x)
            d[4 * x + 3] = alpha;
    }
    return VXError::eNoError;
}

VXResult VXImageUtils::applyAlphaInfo(const ImagePtr& image) {
    VX_CHECK_PARAM(image);
    if (image->getBitDepth() != 32) {
        return VX_ERROR(VXError::eBadFormat, u"%s -- unsupported bpp[%d] (only32)", kApplyAlphaInfo,
                        image->getBitDepth());
    }
    for (int32_t y = 0; y < image->getHeight(); ++y) {
        uint8_t* pxlPtr = image->getLinePtr(y);
        if (pxlPtr == nullptr)
            return VX_ERROR(VXError::eNullPointer, u"pxlPtr == NULL");
        for (int32_t x = 0; x < image->getWidth(); ++x, pxlPtr += 4) {
            const uint32_t alpha = pxlPtr[3];
            for (int c = 0; c < 3; ++c)
                pxlPtr[c] = static_cast<uint8_t>((pxlPtr[c] * alpha + 127) / 255);
        }
    }
    return VXError::eNoError;
}

VXResult VXImageUtils::ZeroAlphaChannel(const ImagePtr& srcImage) {
    VX_CHECK_PARAM(srcImage);
    VX_CHECK_PARAM(srcImage->getBits());
    if (srcImage->getBitDepth() != 32 || srcImage->getHeight() <= 0)
        return VXError::eNoError;
    for (int32_t ydx = 0; ydx < srcImage->getHeight(); ++ydx) {
        const int32_t y = ydx;
        uint8_t* pxlPtr = srcImage->getLinePtr(y);
        if (pxlPtr == nullptr) {
            VX_LOG_ERROR(u"ZeroAlphaChannel: pxlPtr is NULL : ydx[%d] y[%d]", ydx, y);
            return VXError::eNullPointer;
        }
        for (int32_t x = 0; x < srcImage->getWidth(); ++x, pxlPtr += 4) {
            // Pages of a fresh capture image that were never touched stay untouched.
            if (pxlPtr[3] != 0)
                pxlPtr[3] = 0;
        }
    }
    return VXError::eNoError;
}

// ---- scaling ----

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
            const uint32_t pixel = load32(source + 4 * x);
            std::memcpy(upper + 8 * x, &pixel, 4);
            std::memcpy(upper + 8 * x + 4, &pixel, 4);
        }
        std::memcpy(lower, upper, 8 * static_cast<size_t>(srcImage->getWidth()));
    }
    return VXError::eNoError;
}

namespace {

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

// One destination row; a pixel size known at compile time makes each copy a single move.
template <size_t kBytes>
void scaleRow(const uint8_t* source, uint8_t* target, const std::vector<int32_t>& columns) {
    for (const int32_t column : columns) {
        std::memcpy(target, source + static_cast<int64_t>(kBytes) * column, kBytes);
        target += kBytes;
    }
}

}  // namespace

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
    // Rows are written while others are still to be read.
    VX_CHECK_PARAM(src != dst || srcRect.intersect(dstRect).isEmpty());
    VX_RETURN_IF_ERROR(checkBounds(*src, srcRect));
    VX_RETURN_IF_ERROR(checkBounds(*dst, dstRect));

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

// ---- saving ----

VXResult VXImageUtils::saveToFile(const ImagePtr& image, const VXString& path) {
    VX_CHECK_PARAM(image);
    VX_CHECK_PARAM(image->getBits());
    ImagePtr rgb = image;
    if (image->getBitDepth() != 32) {
        rgb.reset();
        const VXResult converted = VXImageConverter::convert(image, VXRect(image->getSize()), 32, rgb);
        if (converted.isError())
            return VXResult(converted, VX_SITE, u"Failed to save image to file.");
    }
    // Rows are taken as the image orders them, which for a bottom-up bitmap is backwards in memory.
    const uint8_t* firstRow = rgb->getLinePtr(0);
    const int64_t stride = rgb->getHeight() > 1 ? rgb->getLinePtr(1) - firstRow : rgb->getBytesPerLine();
    std::vector<uint8_t> png;
    const VXResult encoded = VXPngWriter::encode(firstRow, static_cast<uint32_t>(rgb->getWidth()),
                                                 static_cast<uint32_t>(rgb->getHeight()), stride,
                                                 VXPngWriter::Channels::eRGB, png);
    if (encoded.isError())
        return VXResult(encoded, VX_SITE, u"Failed to save image to file.");
    // The writer names the file failure itself.
    VX_RETURN_IF_ERROR(VXPngWriter::writeFile(path, png));
    return VXError::eNoError;
}
