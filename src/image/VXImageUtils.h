// VXImageUtils: free operations on images: creation with validation, rectangle copies,
// comparison and difference search, alpha handling and compositing, fast scaling, saving.
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
};
