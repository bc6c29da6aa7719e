#include "VXImage.h"

#include <atomic>
#include <mutex>
#include <new>
#include <utility>

#include "VXChecks.h"
#include "VXMakeShared.h"

namespace {

constexpr const char16_t* kImageName = u"image";
constexpr const char16_t* kUnsupportedDepth = u"%s -- unsupported image bpp [%d]";

std::atomic<int32_t> gCreated{0};
std::atomic<int32_t> gRemaining{0};
std::atomic<int64_t> gAllocatedBytes{0};

std::mutex& factoryLock() {
    static std::mutex lock;
    return lock;
}

std::shared_ptr<VXImageFactory>& factorySlot() {
    static std::shared_ptr<VXImageFactory> factory;
    return factory;
}

// The counters and the stride rule compute in 32 bits; wrapping keeps that without
// overflowing a signed int on absurd sizes.
int32_t wrap32(int64_t value) {
    return static_cast<int32_t>(static_cast<uint32_t>(value));
}

}  // namespace

VXImage::VXImage() : VXImage(kImageName) {}

VXImage::VXImage(const char16_t* name) : _name(name) {
    ++gCreated;
    ++gRemaining;
}

VXImage::VXImage(int32_t width, int32_t height, int32_t bitDepth) : VXImage(kImageName) {
    _width = width;
    _height = height;
    _bitDepth = bitDepth;
    _bytesPerPixel = bitDepth > 0 ? bitDepth >> 3 : 0;
    _padding = linePadding(width, bitDepth);
    _bytesPerLine = wrap32(static_cast<int64_t>(rowBytes(width, bitDepth)) + _padding);
    _imageSize = static_cast<int64_t>(_bytesPerLine) * height;
}

VXImage::~VXImage() {
    if (_bits != nullptr && _ownsBits) {
        freeBits(_bits);
        _bits = nullptr;
        addAllocatedBytes(-_allocatedBytes);
    }
    --gRemaining;
}

// The padding comes from the floor of the bit count while the row bytes of sub-byte depths
// round up; a 1-bit row of 10 pixels thus gets 2 + 3 = 5 bytes. Images already laid out by
// that rule depend on it, so it stays.
int32_t VXImage::linePadding(int32_t width, int32_t bitDepth) {
    const int64_t bits = static_cast<int64_t>(width) * bitDepth;
    return wrap32((((bits + 31) >> 3) & ~int64_t{3}) - (bits >> 3));
}

bool VXImage::isLaidOut(int32_t bitDepth) {
    return (bitDepth >= 1 && bitDepth <= 8) || bitDepth == 15 || bitDepth == 16 || bitDepth == 24 ||
           bitDepth == 32;
}

int32_t VXImage::rowBytes(int32_t width, int32_t bitDepth) {
    switch (bitDepth) {
        case 8:
            return width;
        case 15:
        case 16:
            return wrap32(int64_t{2} * width);
        case 24:
            return wrap32(int64_t{3} * width);
        case 32:
            return wrap32(int64_t{4} * width);
        default:
            break;
    }
    // 1, 2 and 4 bits per pixel; other depths are never laid out.
    const int32_t perByte = bitDepth > 0 ? 8 / bitDepth : 0;
    if (perByte == 0)
        return 0;
    return wrap32((static_cast<int64_t>(width) - 1 + perByte) / perByte);
}

uint8_t* VXImage::getLinePtr(int32_t y) const {
    if (_bits == nullptr || y < 0 || y >= _height)
        return nullptr;
    return _bits + static_cast<int64_t>(_bytesPerLine) * y;
}

VXResult VXImage::getPixelPtr(int32_t x, int32_t y, uint8_t*& pointer) const {
    pointer = nullptr;
    if (_bits == nullptr)
        return VXError::eNullPointer;
    if (x < 0 || x >= _width || y < 0 || y >= _height)
        return VXError::eBadIndex;
    pointer = _bits + static_cast<int64_t>(_bytesPerLine) * y + static_cast<int64_t>(_bytesPerPixel) * x;
    return VXError::eNoError;
}

uint8_t* VXImage::getPixelPtr(int32_t x, int32_t y) const {
    uint8_t* pointer = nullptr;
    getPixelPtr(x, y, pointer);
    return pointer;
}

VXResult VXImage::allocate() {
    // Allocating over attached bits is tolerated.
    if (_bits != nullptr)
        VX_LOG_WARNING(u"VXImage::allocate() lpbits is not NULL");
    if (!isLaidOut(_bitDepth))
        return VX_ERROR(VXError::eBadParameter, kUnsupportedDepth, u"VXImage::allocate()", _bitDepth);
    const int64_t size = static_cast<int64_t>(_bytesPerLine) * _height;
    if (size % 4 != 0) {
        VX_LOG_ERROR(u"VXImage::allocate(): image size is not DWORD aligned");
        return VX_ERROR(VXError::eBadParameter, u"Error returned");
    }
    if (size < 0 || size > INT32_MAX) {
        return VX_ERROR(VXError::eBadParameter, u"%s -- invalid image size %s", u"VXImage::allocate()",
                        getSize().toString());
    }
    uint8_t* bits = newBits(size);
    if (bits == nullptr)
        return VX_ERROR(VXError::eNoMemory, u"Error returned");
    // Owned bits being replaced are released (the byte counter keeps counting them, as it
    // always has); unowned ones belong to someone else.
    if (_bits != nullptr && _ownsBits)
        freeBits(_bits);
    _bits = bits;
    _ownsBits = true;
    _allocatedBytes = size;
    _imageSize = size;
    addAllocatedBytes(size);
    return VXError::eNoError;
}

VXResult VXImage::setBits(uint8_t* bits, bool ownsBits) {
    // The new flag decides, not the one the old bits came with; the byte counter is left
    // as it is.
    if (_bits != nullptr && ownsBits && _bits != bits)
        freeBits(_bits);
    _bits = bits;
    _ownsBits = ownsBits;
    return VXError::eNoError;
}

VXResult VXImage::draw(VXDrawTarget target, const VXPoint& point) {
    VX_RETURN_IF_ERROR(draw(target, VXRect(point, getSize())));
    return VXError::eNoError;
}

VXResult VXImage::draw(VXDrawTarget, const VXRect&) {
    return VX_ERROR(VXError::eNotInitialized, u"%s -- not supported", u"VXImage::draw()");
}

VXResult VXImage::drawFrom(VXDrawTarget, const VXRect&, const VXPoint&) {
    return VX_ERROR(VXError::eNotInitialized, u"%s -- not supported", u"VXImage::drawFrom()");
}

VXResult VXImage::blend(VXDrawTarget target, const VXRect& rect, const VXPoint&) {
    VX_RETURN_IF_ERROR(draw(target, rect));
    return VXError::eNoError;
}

VXResult VXImage::copyFromScreen(const VXPoint&) {
    return VX_ERROR(VXError::eNotInitialized, u"%s -- not supported", u"VXImage::copyFromScreen()");
}

void VXImage::setColorInfo(std::shared_ptr<VXColorInfo> colorInfo) {
    _colorInfo = std::move(colorInfo);
}

std::shared_ptr<VXColorInfo> VXImage::getColorInfo() const {
    return _colorInfo;
}

void* VXImage::getHandle() const {
    return nullptr;
}

VXResult VXImage::load(const VXString&) {
    return VX_ERROR(VXError::eNotInitialized, u"%s -- not supported", u"VXImage::load()");
}

VXString VXImage::getName() const {
    return _name;
}

int32_t VXImage::computeBytesPerLine() const {
    return wrap32(static_cast<int64_t>(rowBytes(_width, _bitDepth)) + _padding);
}

uint8_t* VXImage::getLinePtrChecked(int32_t y, const char* caller, int32_t line) const {
    uint8_t* pointer = getLinePtr(y);
    if (pointer == nullptr) {
        VX_LOG_ERROR(u"VXImage::getLinePtr() failed: [%hs] imageSize[%dx%d] Y[%d] -- line %s", caller, _width,
                     _height, y, vxFormat(u"%d", line));
    }
    return pointer;
}

uint8_t* VXImage::getPixelPtrChecked(int32_t x, int32_t y, const char* caller, int32_t line) const {
    uint8_t* pointer = getPixelPtr(x, y);
    if (pointer != nullptr)
        return pointer;
    const VXString point = VXPoint(x, y).toString();
    const VXString lineText = vxFormat(u"%d", line);
    if (caller != nullptr) {
        VX_LOG_ERROR(u"VXImage::getPixelPtr() failed: [%hs] imageSize[%dx%d] point%s -- line %s", caller,
                     _width, _height, point, lineText);
    } else {
        VX_LOG_ERROR(u"VXImage::getPixelPtr() failed: imageSize[%dx%d] point%s -- line %s", _width, _height,
                     point, lineText);
    }
    return nullptr;
}

VXResult VXImage::create(int32_t width, int32_t height, int32_t bitDepth, std::shared_ptr<VXImage>& image) {
    if (!isLaidOut(bitDepth))
        return VX_ERROR(VXError::eBadParameter, kUnsupportedDepth, u"VXImage::create()", bitDepth);
    const std::shared_ptr<VXImageFactory> factory = getFactory();
    std::shared_ptr<VXImage> created = factory ? factory->createImage(width, height, bitDepth)
                                               : vxMakeShared<VXImage>(width, height, bitDepth);
    if (!created)
        return VX_ERROR(VXError::eNoMemory, u"Error returned");
    image = std::move(created);
    return VXError::eNoError;
}

VXResult VXImage::create(std::shared_ptr<VXImage>& image) {
    std::shared_ptr<VXImage> created = create();
    if (!created)
        return VX_ERROR(VXError::eNoMemory, u"Error returned");
    image = std::move(created);
    return VXError::eNoError;
}

std::shared_ptr<VXImage> VXImage::create() {
    const std::shared_ptr<VXImageFactory> factory = getFactory();
    return factory ? factory->createImage() : vxMakeShared<VXImage>();
}

void VXImage::setFactory(std::shared_ptr<VXImageFactory> factory) {
    std::lock_guard<std::mutex> guard(factoryLock());
    factorySlot() = std::move(factory);
}

std::shared_ptr<VXImageFactory> VXImage::getFactory() {
    std::lock_guard<std::mutex> guard(factoryLock());
    return factorySlot();
}

uint8_t* VXImage::newBits(int64_t bytes) {
    if (bytes < 0)
        return nullptr;
    // Whole 32-bit words keep every row start of a 32-bit image aligned.
    return reinterpret_cast<uint8_t*>(new (std::nothrow) uint32_t[static_cast<size_t>((bytes + 3) / 4)]);
}

void VXImage::freeBits(uint8_t* bits) {
    delete[] reinterpret_cast<uint32_t*>(bits);
}

void VXImage::dumpStats() {
    VX_LOG_INFO(u"### VXImage Stats: total[%d] remaining[%d] ###", gCreated.load(), gRemaining.load());
}

int32_t VXImage::totalCount() {
    return gCreated.load();
}

int32_t VXImage::remainingCount() {
    return gRemaining.load();
}

int64_t VXImage::allocatedBytesTotal() {
    return gAllocatedBytes.load();
}

void VXImage::addAllocatedBytes(int64_t delta) {
    gAllocatedBytes += delta;
}
