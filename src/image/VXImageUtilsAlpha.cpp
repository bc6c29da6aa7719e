#include "VXImageUtils.h"

#include <cstring>

#include "VXChecks.h"

// Compositing and the alpha channel.

namespace {

constexpr const char16_t* kComposite = u"VXImageUtils::composite()";
constexpr const char16_t* kCompositePremultiplied = u"VXImageUtils::compositePremultipliedSrc()";
constexpr const char16_t* kSetAlphaChannel = u"VXImageUtils::setAlphaChannel()";
constexpr const char16_t* kApplyAlphaInfo = u"VXImageUtils::applyAlphaInfo()";

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
