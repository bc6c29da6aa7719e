// VXSubImage: a view on a rectangle of a parent image. It shares the parent's pixels (rows
// step as the parent's rows do, bottom-up DIBs included) and keeps the parent alive while it
// exists.
#pragma once

#include <memory>

#include "VXImage.h"

class VXSubImage : public VXImage {
public:
    VXSubImage();
    ~VXSubImage() override;

    using VXImage::getPixelPtr;
    // Row y of the view is the parent's row origin.y + y: the parent decides where it lies.
    uint8_t* getLinePtr(int32_t y) const override;
    VXResult getPixelPtr(int32_t x, int32_t y, uint8_t*& pointer) const override;
    // Refused (2007): the pixels are the parent's, the view can neither own nor replace them.
    VXResult setBits(uint8_t* bits, bool ownsBits) override;
    VXResult draw(VXDrawTarget target, const VXPoint& point) override;
    // Draws through the parent, from this view's origin.
    VXResult draw(VXDrawTarget target, const VXRect& rect) override;
    // The parent's handle.
    void* getHandle() const override;
    // 2021 without a usable parent, 2005 when rect leaves the parent. An empty rect gives a
    // view without bits.
    virtual VXResult initialize(const std::shared_ptr<VXImage>& parent, const VXRect& rect);

    const std::shared_ptr<VXImage>& getParent() const { return _parent; }
    VXPoint getOrigin() const { return VXPoint(_originX, _originY); }

    // "### VXSubImage Stats: total[%d] remaining[%d] ###"
    static void dumpStats();
    static int32_t totalCount();
    static int32_t remainingCount();

private:
    std::shared_ptr<VXImage> _parent;
    int32_t _originX = 0;
    int32_t _originY = 0;
};
