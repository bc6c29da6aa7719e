#include "VXImageUtils.h"

#include <cstring>
#include <vector>

#include "VXChecks.h"
#include "VXImageConverter.h"
#include "VXMakeShared.h"
#include "VXPngWriter.h"

// Creation, rectangle copies, bounds checks and saving; the other groups live in
// VXImageUtilsSearch.cpp, VXImageUtilsAlpha.cpp and VXImageUtilsScale.cpp.

namespace {

constexpr const char16_t* kCreateImage = u"VXImageUtils::createImage()";
constexpr const char16_t* kCreateCopy = u"VXImageUtils::createCopy()";
constexpr const char16_t* kCopy = u"VXImageUtils::copy()";

bool isSupportedDepth(int32_t bitDepth) {
    return bitDepth == 8 || bitDepth == 16 || bitDepth == 24 || bitDepth == 32;
}

// Inverted edges count as bad even when they would describe an empty area.
bool isRectInside(const VXRect& rect, const VXImage& image) {
    return rect.getLeft() <= rect.getRight() && rect.getLeft() >= 0 && rect.getRight() <= image.getWidth() &&
           rect.getTop() <= rect.getBottom() && rect.getTop() >= 0 && rect.getBottom() <= image.getHeight();
}

// Whether copying rows top to bottom would overwrite source rows before they are read: the
// destination starts further along the direction the rows advance in memory (downwards for a
// top-down image, upwards for a bottom-up one). Images that share no memory never do.
bool readsAfterWriting(const VXImage& src, const VXRect& from, const VXImage& dst, const VXRect& to,
                       int32_t height) {
    if (height < 2)
        return false;
    const auto first = reinterpret_cast<uintptr_t>(src.getPixelPtr(from.getLeft(), from.getTop()));
    const auto second = reinterpret_cast<uintptr_t>(src.getPixelPtr(from.getLeft(), from.getTop() + 1));
    const auto target = reinterpret_cast<uintptr_t>(dst.getPixelPtr(to.getLeft(), to.getTop()));
    return second > first ? target > first : target < first;
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
    // The two rects may lie in one image, or in sub-images of one parent: rows are taken in
    // the order that reads each source row before a destination row covers it.
    const bool backwards = readsAfterWriting(*src, from, *dst, dstRect, height);
    for (int32_t k = 0; k < height; ++k) {
        const int32_t i = backwards ? height - 1 - k : k;
        const uint8_t* from_ = src->getPixelPtr(from.getLeft(), from.getTop() + i);
        uint8_t* to = dst->getPixelPtr(dstRect.getLeft(), dstRect.getTop() + i);
        if (from_ == nullptr || to == nullptr) {
            return VXResult(VXError::eNullPointer, u"NULL pixel ptr[%p][%p] >> %s",
                            static_cast<const void*>(from_), static_cast<const void*>(to), VX_SITE.text());
        }
        std::memmove(to, from_, rowBytes);
    }
    return VXError::eNoError;
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
