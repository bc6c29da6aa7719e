#include "VXImageUtils.h"

#include <bit>
#include <cstring>

#include "VXChecks.h"

// Comparison and difference searches.

namespace {

constexpr const char16_t* kCompare = u"VXImageUtils::compare()";
constexpr const char16_t* kFindLeft = u"VXImageUtils::findLeftMostDifference()";
constexpr const char16_t* kFindRight = u"VXImageUtils::findRightMostDifference()";
constexpr const char16_t* kFindBottom = u"VXImageUtils::findBottomMostDifference()";

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
