// VXImageWin32: an image whose pixels live in a GDI DIB section, so that the same memory is
// read and written directly and also drawn to, blended onto or filled from a device context.
// The image factory installed by installFactory makes these for every VXImage::create.
// The section owns the pixels: never attach other bits over them with setBits.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>

#include "VXImage.h"

class VXImageWin32 : public VXImage {
public:
    VXImageWin32();
    // Rows of depths below 8 bits take GDI's stride (whole 32-bit words), which the section has.
    VXImageWin32(int32_t width, int32_t height, int32_t bitDepth);
    ~VXImageWin32() override;

    using VXImage::draw;
    using VXImage::getPixelPtr;
    // Row y counted from the top whether the DIB is top-down or bottom-up.
    uint8_t* getLinePtr(int32_t y) const override;
    VXResult getPixelPtr(int32_t x, int32_t y, uint8_t*& pointer) const override;
    uint8_t* getPixelPtr(int32_t x, int32_t y) const override;
    // Builds the bitmap info for the depth (with the colour table of 8-bit images and the
    // masks of 16-bit ones) and creates the DIB section. 2009 on an allocated image.
    VXResult allocate() override;
    // Refused (2007) for owned bits, which the image would later free though a DIB section
    // or the caller holds them, and once a bitmap exists; unowned bits attached before
    // allocate are kept.
    VXResult setBits(uint8_t* bits, bool ownsBits) override;
    VXResult draw(VXDrawTarget target, const VXRect& rect) override;
    VXResult drawFrom(VXDrawTarget target, const VXRect& rect, const VXPoint& sourceOrigin) override;
    // Blends this 32-bit image by its per-pixel alpha over what the target device context
    // shows at rect, reading from sourceOrigin.
    VXResult blend(VXDrawTarget target, const VXRect& rect, const VXPoint& sourceOrigin) override;
    // Fills the whole image from the screen, starting at origin in screen coordinates.
    VXResult copyFromScreen(const VXPoint& origin) override;
    // Also writes the colour table into the DIB of a palette image.
    void setColorInfo(std::shared_ptr<VXColorInfo> colorInfo) override;
    void* getHandle() const override;
    // Takes a bitmap from a resource of the executable with that name or else from a .bmp
    // file; the image must be empty.
    VXResult load(const VXString& name) override;

    VXResult createBitmap();
    // A colour info that describes the DIB: its colour table, or its masks.
    VXResult createColorInfoFromBitmap();

    // Must be chosen before allocate; top-down by default.
    void setBottomUp(bool bottomUp) { _bottomUp = bottomUp; }
    bool isBottomUp() const { return _bottomUp; }
    const BITMAPINFO* getBitmapInfo() const { return _bitmapInfo.get(); }
    int32_t getBitmapInfoSize() const { return _bitmapInfoSize; }

    // Bitmap info bytes for a depth: 52 for 16 and 32 bits (three masks), 40 for 24, a full
    // 256-entry table for 4 bits, 40 + (4 shl depth) otherwise.
    static int32_t bitmapInfoSize(int32_t bitDepth);
    // Makes VXImage::create produce VXImageWin32 images.
    static void installFactory();

    // "### VXImageWin32 stats: handles: total[%d] remaining[%d] ###"
    static void dumpStats();
    static int32_t handlesCreated();
    static int32_t handlesRemaining();
    static int64_t handleBytes();

private:
    struct FreeBitmapInfo {
        void operator()(BITMAPINFO* info) const;
    };

    VXResult adoptLoadedBitmap_(HBITMAP bitmap);
    void writeColorTable_();

    std::unique_ptr<BITMAPINFO, FreeBitmapInfo> _bitmapInfo;
    HBITMAP _bitmap = nullptr;
    bool _bottomUp = false;
    int32_t _bitmapInfoSize = 0;
};
