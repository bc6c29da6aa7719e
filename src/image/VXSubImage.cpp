#include "VXSubImage.h"

#include <atomic>

#include "VXChecks.h"

namespace {

std::atomic<int32_t> gCreated{0};
std::atomic<int32_t> gRemaining{0};

}  // namespace

VXSubImage::VXSubImage() : VXImage(u"subImage") {
    _ownsBits = false;
    ++gCreated;
    ++gRemaining;
}

VXSubImage::~VXSubImage() {
    // The pixels are the parent's.
    _bits = nullptr;
    --gRemaining;
}

uint8_t* VXSubImage::getLinePtr(int32_t y) const {
    if (_bits == nullptr || !_parent || y < 0 || y >= _height)
        return nullptr;
    return _parent->getPixelPtr(_originX, _originY + y);
}

VXResult VXSubImage::getPixelPtr(int32_t x, int32_t y, uint8_t*& pointer) const {
    pointer = nullptr;
    if (_bits == nullptr)
        return VXError::eNullPointer;
    if (x < 0 || x >= _width || y < 0 || y >= _height)
        return VXError::eBadIndex;
    uint8_t* line = getLinePtr(y);
    if (line == nullptr)
        return VXError::eNullPointer;
    pointer = line + static_cast<int64_t>(_bytesPerPixel) * x;
    return VXError::eNoError;
}

VXResult VXSubImage::setBits(uint8_t*, bool) {
    return VX_ERROR(VXError::eNotInitialized, u"%s -- a sub-image shows its parent's pixels",
                    u"VXSubImage::setBits()");
}

VXResult VXSubImage::draw(VXDrawTarget target, const VXPoint& point) {
    VX_RETURN_IF_ERROR(draw(target, VXRect(point, getSize())));
    return VXError::eNoError;
}

VXResult VXSubImage::draw(VXDrawTarget target, const VXRect& rect) {
    if (!_parent)
        return VX_ERROR(VXError::ePreconditionFailed, u"Error returned");
    VX_RETURN_IF_ERROR(_parent->drawFrom(target, rect, getOrigin()));
    return VXError::eNoError;
}

void* VXSubImage::getHandle() const {
    return _parent ? _parent->getHandle() : nullptr;
}

VXResult VXSubImage::initialize(const std::shared_ptr<VXImage>& parent, const VXRect& rect) {
    if (!parent || parent->getBits() == nullptr || parent->getWidth() <= 0 || parent->getHeight() <= 0) {
        return VX_ERROR(VXError::ePreconditionFailed, u"Error returned");
    }
    const VXRect parentRect(parent->getSize());
    if (rect.getLeft() < 0 || rect.getRight() > parent->getWidth() || rect.getTop() < 0 ||
        rect.getBottom() > parent->getHeight()) {
        VX_LOG_ERROR(u"%s -- parent rect%s does not enclose%s", u"VXSubImage::initialize()",
                     parentRect.toString(), rect.toString());
        return VX_ERROR(VXError::eBadParameter, u"Error returned");
    }
    _parent = parent;
    _originX = rect.getLeft();
    _originY = rect.getTop();
    _width = rect.getWidth();
    _height = rect.getHeight();
    _bitDepth = parent->getBitDepth();
    _bytesPerPixel = parent->getBytesPerPixel();
    _bytesPerLine = parent->getBytesPerLine();
    _padding = parent->getPadding();
    _imageSize = static_cast<int64_t>(_bytesPerPixel) * _height * _width;
    _bits = rect.getLeft() < rect.getRight() && rect.getTop() < rect.getBottom()
                ? parent->getPixelPtr(rect.getLeft(), rect.getTop())
                : nullptr;
    _ownsBits = false;
    _allocatedBytes = 0;
    setColorInfo(parent->getColorInfo());
    return VXError::eNoError;
}

void VXSubImage::dumpStats() {
    VX_LOG_INFO(u"### VXSubImage Stats: total[%d] remaining[%d] ###", gCreated.load(), gRemaining.load());
}

int32_t VXSubImage::totalCount() {
    return gCreated.load();
}

int32_t VXSubImage::remainingCount() {
    return gRemaining.load();
}
