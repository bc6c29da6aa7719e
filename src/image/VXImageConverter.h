// VXImageConverter: converts the pixels of a rectangle of one image into another image of a
// different bit depth, through the two images' colour information. 32 -> 16 drops the low
// bits of each channel (no rounding, no dithering); 16 -> 32 goes through the lookup tables,
// 8 -> 32 through the colour table, 24 -> 32 moves the bytes. 32-bit results carry the
// tables' 0x00RRGGBB, so their alpha byte is 0.
#pragma once

#include <cstdint>
#include <memory>

#include "VXColorInfo.h"
#include "VXImage.h"
#include "VXPoint.h"
#include "VXRect.h"
#include "VXResult.h"

class VXImageConverter {
public:
    using ImagePtr = std::shared_ptr<VXImage>;

    // srcRect of src (cut to src) into dst at (0,0) with dstBitDepth bits per pixel. dst is
    // replaced by a new image unless it already has that depth and the rect's size.
    static VXResult convert(const ImagePtr& src, const VXRect& srcRect, int32_t dstBitDepth, ImagePtr& dst);

    // The single directions: srcRect of src to dst from dstOrigin. Rows stop at the edge of
    // either image.
    static VXResult convert32To16(const ImagePtr& src, const VXRect& srcRect, const ImagePtr& dst,
                                  const VXPoint& dstOrigin);
    static VXResult convert16To32(const ImagePtr& src, const VXRect& srcRect, const ImagePtr& dst,
                                  const VXPoint& dstOrigin);
    static VXResult convert8To32(const ImagePtr& src, const VXRect& srcRect, const ImagePtr& dst,
                                 const VXPoint& dstOrigin);
    static VXResult convert24To32(const ImagePtr& src, const VXRect& srcRect, const ImagePtr& dst,
                                  const VXPoint& dstOrigin);

    // The 32 -> 16 truncation rule set up from a source and a destination colour info.
    // packRow handles several pixels per step and must equal packRowPerPixel, the plain rule.
    class Packer16 {
    public:
        Packer16(const VXColorInfo& src, const VXColorInfo& dst);
        uint16_t pack(uint32_t pixel) const;
        void packRowPerPixel(const uint8_t* src, uint8_t* dst, int32_t count) const;
        void packRow(const uint8_t* src, uint8_t* dst, int32_t count) const;

    private:
        struct Channel {
            uint32_t srcMask = 0;
            int32_t right = 0;  // may be negative for channels wider than 8 bits
            int32_t dstShift = 0;
            // Two pixels side by side in 64 bits: the mask without the dropped bits, and
            // the one shift that remains.
            uint64_t wideMask = 0;
            int32_t wideLeft = 0;
            int32_t wideRight = 0;
        };
        Channel _channels[3];
        uint32_t _dstAll = 0;
        bool _wide = true;          // no channel's bits leave its 32-bit half when shifted
        bool _standard565 = false;  // X8R8G8B8 to R5G6B5: the common case, done on its own
    };

private:
    // Checks the sizes and rectangles of convert and replaces dst when it does not fit; area
    // receives the part of srcRect that lies on src.
    static VXResult validateParameters_(const ImagePtr& src, const VXRect& srcRect, int32_t dstBitDepth,
                                        ImagePtr& dst, VXRect& area);
};
