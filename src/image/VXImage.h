// VXImage: a width x height raster of one bit depth, rows of a fixed stride, row 0 first,
// with a shared colour description. The capture fills one and the server serialises it.
// Platform images derive from it and are created through the image factory.
#pragma once

#include <cstdint>
#include <memory>

#include "VXColorInfo.h"
#include "VXImageFactory.h"
#include "VXPoint.h"
#include "VXRect.h"
#include "VXResult.h"
#include "VXSize.h"
#include "VXString.h"

// What draw and blend paint on: a device context on Windows.
using VXDrawTarget = void*;

class VXImage {
public:
    // An empty image: every field 0, name "image".
    VXImage();
    // Applies the stride rule; no pixels until allocate or setBits.
    VXImage(int32_t width, int32_t height, int32_t bitDepth);
    virtual ~VXImage();
    VXImage(const VXImage&) = delete;
    VXImage& operator=(const VXImage&) = delete;

    // Row y, or null without pixels or outside 0 <= y < height.
    virtual uint8_t* getLinePtr(int32_t y) const;
    // 2002 without pixels, 2016 outside the image; pointer is null then.
    virtual VXResult getPixelPtr(int32_t x, int32_t y, uint8_t*& pointer) const;
    virtual uint8_t* getPixelPtr(int32_t x, int32_t y) const;
    // stride x height bytes, 4-byte aligned and not cleared; 2005 for a depth the stride rule
    // cannot lay out.
    virtual VXResult allocate();
    // Attaches pixel memory. Attaching owned bits frees the current bits first, whoever
    // owned them, so owned bits only ever replace owned bits. Owned bits must come from
    // newBits.
    virtual VXResult setBits(uint8_t* bits, bool ownsBits);
    virtual VXResult draw(VXDrawTarget target, const VXPoint& point);
    // 2007 here: a plain image has nothing to draw with.
    virtual VXResult draw(VXDrawTarget target, const VXRect& rect);
    // Draws the part of this image that starts at sourceOrigin; 2007 here. A sub-image
    // draws through its parent with it.
    virtual VXResult drawFrom(VXDrawTarget target, const VXRect& rect, const VXPoint& sourceOrigin);
    // Plain images blend by drawing.
    virtual VXResult blend(VXDrawTarget target, const VXRect& rect, const VXPoint& sourceOrigin);
    // Fills the image from the screen at origin; 2007 here.
    virtual VXResult copyFromScreen(const VXPoint& origin);
    virtual void setColorInfo(std::shared_ptr<VXColorInfo> colorInfo);
    virtual std::shared_ptr<VXColorInfo> getColorInfo() const;
    // The platform bitmap handle; null here.
    virtual void* getHandle() const;
    // Loads a bitmap by name through the platform; 2007 here.
    virtual VXResult load(const VXString& name);
    virtual VXString getName() const;
    virtual int32_t computeBytesPerLine() const;

    uint8_t* getBits() const { return _bits; }
    int32_t getWidth() const { return _width; }
    int32_t getHeight() const { return _height; }
    VXSize getSize() const { return VXSize(_width, _height); }
    int32_t getBitDepth() const { return _bitDepth; }
    int32_t getBytesPerPixel() const { return _bytesPerPixel; }
    int32_t getBytesPerLine() const { return _bytesPerLine; }
    int32_t getPadding() const { return _padding; }
    int64_t getImageSize() const { return _imageSize; }
    bool ownsBits() const { return _ownsBits; }
    int64_t getAllocatedBytes() const { return _allocatedBytes; }

    // Checked access for the utilities: a null answer is logged with the caller and the
    // source line. A null caller gives the short pixel message.
    uint8_t* getLinePtrChecked(int32_t y, const char* caller, int32_t line) const;
    uint8_t* getPixelPtrChecked(int32_t x, int32_t y, const char* caller, int32_t line) const;

    // Creation goes through the installed factory, or makes a plain image; 2005 for a depth
    // the stride rule cannot lay out.
    static VXResult create(int32_t width, int32_t height, int32_t bitDepth, std::shared_ptr<VXImage>& image);
    static VXResult create(std::shared_ptr<VXImage>& image);
    static std::shared_ptr<VXImage> create();
    static void setFactory(std::shared_ptr<VXImageFactory> factory);
    static std::shared_ptr<VXImageFactory> getFactory();

    // Pixel memory an image may own: 4-byte aligned, freed with freeBits.
    static uint8_t* newBits(int64_t bytes);
    static void freeBits(uint8_t* bits);

    // Depths the stride rule can lay out: 1 to 8 bits, 15, 16, 24 and 32. Any other gives rows
    // of no bytes, so creation and allocation refuse it.
    static bool isLaidOut(int32_t bitDepth);
    // Row bytes of the stride rule; quirks included (see VXImage.cpp).
    static int32_t rowBytes(int32_t width, int32_t bitDepth);
    static int32_t linePadding(int32_t width, int32_t bitDepth);

    // "### VXImage Stats: total[%d] remaining[%d] ###"
    static void dumpStats();
    static int32_t totalCount();
    static int32_t remainingCount();
    static int64_t allocatedBytesTotal();

protected:
    // For derived images that set up their own fields.
    explicit VXImage(const char16_t* name);
    static void addAllocatedBytes(int64_t delta);

    uint8_t* _bits = nullptr;
    int64_t _imageSize = 0;
    int32_t _width = 0;
    int32_t _height = 0;
    int32_t _bitDepth = 0;
    int32_t _bytesPerPixel = 0;
    int32_t _bytesPerLine = 0;
    int32_t _padding = 0;
    bool _ownsBits = true;
    int64_t _allocatedBytes = 0;
    VXString _name;
    std::shared_ptr<VXColorInfo> _colorInfo;
};

// Checked access with the calling function and line filled in.
#define VX_LINE_PTR(image, y) (image).getLinePtrChecked((y), VX_FUNC, __LINE__)
#define VX_PIXEL_PTR(image, x, y) (image).getPixelPtrChecked((x), (y), VX_FUNC, __LINE__)
