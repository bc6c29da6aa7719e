// The PNG writer on images of odd sizes and any depth (8-, 16- and 24-bit ones through the
// converter, as saving does), top-down or bottom-up, with and without alpha. The file is read
// back: its chunks must be in place and its pixels, once inflated and unfiltered, the image's.
#include <cstring>
#include <memory>
#include <vector>

#include "VXDumpText.h"
#include "VXImageConverter.h"
#include "VXImageUtils.h"
#include "VXPngWriter.h"

namespace {

uint32_t readU32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 |
           static_cast<uint32_t>(p[2]) << 8 | p[3];
}

constexpr size_t kHeaderEnd = 8 + 8 + 13 + 4;  // signature, IHDR with its length, type and CRC

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 4)
        return 0;
    static constexpr int32_t kDepths[] = {8, 16, 24, 32};
    const int32_t depth = kDepths[data[0] % 4];
    const bool bottomUp = (data[0] & 0x04) != 0;
    const auto channels = (data[0] & 0x08) ? VXPngWriter::Channels::eRGBA : VXPngWriter::Channels::eRGB;
    const int32_t width = 1 + data[1] % 67;
    const int32_t height = 1 + data[2] % 31;
    std::shared_ptr<VXImage> image;
    if (VXImageUtils::createImage(VXSize(width, height), depth, nullptr, image).isError())
        return 0;
    uint8_t* bits = image->getBits();
    for (int64_t i = 0; i < image->getImageSize(); ++i)
        bits[i] = data[3 + static_cast<size_t>(i) % (size - 3)];
    std::shared_ptr<VXImage> rgb = image;
    if (depth != 32) {
        rgb.reset();
        if (VXImageConverter::convert(image, VXRect(image->getSize()), 32, rgb).isError())
            __builtin_trap();
    }
    const int64_t line = rgb->getBytesPerLine();
    const uint8_t* first = bottomUp ? rgb->getLinePtr(height - 1) : rgb->getLinePtr(0);
    std::vector<uint8_t> png;
    if (VXPngWriter::encode(first, static_cast<uint32_t>(width), static_cast<uint32_t>(height),
                            bottomUp ? -line : line, channels, png)
            .isError()) {
        __builtin_trap();
    }

    const size_t bytesPerPixel = channels == VXPngWriter::Channels::eRGBA ? 4 : 3;
    if (png.size() < kHeaderEnd + 12 + 12 || readU32(png.data() + 16) != static_cast<uint32_t>(width) ||
        readU32(png.data() + 20) != static_cast<uint32_t>(height) ||
        std::memcmp(png.data() + kHeaderEnd + 4, "IDAT", 4) != 0) {
        __builtin_trap();
    }
    const uint32_t idat = readU32(png.data() + kHeaderEnd);
    if (kHeaderEnd + 12 + idat + 12 != png.size() || std::memcmp(png.data() + png.size() - 8, "IEND", 4) != 0)
        __builtin_trap();
    std::vector<uint8_t> raw;
    if (VXDumpText::inflate(png.data() + kHeaderEnd + 8, idat, raw).isError() ||
        raw.size() != static_cast<size_t>(height) * (1 + bytesPerPixel * static_cast<size_t>(width))) {
        __builtin_trap();
    }
    // Undo the Sub filter row by row and compare with the pixels the image holds.
    const uint8_t* row = raw.data();
    for (int32_t y = 0; y < height; ++y, row += 1 + bytesPerPixel * static_cast<size_t>(width)) {
        const uint8_t* pixel = bottomUp ? rgb->getLinePtr(height - 1 - y) : rgb->getLinePtr(y);
        uint8_t previous[4] = {0, 0, 0, 0};
        for (int32_t x = 0; x < width; ++x, pixel += 4) {
            const uint8_t expected[4] = {pixel[2], pixel[1], pixel[0], pixel[3]};
            for (size_t c = 0; c < bytesPerPixel; ++c) {
                previous[c] = static_cast<uint8_t>(previous[c] + row[1 + x * bytesPerPixel + c]);
                if (previous[c] != expected[c])
                    __builtin_trap();
            }
        }
    }
    return 0;
}
