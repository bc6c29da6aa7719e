#include "VXImageWin32.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "VXChecks.h"
#include "VXImageUtils.h"
#include "VXImageWin32Factory.h"
#include "VXMakeShared.h"

namespace {

constexpr int32_t kHeaderSize = sizeof(BITMAPINFOHEADER);  // 40
constexpr int32_t kMaskBytes = 3 * sizeof(uint32_t);
constexpr int32_t kColorTableBytes = VXColorInfo::kColorTableSize * sizeof(uint32_t);
constexpr const char16_t* kAllocate = u"VXImageWin32::allocate()";
constexpr const char16_t* kBlend = u"VXImageWin32::blend()";
// A 16-bit BI_RGB bitmap holds 5-5-5 pixels; only BI_BITFIELDS names other masks.
constexpr uint32_t kRgb555Masks[3] = {0x7C00, 0x03E0, 0x001F};
constexpr const char16_t* kColorInfoFromBitmap = u"VXImageWin32::createColorInfoFromBitmap()";

std::atomic<int32_t> gHandlesCreated{0};
std::atomic<int32_t> gHandlesRemaining{0};
std::atomic<int64_t> gHandleBytes{0};

// Some GDI failures leave no last error; the site form still reads that as a failure.
VXResult win32Failure(const char16_t* method, DWORD error, const VXSourceLocation& site) {
    return VXResult::fromWin32Error(method, error, site);
}

// The screen's device context for the lifetime of the object.
class ScreenDC {
public:
    ScreenDC() : _dc(GetDC(nullptr)) {}
    ~ScreenDC() {
        if (_dc != nullptr)
            ReleaseDC(nullptr, _dc);
    }
    ScreenDC(const ScreenDC&) = delete;
    ScreenDC& operator=(const ScreenDC&) = delete;
    HDC get() const { return _dc; }

private:
    HDC _dc;
};

// A memory context compatible with another, holding one bitmap; restored and deleted on
// destruction so that the bitmap is free to be selected elsewhere.
class MemoryDC {
public:
    MemoryDC(HDC compatibleWith, HBITMAP bitmap) : _dc(CreateCompatibleDC(compatibleWith)) {
        if (_dc == nullptr) {
            _error = GetLastError();
            return;
        }
        _saved = SaveDC(_dc);
        const HGDIOBJ previous = SelectObject(_dc, bitmap);
        _selected = previous != nullptr && previous != HGDI_ERROR;
        if (!_selected)
            _error = GetLastError();
    }
    ~MemoryDC() {
        if (_dc == nullptr)
            return;
        if (_saved != 0)
            RestoreDC(_dc, _saved);
        DeleteDC(_dc);
    }
    MemoryDC(const MemoryDC&) = delete;
    MemoryDC& operator=(const MemoryDC&) = delete;
    bool ok() const { return _dc != nullptr && _selected; }
    HDC get() const { return _dc; }
    // Which call failed, for the result.
    const char16_t* failedCall() const { return _dc == nullptr ? u"CreateCompatibleDC" : u"SelectObject"; }
    DWORD error() const { return _error; }

private:
    HDC _dc;
    int _saved = 0;
    bool _selected = false;
    DWORD _error = 0;
};

uint32_t load32(const uint8_t* p) {
    uint32_t value;
    std::memcpy(&value, p, sizeof(value));
    return value;
}

}  // namespace

void VXImageWin32::FreeBitmapInfo::operator()(BITMAPINFO* info) const {
    std::free(info);
}

VXImageWin32::VXImageWin32() = default;

VXImageWin32::VXImageWin32(int32_t width, int32_t height, int32_t bitDepth)
    : VXImage(width, height, bitDepth) {
    // GDI pads every row of a section to whole 32-bit words from the rounded-up bit count;
    // the plain stride rule pads sub-byte rows by one byte more, which walks past the section.
    if (bitDepth >= 1 && bitDepth < 8) {
        const int64_t stride = ((static_cast<int64_t>(width) * bitDepth + 31) / 32) * 4;
        _bytesPerLine = static_cast<int32_t>(static_cast<uint32_t>(stride));
        _padding = _bytesPerLine - rowBytes(width, bitDepth);
        _imageSize = static_cast<int64_t>(_bytesPerLine) * height;
    }
}

VXImageWin32::~VXImageWin32() {
    if (_bitmap != nullptr) {
        DeleteObject(_bitmap);
        _bitmap = nullptr;
        --gHandlesRemaining;
        gHandleBytes -= _bitmapInfo ? _bitmapInfo->bmiHeader.biSizeImage : 0;
        // The pixels went with the section.
        _bits = nullptr;
    }
    addAllocatedBytes(-_allocatedBytes);
    _allocatedBytes = 0;
}

uint8_t* VXImageWin32::getLinePtr(int32_t y) const {
    if (_bits == nullptr || y < 0 || y >= _height)
        return nullptr;
    const int32_t row = _bottomUp ? _height - 1 - y : y;
    return _bits + static_cast<int64_t>(_bytesPerLine) * row;
}

VXResult VXImageWin32::getPixelPtr(int32_t x, int32_t y, uint8_t*& pointer) const {
    pointer = nullptr;
    if (_bits == nullptr)
        return VXError::eNullPointer;
    if (x < 0 || x >= _width || y < 0 || y >= _height)
        return VXError::eBadIndex;
    pointer = getLinePtr(y) + static_cast<int64_t>(_bytesPerPixel) * x;
    return VXError::eNoError;
}

uint8_t* VXImageWin32::getPixelPtr(int32_t x, int32_t y) const {
    uint8_t* pointer = nullptr;
    getPixelPtr(x, y, pointer);
    return pointer;
}

VXResult VXImageWin32::setBits(uint8_t* bits, bool ownsBits) {
    if (ownsBits || _bitmap != nullptr) {
        return VX_ERROR(VXError::eNotInitialized, u"%s -- the pixels belong to the DIB section",
                        u"VXImageWin32::setBits()");
    }
    return VXImage::setBits(bits, false);
}

int32_t VXImageWin32::bitmapInfoSize(int32_t bitDepth) {
    switch (bitDepth) {
        case 4:
            return kHeaderSize + kColorTableBytes;  // a full table, though 16 entries are used
        case 16:
        case 32:
            return kHeaderSize + kMaskBytes;
        case 24:
            return kHeaderSize;
        default:
            break;
    }
    // 8 bits: 1064, 1 bit: 48; depths whose table would not fit an int are refused.
    if (bitDepth < 0 || bitDepth > 28)
        return -1;
    return kHeaderSize + (4 << bitDepth);
}

VXResult VXImageWin32::allocate() {
    if (_bitmapInfo || _bits != nullptr)
        return VX_ERROR(VXError::eExists, u"attempting to allocate but _lpbmi,_lpbits not NULL");
    if (!isLaidOut(_bitDepth)) {
        return VX_ERROR(VXError::eBadParameter, u"%s -- unsupported image bpp [%d]", kAllocate, _bitDepth);
    }
    // biSizeImage is 32 bits; larger sections are refused rather than described as empty.
    const int64_t pixelBytes = static_cast<int64_t>(_bytesPerLine) * _height;
    if (pixelBytes < 0 || pixelBytes > INT32_MAX) {
        return VX_ERROR(VXError::eBadParameter, u"%s -- invalid image size %s", kAllocate,
                        getSize().toString());
    }
    const int32_t infoSize = bitmapInfoSize(_bitDepth);
    VX_CHECK_PARAM(infoSize > 0);
    std::unique_ptr<BITMAPINFO, FreeBitmapInfo> info(static_cast<BITMAPINFO*>(std::calloc(1, infoSize)));
    if (!info)
        return VX_ERROR(VXError::eNoMemory, u"Error returned");

    BITMAPINFOHEADER& header = info->bmiHeader;
    header.biSize = kHeaderSize;
    header.biWidth = _width;
    header.biHeight = _bottomUp ? _height : -_height;
    header.biPlanes = 1;
    header.biBitCount = static_cast<WORD>(_bitDepth);
    header.biCompression = BI_RGB;
    header.biSizeImage = static_cast<DWORD>(pixelBytes);
    if (_bitDepth == 8 || _bitDepth == 16) {
        if (!_colorInfo) {
            std::shared_ptr<VXColorInfo> created = vxMakeShared<VXColorInfo>();
            if (!created)
                return VX_ERROR(VXError::eNoMemory, u"Error returned");
            VX_RETURN_IF_ERROR(created->initialize(_bitDepth));
            _colorInfo = std::move(created);
        }
        if (_bitDepth == 8) {
            header.biClrUsed = VXColorInfo::kColorTableSize;
            header.biClrImportant = VXColorInfo::kColorTableSize;
            std::memcpy(info->bmiColors, _colorInfo->getColorTable(), kColorTableBytes);
        } else {
            const uint32_t masks[3] = {_colorInfo->getRedMask(), _colorInfo->getGreenMask(),
                                       _colorInfo->getBlueMask()};
            std::memcpy(info->bmiColors, masks, kMaskBytes);
            header.biCompression = BI_BITFIELDS;
        }
    }

    _bitmapInfo = std::move(info);
    _bitmapInfoSize = infoSize;
    const VXResult created = createBitmap();
    if (created.isError()) {
        _bitmapInfo.reset();
        _bitmapInfoSize = 0;
        return VX_CHAIN(created);
    }
    _allocatedBytes = infoSize;
    addAllocatedBytes(infoSize);
    return VXError::eNoError;
}

VXResult VXImageWin32::createBitmap() {
    if (_bitmap != nullptr) {
        VX_LOG_WARNING(u"the bitmap already exists.");
        return VXError::eNoError;
    }
    if (!_bitmapInfo) {
        return VXResult(VXError::eNotInitialized, u"class not initialized[0x%X] %s",
                        static_cast<uint32_t>(reinterpret_cast<uintptr_t>(this)), VX_SITE.text());
    }
    if (_bits != nullptr) {
        VX_LOG_WARNING(u"### memory was allocated externally ###");
        return VXError::eNoError;
    }
    const ScreenDC screen;
    if (screen.get() == nullptr)
        return VX_ERROR(VXError::eNoAccess, u"Error returned");
    void* bits = nullptr;
    SetLastError(0);
    const HBITMAP bitmap =
        CreateDIBSection(screen.get(), _bitmapInfo.get(), DIB_RGB_COLORS, &bits, nullptr, 0);
    const DWORD error = GetLastError();
    if (bitmap == nullptr) {
        if (error == ERROR_INVALID_HANDLE)
            return VX_ERROR(VXError::eNoAccess, u"Error returned");
        const VXResult failure = win32Failure(u"CreateDIBSection", error, VX_SITE);
        const BITMAPINFOHEADER& h = _bitmapInfo->bmiHeader;
        VX_LOG_ERROR(
            u"BitmapInfo: biSize %d; biWidth %d; biHeight %d; biPlanes %d; biBitCount %d; biCompression %d; "
            u"biSizeImage %d; biClrUsed %d; biClrImportant %d",
            h.biSize, h.biWidth, h.biHeight, h.biPlanes, h.biBitCount, h.biCompression, h.biSizeImage,
            h.biClrUsed, h.biClrImportant);
        return VX_CHAIN(failure);
    }
    _bitmap = bitmap;
    _bits = static_cast<uint8_t*>(bits);
    _ownsBits = false;
    ++gHandlesCreated;
    ++gHandlesRemaining;
    gHandleBytes += _bitmapInfo->bmiHeader.biSizeImage;
    return VXError::eNoError;
}

VXResult VXImageWin32::draw(VXDrawTarget target, const VXRect& rect) {
    VX_RETURN_IF_ERROR(drawFrom(target, rect, VXPoint(0, 0)));
    return VXError::eNoError;
}

VXResult VXImageWin32::drawFrom(VXDrawTarget target, const VXRect& rect, const VXPoint& sourceOrigin) {
    VX_CHECK_PARAM(target);
    if (_bitmap == nullptr)
        VX_RETURN_IF_ERROR(createBitmap());
    if (_bitmap == nullptr)
        return VX_ERROR(VXError::eNotInitialized, u"%s -- no bitmap to draw", u"VXImageWin32::draw()");
    const HDC targetDC = static_cast<HDC>(target);
    const MemoryDC memory(targetDC, _bitmap);
    if (!memory.ok())
        return win32Failure(memory.failedCall(), memory.error(), VX_SITE);
    if (!BitBlt(targetDC, rect.getLeft(), rect.getTop(), rect.getWidth(), rect.getHeight(), memory.get(),
                sourceOrigin.getX(), sourceOrigin.getY(), SRCCOPY)) {
        return win32Failure(u"BitBlt", GetLastError(), VX_SITE);
    }
    return VXError::eNoError;
}

VXResult VXImageWin32::blend(VXDrawTarget target, const VXRect& rect, const VXPoint& sourceOrigin) {
    VX_CHECK_PARAM(target);
    VX_CHECK_PARAM(!rect.isEmpty());
    if (_bitmap == nullptr)
        VX_RETURN_IF_ERROR(createBitmap());
    if (_bitDepth != 32)
        return VX_ERROR(VXError::eBadStatus, u"The source must be a 32-bit image");
    const int32_t width = rect.getWidth();
    const int32_t height = rect.getHeight();
    if (sourceOrigin.getX() < 0 || sourceOrigin.getY() < 0 ||
        static_cast<int64_t>(sourceOrigin.getX()) + width > _width ||
        static_cast<int64_t>(sourceOrigin.getY()) + height > _height) {
        return VX_ERROR(VXError::eBadParameter, u"The source origin puts some pixels out of bounds");
    }

    // What the target shows under rect, blended in memory and put back.
    VXImageWin32 under(width, height, 32);
    VX_RETURN_IF_ERROR(under.allocate());
    const HDC targetDC = static_cast<HDC>(target);
    const MemoryDC memory(targetDC, under._bitmap);
    if (!memory.ok())
        return win32Failure(memory.failedCall(), memory.error(), VX_SITE);
    if (!BitBlt(memory.get(), 0, 0, width, height, targetDC, rect.getLeft(), rect.getTop(), SRCCOPY)) {
        const DWORD error = GetLastError();
        VX_LOG_ERROR(u"%s - failed src blit %d", kBlend, error);
        return win32Failure(u"BitBlit", error, VX_SITE);
    }
    // GDI may batch; the pixels must be there before the CPU reads them.
    GdiFlush();
    for (int32_t y = 0; y < height; ++y) {
        uint8_t* d = under.getLinePtr(y);
        const uint8_t* s = getPixelPtr(sourceOrigin.getX(), sourceOrigin.getY() + y);
        for (int32_t x = 0; x < width; ++x, d += 4, s += 4) {
            const uint32_t pixel = load32(s);
            VXImageUtils::blendPixel(d, pixel, pixel >> 24);
        }
    }
    if (!BitBlt(targetDC, rect.getLeft(), rect.getTop(), width, height, memory.get(), 0, 0, SRCCOPY)) {
        const DWORD error = GetLastError();
        VX_LOG_ERROR(u"%s - failed dst blit %d", kBlend, error);
        return win32Failure(u"BitBlt", error, VX_SITE);
    }
    return VXError::eNoError;
}

VXResult VXImageWin32::copyFromScreen(const VXPoint& origin) {
    if (_bitmap == nullptr)
        VX_RETURN_IF_ERROR(createBitmap());
    if (_bitmap == nullptr)
        return VX_ERROR(VXError::eNotInitialized, u"%s -- no bitmap to fill",
                        u"VXImageWin32::copyFromScreen()");
    const ScreenDC screen;
    if (screen.get() == nullptr)
        return VX_ERROR(VXError::eNoAccess, u"Error returned");
    const MemoryDC memory(screen.get(), _bitmap);
    if (!memory.ok())
        return win32Failure(memory.failedCall(), memory.error(), VX_SITE);
    if (!BitBlt(memory.get(), 0, 0, _width, _height, screen.get(), origin.getX(), origin.getY(), SRCCOPY))
        return win32Failure(u"BitBlt", GetLastError(), VX_SITE);
    GdiFlush();
    return VXError::eNoError;
}

void VXImageWin32::setColorInfo(std::shared_ptr<VXColorInfo> colorInfo) {
    VXImage::setColorInfo(std::move(colorInfo));
    writeColorTable_();
}

void VXImageWin32::writeColorTable_() {
    if (_bitmap == nullptr || !_colorInfo || _bitDepth < 1 || _bitDepth > 8)
        return;
    const UINT entries = 1u << _bitDepth;
    const uint32_t* table = _colorInfo->getColorTable();
    // The block describes the bitmap, so it follows the table too.
    if (_bitmapInfo && static_cast<int64_t>(kHeaderSize) + 4 * entries <= _bitmapInfoSize)
        std::memcpy(_bitmapInfo->bmiColors, table, 4 * entries);
    const MemoryDC memory(nullptr, _bitmap);
    // 0x00RRGGBB in memory is B, G, R, 0: an RGBQUAD.
    if (!memory.ok() ||
        SetDIBColorTable(memory.get(), 0, entries, reinterpret_cast<const RGBQUAD*>(table)) == 0)
        VX_LOG_ERROR(u"%s -- SetDIBColorTable failed: %d", u"VXImageWin32::setColorInfo()", GetLastError());
}

void* VXImageWin32::getHandle() const {
    return _bitmap;
}

VXResult VXImageWin32::createColorInfoFromBitmap() {
    if (_bitmap == nullptr)
        return VX_ERROR(VXError::eNotInitialized, u"%s -- no bitmap", kColorInfoFromBitmap);
    std::shared_ptr<VXColorInfo> info;
    if (_bitDepth <= 8) {
        RGBQUAD quads[VXColorInfo::kColorTableSize] = {};
        const MemoryDC memory(nullptr, _bitmap);
        const UINT count =
            memory.ok() ? GetDIBColorTable(memory.get(), 0, VXColorInfo::kColorTableSize, quads) : 0;
        if (count == 0) {
            return VX_ERROR(VXError::eUnexpected, u"%s -- GetDIBColorTable() failed: %d",
                            kColorInfoFromBitmap, GetLastError());
        }
        uint32_t entries[VXColorInfo::kColorTableSize] = {};
        for (UINT i = 0; i < count; ++i) {
            entries[i] = (static_cast<uint32_t>(quads[i].rgbRed) << 16) |
                         (static_cast<uint32_t>(quads[i].rgbGreen) << 8) | quads[i].rgbBlue;
        }
        // Built from the table alone: initialising for a palette depth would read the
        // system palette, which a true-colour display does not have.
        info = vxMakeShared<VXColorInfo>(static_cast<uint8_t>(_bitDepth), 0u, 0u, 0u, (1u << _bitDepth) - 1);
        if (!info)
            return VX_ERROR(VXError::eNoMemory, u"Error returned");
        VX_RETURN_IF_ERROR(info->setColorTable(entries, static_cast<int32_t>(count)));
    } else if (_bitmapInfo && _bitmapInfo->bmiHeader.biCompression == BI_BITFIELDS) {
        uint32_t masks[3];
        std::memcpy(masks, _bitmapInfo->bmiColors, kMaskBytes);
        info = vxMakeShared<VXColorInfo>(static_cast<uint8_t>(_bitDepth), masks[0], masks[1], masks[2], 0u);
        if (!info)
            return VX_ERROR(VXError::eNoMemory, u"Error returned");
    } else if (_bitDepth == 16) {
        info = vxMakeShared<VXColorInfo>(static_cast<uint8_t>(_bitDepth), kRgb555Masks[0], kRgb555Masks[1],
                                         kRgb555Masks[2], 0u);
        if (!info)
            return VX_ERROR(VXError::eNoMemory, u"Error returned");
    } else {
        info = vxMakeShared<VXColorInfo>();
        if (!info)
            return VX_ERROR(VXError::eNoMemory, u"Error returned");
        VX_RETURN_IF_ERROR(info->initialize(_bitDepth));
    }
    VXImage::setColorInfo(std::move(info));
    return VXError::eNoError;
}

VXResult VXImageWin32::load(const VXString& name) {
    if (_bitmapInfo || _bits != nullptr || _bitmap != nullptr)
        return VX_ERROR(VXError::eExists, u"%s -- the image is not empty", u"VXImageWin32::load()");
    VX_CHECK_PARAM(!name.isEmpty());
    HANDLE loaded =
        LoadImageW(GetModuleHandleW(nullptr), name.wstr(), IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION);
    if (loaded == nullptr)
        loaded = LoadImageW(nullptr, name.wstr(), IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION | LR_LOADFROMFILE);
    if (loaded == nullptr)
        return win32Failure(u"LoadImage", GetLastError(), VX_SITE);
    const HBITMAP bitmap = static_cast<HBITMAP>(loaded);
    const VXResult adopted = adoptLoadedBitmap_(bitmap);
    if (adopted.isError()) {
        if (_bitmap == nullptr)
            DeleteObject(bitmap);
        return VX_CHAIN(adopted);
    }
    return VXError::eNoError;
}

VXResult VXImageWin32::adoptLoadedBitmap_(HBITMAP bitmap) {
    DIBSECTION section = {};
    if (GetObjectW(bitmap, sizeof(section), &section) != static_cast<int>(sizeof(section)))
        return win32Failure(u"GetObject", GetLastError(), VX_SITE);
    const int32_t depth = section.dsBm.bmBitsPixel;
    const int32_t infoSize = bitmapInfoSize(depth);
    VX_CHECK_PARAM(infoSize > 0);
    std::unique_ptr<BITMAPINFO, FreeBitmapInfo> info(static_cast<BITMAPINFO*>(std::calloc(1, infoSize)));
    if (!info)
        return VX_ERROR(VXError::eNoMemory, u"Error returned");
    info->bmiHeader = section.dsBmih;
    info->bmiHeader.biSize = kHeaderSize;
    if (section.dsBmih.biCompression == BI_BITFIELDS && infoSize >= kHeaderSize + kMaskBytes)
        std::memcpy(info->bmiColors, section.dsBitfields, kMaskBytes);

    _width = section.dsBm.bmWidth;
    _height = section.dsBm.bmHeight;
    _bitDepth = depth;
    _bytesPerPixel = depth >> 3;
    _padding = linePadding(_width, depth);
    _bytesPerLine = section.dsBm.bmWidthBytes;
    _imageSize = static_cast<int64_t>(_bytesPerLine) * _height;
    _bottomUp = section.dsBmih.biHeight > 0;
    if (info->bmiHeader.biSizeImage == 0)
        info->bmiHeader.biSizeImage = static_cast<DWORD>(_imageSize);

    _bitmapInfo = std::move(info);
    _bitmapInfoSize = infoSize;
    _bitmap = bitmap;
    _bits = static_cast<uint8_t*>(section.dsBm.bmBits);
    _ownsBits = false;
    ++gHandlesCreated;
    ++gHandlesRemaining;
    gHandleBytes += _bitmapInfo->bmiHeader.biSizeImage;
    _allocatedBytes = infoSize;
    addAllocatedBytes(infoSize);
    VX_RETURN_IF_ERROR(createColorInfoFromBitmap());
    return VXError::eNoError;
}

void VXImageWin32::installFactory() {
    VXImage::setFactory(std::make_shared<VXImageWin32Factory>());
}

void VXImageWin32::dumpStats() {
    VX_LOG_INFO(u"### VXImageWin32 stats: handles: total[%d] remaining[%d] ###", gHandlesCreated.load(),
                gHandlesRemaining.load());
}

int32_t VXImageWin32::handlesCreated() {
    return gHandlesCreated.load();
}

int32_t VXImageWin32::handlesRemaining() {
    return gHandlesRemaining.load();
}

int64_t VXImageWin32::handleBytes() {
    return gHandleBytes.load();
}
