#include "VXImageConverter.h"

#include <algorithm>
#include <bit>
#include <cstring>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define VX_HAVE_SSE2 1
#endif

#include "VXChecks.h"
#include "VXImageUtils.h"

// Four pixels are packed into one 64-bit store in pixel order.
static_assert(std::endian::native == std::endian::little, "pixel packing assumes little-endian memory");

namespace {

constexpr const char16_t* kValidate = u"validateParameters_()";
constexpr uint64_t kLowLanes = 0x0000FFFF0000FFFFull;

uint32_t load32(const uint8_t* p) {
    uint32_t value;
    std::memcpy(&value, p, sizeof(value));
    return value;
}

void store32(uint8_t* p, uint32_t value) {
    std::memcpy(p, &value, sizeof(value));
}

uint16_t load16(const uint8_t* p) {
    uint16_t value;
    std::memcpy(&value, p, sizeof(value));
    return value;
}

void store16(uint8_t* p, uint16_t value) {
    std::memcpy(p, &value, sizeof(value));
}

// Shifts of 32 and more give 0 here instead of being undefined; a negative right shift
// stands for a left shift.
uint32_t shiftRight(uint32_t value, int32_t count) {
    if (count >= 32 || count <= -32)
        return 0;
    return count >= 0 ? value >> count : value << -count;
}

uint32_t shiftLeft(uint32_t value, int32_t count) {
    return count >= 32 ? 0 : value << count;
}

VXResult checkPair(const VXImageConverter::ImagePtr& src, const VXRect& srcRect,
                   const VXImageConverter::ImagePtr& dst) {
    VX_CHECK_PARAM(src);
    VX_CHECK_PARAM(dst);
    VX_CHECK_PARAM(srcRect.getLeft() < srcRect.getRight() && srcRect.getTop() < srcRect.getBottom());
    return VXError::eNoError;
}

// The image's pixel address, except that 15-bit pixels take two bytes although the stride
// rule counts one byte per pixel for that depth.
const uint8_t* sourcePixel(const VXImage& src, int32_t x, int32_t y) {
    if (src.getBitDepth() != 15)
        return src.getPixelPtr(x, y);
    const uint8_t* line = x >= 0 && x < src.getWidth() ? src.getLinePtr(y) : nullptr;
    return line == nullptr ? nullptr : line + 2 * static_cast<int64_t>(x);
}

// Calls convertRow(source, destination, count) for each row of srcRect that has a source
// and a destination row, cut to the narrower of the two images.
template <typename ConvertRow>
void forEachRow(const VXImage& src, const VXRect& srcRect, const VXImage& dst, const VXPoint& dstOrigin,
                bool logMissingRows, ConvertRow convertRow) {
    const int64_t srcRoom = static_cast<int64_t>(src.getWidth()) - srcRect.getLeft();
    const int64_t dstRoom = static_cast<int64_t>(dst.getWidth()) - dstOrigin.getX();
    const int32_t count =
        static_cast<int32_t>(std::min<int64_t>(srcRect.getWidth(), std::min<int64_t>(srcRoom, dstRoom)));
    for (int32_t i = 0; i < srcRect.getHeight(); ++i) {
        const uint8_t* source = sourcePixel(src, srcRect.getLeft(), srcRect.getTop() + i);
        uint8_t* destination = dst.getPixelPtr(dstOrigin.getX(), dstOrigin.getY() + i);
        if (source == nullptr || destination == nullptr || count <= 0) {
            if (logMissingRows)
                VX_LOG_ERROR(u"getPixelPtr failed");
            continue;
        }
        convertRow(source, destination, count);
    }
}

// X8R8G8B8 to R5G6B5, the layout nearly every 16-bit image has: the top bits of each byte,
// moved into place. Eight pixels per step where SSE2 is there (every x86-64 processor).
void pack565(const uint8_t* src, uint8_t* dst, int32_t count) {
    int32_t i = 0;
#ifdef VX_HAVE_SSE2
    const __m128i red = _mm_set1_epi32(0xF800);
    const __m128i green = _mm_set1_epi32(0x07E0);
    const __m128i blue = _mm_set1_epi32(0x001F);
    auto packFour = [&](__m128i p) {
        const __m128i v = _mm_or_si128(_mm_or_si128(_mm_and_si128(_mm_srli_epi32(p, 8), red),
                                                    _mm_and_si128(_mm_srli_epi32(p, 5), green)),
                                       _mm_and_si128(_mm_srli_epi32(p, 3), blue));
        // Sign-extended from 16 bits, the saturating pack below keeps every value as it is.
        return _mm_srai_epi32(_mm_slli_epi32(v, 16), 16);
    };
    for (; i + 8 <= count; i += 8) {
        const __m128i first = packFour(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 4 * i)));
        const __m128i second = packFour(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 4 * i + 16)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 2 * i), _mm_packs_epi32(first, second));
    }
#endif
    for (; i < count; ++i) {
        const uint32_t p = load32(src + 4 * i);
        store16(dst + 2 * i,
                static_cast<uint16_t>(((p >> 8) & 0xF800u) | ((p >> 5) & 0x07E0u) | ((p >> 3) & 0x001Fu)));
    }
}

}  // namespace

// ---- the 32 -> 16 rule ----

VXImageConverter::Packer16::Packer16(const VXColorInfo& src, const VXColorInfo& dst) {
    const uint32_t srcMasks[3] = {src.getRedMask(), src.getGreenMask(), src.getBlueMask()};
    const int32_t srcShifts[3] = {src.getRedShift(), src.getGreenShift(), src.getBlueShift()};
    const uint32_t dstMasks[3] = {dst.getRedMask(), dst.getGreenMask(), dst.getBlueMask()};
    const int32_t dstShifts[3] = {dst.getRedShift(), dst.getGreenShift(), dst.getBlueShift()};
    _dstAll = dstMasks[0] | dstMasks[1] | dstMasks[2];
    for (int c = 0; c < 3; ++c) {
        Channel& ch = _channels[c];
        const int32_t bits = std::popcount(shiftRight(dstMasks[c], dstShifts[c]));
        ch.srcMask = srcMasks[c];
        ch.right = srcShifts[c] + (8 - bits);
        ch.dstShift = dstShifts[c];

        // Bits below `right` are dropped anyway, so clearing them first leaves one shift.
        const uint32_t kept = ch.right >= 32 ? 0
                              : ch.right > 0 ? ch.srcMask & ~((1u << ch.right) - 1)
                                             : ch.srcMask;
        const int32_t net = ch.dstShift - ch.right;
        ch.wideLeft = std::max(net, 0);
        ch.wideRight = std::max(-net, 0);
        ch.wideMask = kept | (static_cast<uint64_t>(kept) << 32);
        // A bit shifted past bit 31 would land in the neighbouring pixel.
        if (ch.wideLeft >= 32 || ch.wideRight >= 32 || ch.dstShift >= 32 ||
            ((static_cast<uint64_t>(kept) << ch.wideLeft) >> 32) != 0) {
            _wide = false;
        }
    }
    _standard565 = _dstAll == 0xFFFFu && _channels[0].srcMask == 0x00FF0000u && _channels[0].right == 19 &&
                   _channels[0].dstShift == 11 && _channels[1].srcMask == 0x0000FF00u &&
                   _channels[1].right == 10 && _channels[1].dstShift == 5 &&
                   _channels[2].srcMask == 0x000000FFu && _channels[2].right == 3 &&
                   _channels[2].dstShift == 0;
}

uint16_t VXImageConverter::Packer16::pack(uint32_t pixel) const {
    uint32_t value = 0;
    for (const Channel& ch : _channels)
        value |= shiftLeft(shiftRight(pixel & ch.srcMask, ch.right), ch.dstShift);
    return static_cast<uint16_t>(value & _dstAll);
}

void VXImageConverter::Packer16::packRowPerPixel(const uint8_t* src, uint8_t* dst, int32_t count) const {
    for (int32_t i = 0; i < count; ++i)
        store16(dst + 2 * i, pack(load32(src + 4 * i)));
}

void VXImageConverter::Packer16::packRow(const uint8_t* src, uint8_t* dst, int32_t count) const {
    if (_standard565) {
        pack565(src, dst, count);
        return;
    }
    int32_t i = 0;
    if (_wide) {
        const Channel& r = _channels[0];
        const Channel& g = _channels[1];
        const Channel& b = _channels[2];
        const uint64_t all =
            (static_cast<uint64_t>(_dstAll) | (static_cast<uint64_t>(_dstAll) << 32)) & kLowLanes;
        // Two pixels per 64-bit word, each channel masked and shifted in both halves at once.
        auto packTwo = [&](uint64_t v) {
            return ((((v & r.wideMask) << r.wideLeft) >> r.wideRight) |
                    (((v & g.wideMask) << g.wideLeft) >> g.wideRight) |
                    (((v & b.wideMask) << b.wideLeft) >> b.wideRight)) &
                   all;
        };
        for (; i + 4 <= count; i += 4) {
            uint64_t first;
            uint64_t second;
            std::memcpy(&first, src + 4 * i, 8);
            std::memcpy(&second, src + 4 * i + 8, 8);
            first = packTwo(first);
            second = packTwo(second);
            const uint64_t four = (first & 0xFFFFu) | ((first >> 16) & 0xFFFF0000u) |
                                  ((second & 0xFFFFu) << 32) | ((second << 16) & 0xFFFF000000000000ull);
            std::memcpy(dst + 2 * i, &four, 8);
        }
    }
    packRowPerPixel(src + 4 * i, dst + 2 * i, count - i);
}

// ---- conversions ----

VXResult VXImageConverter::convert32To16(const ImagePtr& src, const VXRect& srcRect, const ImagePtr& dst,
                                         const VXPoint& dstOrigin) {
    VX_RETURN_IF_ERROR(checkPair(src, srcRect, dst));
    if (src->getBitDepth() != 32)
        return VX_ERROR(VXError::eBadParameter, u"src image is not 32 bit [%d]", src->getBitDepth());
    if (dst->getBitDepth() != 16)
        return VX_ERROR(VXError::eBadParameter, u"dst image is not 16 bit [%d]", dst->getBitDepth());
    const std::shared_ptr<VXColorInfo> dstInfo = dst->getColorInfo();
    if (!dstInfo)
        return VX_ERROR(VXError::eNotInitialized, u"missing dst color information");
    const std::shared_ptr<VXColorInfo> srcInfo = src->getColorInfo();
    if (!srcInfo)
        return VX_ERROR(VXError::eNotInitialized, u"missing src color information");

    const Packer16 packer(*srcInfo, *dstInfo);
    forEachRow(*src, srcRect, *dst, dstOrigin, false,
               [&packer](const uint8_t* s, uint8_t* d, int32_t count) { packer.packRow(s, d, count); });
    return VXError::eNoError;
}

VXResult VXImageConverter::convert16To32(const ImagePtr& src, const VXRect& srcRect, const ImagePtr& dst,
                                         const VXPoint& dstOrigin) {
    VX_RETURN_IF_ERROR(checkPair(src, srcRect, dst));
    // 15-bit (5-5-5) pixels take two bytes as well.
    if (src->getBitDepth() != 16 && src->getBitDepth() != 15)
        return VX_ERROR(VXError::eBadParameter, u"src image is not 16 bit [%d]", src->getBitDepth());
    if (dst->getBitDepth() != 32)
        return VX_ERROR(VXError::eBadParameter, u"dst image is not 32 bit [%d]", dst->getBitDepth());
    const std::shared_ptr<VXColorInfo> info = src->getColorInfo();
    if (!info)
        return VX_ERROR(VXError::eNotInitialized, u"missing color information");
    const uint32_t* red = info->getRedTable();
    const uint32_t* green = info->getGreenTable();
    const uint32_t* blue = info->getBlueTable();
    if (red == nullptr || green == nullptr || blue == nullptr)
        return VX_ERROR(VXError::eNotInitialized, u"color lookup tables missing.");
    const uint32_t masks[3] = {info->getRedMask(), info->getGreenMask(), info->getBlueMask()};
    const int32_t shifts[3] = {info->getRedShift(), info->getGreenShift(), info->getBlueShift()};

    forEachRow(*src, srcRect, *dst, dstOrigin, true, [&](const uint8_t* s, uint8_t* d, int32_t count) {
        for (int32_t x = 0; x < count; ++x) {
            const uint32_t p = load16(s + 2 * x);
            store32(d + 4 * x, red[(p & masks[0]) >> shifts[0]] | green[(p & masks[1]) >> shifts[1]] |
                                   blue[(p & masks[2]) >> shifts[2]]);
        }
    });
    return VXError::eNoError;
}

VXResult VXImageConverter::convert8To32(const ImagePtr& src, const VXRect& srcRect, const ImagePtr& dst,
                                        const VXPoint& dstOrigin) {
    VX_RETURN_IF_ERROR(checkPair(src, srcRect, dst));
    if (src->getBitDepth() != 8)
        return VX_ERROR(VXError::eBadParameter, u"src image is not 8 bit [%d]", src->getBitDepth());
    if (dst->getBitDepth() != 32)
        return VX_ERROR(VXError::eBadParameter, u"dst image is not 32 bit [%d]", dst->getBitDepth());
    const std::shared_ptr<VXColorInfo> info = src->getColorInfo();
    if (!info)
        return VX_ERROR(VXError::eNotInitialized, u"missing color information");
    const uint32_t* table = info->getColorTable();
    if (table == nullptr)
        return VX_ERROR(VXError::eNotInitialized, u"color table is NULL");

    forEachRow(*src, srcRect, *dst, dstOrigin, true, [table](const uint8_t* s, uint8_t* d, int32_t count) {
        for (int32_t x = 0; x < count; ++x)
            store32(d + 4 * x, table[s[x]]);
    });
    return VXError::eNoError;
}

VXResult VXImageConverter::convert24To32(const ImagePtr& src, const VXRect& srcRect, const ImagePtr& dst,
                                         const VXPoint& dstOrigin) {
    VX_RETURN_IF_ERROR(checkPair(src, srcRect, dst));
    if (src->getBitDepth() != 24)
        return VX_ERROR(VXError::eBadParameter, u"src image is not 24 bit [%d]", src->getBitDepth());
    if (dst->getBitDepth() != 32)
        return VX_ERROR(VXError::eBadParameter, u"dst image is not 32 bit [%d]", dst->getBitDepth());

    forEachRow(*src, srcRect, *dst, dstOrigin, true, [](const uint8_t* s, uint8_t* d, int32_t count) {
        for (int32_t x = 0; x < count; ++x, s += 3) {
            store32(d + 4 * x, static_cast<uint32_t>(s[0]) | (static_cast<uint32_t>(s[1]) << 8) |
                                   (static_cast<uint32_t>(s[2]) << 16));
        }
    });
    return VXError::eNoError;
}

VXResult VXImageConverter::convert(const ImagePtr& src, const VXRect& srcRect, int32_t dstBitDepth,
                                   ImagePtr& dst) {
    VX_CHECK_PARAM(src);
    // src may be dst itself, which validation replaces.
    const ImagePtr source = src;  // NOLINT(performance-unnecessary-copy-initialization): see above
    const int32_t srcDepth = source->getBitDepth();
    const bool supported =
        (srcDepth == 32 && dstBitDepth == 16) ||
        (dstBitDepth == 32 && (srcDepth == 16 || srcDepth == 15 || srcDepth == 8 || srcDepth == 24));
    if (!supported) {
        return VX_ERROR(VXError::eNotImplemented, u"%s -- no conversion from %d to %d bits",
                        u"VXImageConverter::convert()", srcDepth, dstBitDepth);
    }
    VXRect area;
    VX_RETURN_IF_ERROR(validateParameters_(source, srcRect, dstBitDepth, dst, area));
    const VXPoint origin(0, 0);
    if (dstBitDepth == 16) {
        VX_RETURN_IF_ERROR(convert32To16(source, area, dst, origin));
    } else if (srcDepth == 8) {
        VX_RETURN_IF_ERROR(convert8To32(source, area, dst, origin));
    } else if (srcDepth == 24) {
        VX_RETURN_IF_ERROR(convert24To32(source, area, dst, origin));
    } else {
        VX_RETURN_IF_ERROR(convert16To32(source, area, dst, origin));
    }
    return VXError::eNoError;
}

VXResult VXImageConverter::validateParameters_(const ImagePtr& src, const VXRect& srcRect,
                                               int32_t dstBitDepth, ImagePtr& dst, VXRect& area) {
    VX_CHECK_PARAM(src);
    if (src->getWidth() == 0 || src->getHeight() == 0)
        return VX_ERROR(VXError::eBadParameter, u"srcImage has no size");
    if (dst && (dst->getWidth() == 0 || dst->getHeight() == 0))
        return VX_ERROR(VXError::eBadParameter, u"dstImage has no size");
    // The destination rect is the source rect moved to the origin.
    if (srcRect.isEmpty())
        return VX_ERROR(VXError::eBadParameter, u"dst rectangle is empty...");
    area = srcRect.intersect(VXRect(src->getSize()));
    if (area.isEmpty())
        return VX_ERROR(VXError::eBadParameter, u"non-intersecting src rectangle%s", srcRect.toString());

    if (dst && dst->getBitDepth() == dstBitDepth && dst->getSize() == area.getSize())
        return VXError::eNoError;
    if (dst) {
        VX_LOG_INFO(u"%s -- need new dst image: BPP[%d --> %d] size[%d,%d --> %d,%d]", kValidate,
                    dst->getBitDepth(), dstBitDepth, dst->getWidth(), dst->getHeight(), area.getWidth(),
                    area.getHeight());
    }
    ImagePtr created;
    VX_RETURN_IF_ERROR(VXImageUtils::createImage(area.getSize(), dstBitDepth, nullptr, created));
    dst = std::move(created);
    return VXError::eNoError;
}
