// VXSubImage: a view on a rectangle of a parent image. It shares the parent's pixels (rows
// step by the parent's stride) and keeps the parent alive while it exists.
#pragma once

#include <memory>

#include "VXImage.h"

class VXSubImage : public VXImage {
public:
    VXSubImage();
    ~VXSubImage() override;

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
