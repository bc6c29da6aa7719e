// VXImageUtils: free operations on images: creation with validation, rectangle copies,
// comparison and difference search, alpha handling and compositing, fast scaling, saving.
// One class over four sources: VXImageUtils.cpp (creation, copies, bounds, saving),
// VXImageUtilsSearch.cpp, VXImageUtilsAlpha.cpp and VXImageUtilsScale.cpp.
// Images come in by shared reference and are never kept; a null image is reported, not
// assumed away.
//
// Parameter lists chosen here where callers had none to follow:
// - compare reports the order of the first differing byte (VXStatus::eLessThan,
//   eGreaterThan, eEqualTo) and, when asked, the first row that differs;
// - the difference searches take the band they scan (rows for the column searches, columns
//   for the row searches) and answer VXStatus::eYes with the column or row, or
//   VXStatus::eNo and -1 when the band is identical;
// - applyAlphaInfo premultiplies the colour of a 32-bit image by its alpha;
// - scale is nearest-neighbour between two rectangles of images of one depth;
// - saveToFile writes PNG.
#pragma once

#include <cstdint>
#include <memory>

#include "VXColorInfo.h"
#include "VXImage.h"
#include "VXPoint.h"
#include "VXRect.h"
#include "VXResult.h"
#include "VXSize.h"
#include "VXString.h"

class VXImageUtils {
public:
    using ImagePtr = std::shared_ptr<VXImage>;

    static constexpr int32_t kMaxDimension = 65536;

    // A new image with allocated (uncleared) pixels. Without colorInfo a standard one for
    // bitDepth is made; a given one must have bitDepth bits per pixel.
    static VXResult createImage(const VXSize& size, int32_t bitDepth,
                                const std::shared_ptr<VXColorInfo>& colorInfo, ImagePtr& image);
    // Same size, depth and colour info as source, with its pixels.
    static VXResult createCopy(const ImagePtr& source, ImagePtr& image);
    // Copies srcRect of src to dstRect of dst (equal depths). An empty srcRect stands for
    // the whole of src placed at srcRect's origin; a smaller source copies less (logged).
    static VXResult copy(const ImagePtr& dst, const VXRect& dstRect, const ImagePtr& src,
                         const VXRect& srcRect);

    // memcmp order of the first differing byte of the rows (padding not compared):
    // VXStatus::eEqualTo, eLessThan or eGreaterThan. firstDifferentRow gets that row, or -1.
    static VXResult compare(const ImagePtr& image1, const ImagePtr& image2,
                            int32_t* firstDifferentRow = nullptr);
    // Columns from the left (right) over rows [firstRow, firstRow + rowCount) of two
    // images of one width; image2 must lie within image1 at the origin.
    static VXResult findLeftMostDifference(const ImagePtr& image1, const ImagePtr& image2, int32_t firstRow,
                                           int32_t rowCount, int32_t& column);
    static VXResult findRightMostDifference(const ImagePtr& image1, const ImagePtr& image2, int32_t firstRow,
                                            int32_t rowCount, int32_t& column);
    // Rows from the top (bottom) of image2 over columns [firstColumn, firstColumn + columnCount).
    static VXResult findTopMostDifference(const ImagePtr& image1, const ImagePtr& image2, int32_t firstColumn,
                                          int32_t columnCount, int32_t& row);
    static VXResult findBottomMostDifference(const ImagePtr& image1, const ImagePtr& image2,
                                             int32_t firstColumn, int32_t columnCount, int32_t& row);
    // 2005 unless rect lies within image (edges inclusive, so an empty rect at the far edge passes).
    static VXResult checkBounds(const VXImage& image, const VXRect& rect);

    // Straight-alpha compositing of srcOrigin.. of src over dstRect of dst. Red and blue
    // blend in one packed multiply, green in another; the destination alpha is kept.
    // Alpha comes from alphaImage (8 bits, read at the source position) or, without one,
    // from the top byte of a 32-bit source. An 8-bit source is read through its colour table.
    static VXResult composite(const ImagePtr& dst, const VXRect& dstRect, const ImagePtr& src,
                              const VXPoint& srcOrigin, const ImagePtr& alphaImage);
    static VXResult composite(const ImagePtr& dst, const VXRect& dstRect, const ImagePtr& src,
                              const VXPoint& srcOrigin);
    // One alpha for every pixel of a 32- or 24-bit source.
    static VXResult composite(const ImagePtr& dst, const VXRect& dstRect, const ImagePtr& src,
                              const VXPoint& srcOrigin, uint8_t alpha);
    // The source colour is already multiplied by its alpha: d = d * (255 - a) / 256 + s.
    static VXResult compositePremultipliedSrc(const ImagePtr& dst, const VXRect& dstRect, const ImagePtr& src,
                                              const VXPoint& srcOrigin);
    // The blend arithmetic on one destination pixel (bytes B, G, R); source is 0x00RRGGBB.
    // Wrap-around is intended: for alpha <= 255 the packed red-blue multiply never lets one
    // channel disturb the other.
    static void blendPixel(uint8_t* destination, uint32_t source, uint32_t alpha) {
        const uint32_t rbD = (static_cast<uint32_t>(destination[2]) << 16) | destination[0];
        const uint32_t rbS = source & 0x00FF00FFu;
        const uint32_t rb = (((rbS - rbD) * alpha) >> 8) + rbD;
        const uint32_t gD = destination[1];
        const uint32_t g = (((((source >> 8) & 0xFFu) - gD) * alpha) >> 8) + gD;
        destination[0] = static_cast<uint8_t>(rb);
        destination[1] = static_cast<uint8_t>(g);
        destination[2] = static_cast<uint8_t>(rb >> 16);
    }

    // The top byte of each 32-bit pixel from the 8-bit alphaImage of the same size.
    static VXResult setAlphaChannel(const ImagePtr& dst, const ImagePtr& alphaImage);
    // One alpha for every pixel of a 32-bit image.
    static VXResult setAlphaChannel(const ImagePtr& dst, uint8_t alpha);
    // Multiplies the colour of each 32-bit pixel by its alpha (rounded): straight to premultiplied.
    static VXResult applyAlphaInfo(const ImagePtr& image);
    // Clears the alpha byte of a 32-bit image, writing only bytes that are not 0 already.
    static VXResult ZeroAlphaChannel(const ImagePtr& srcImage);

    // Doubles a 32-bit image into dstImage (at least twice its size) by repeating pixels.
    static VXResult scaleUpFast50(const ImagePtr& srcImage, const ImagePtr& dstImage);
    // Nearest-neighbour from srcRect of src to dstRect of dst, both of one depth of 8 bits or more.
    static VXResult scale(const ImagePtr& src, const VXRect& srcRect, const ImagePtr& dst,
                          const VXRect& dstRect);

    // PNG without alpha; 8-, 16- and 24-bit images are written through a 32-bit copy.
    static VXResult saveToFile(const ImagePtr& image, const VXString& path);
};
