#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "ImageTestSupport.h"
#include "VXImageConverter.h"
#include "VXImageWin32.h"
#include "VXSubImage.h"

namespace {

using imagetest::get32;
using imagetest::set32;

std::shared_ptr<VXImageWin32> allocated(int32_t width, int32_t height, int32_t depth) {
    auto image = std::make_shared<VXImageWin32>(width, height, depth);
    if (depth == 8)
        image->setColorInfo(VXColorInfo::createFixed256ColorInfo());
    const VXResult r = image->allocate();
    EXPECT_TRUE(r.isSuccess()) << r.message().toUtf8();
    return image;
}

TEST(VXImageWin32Allocate, FactoryMakesDibSectionsWithBitmapInfoByDepthAndCountedHandles) {
    const int32_t remaining = VXImageWin32::handlesRemaining();
    VXImageWin32::installFactory();
    std::shared_ptr<VXImage> made;
    const VXResult r = VXImageUtils::createImage(VXSize(100, 50), 32, nullptr, made);
    VXImage::setFactory(nullptr);
    ASSERT_TRUE(r.isSuccess()) << r.message().toUtf8();
    auto image = std::dynamic_pointer_cast<VXImageWin32>(made);
    made.reset();
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->getBitmapInfo()->bmiHeader.biHeight, -50);  // top-down
    DIBSECTION section = {};
    ASSERT_EQ(GetObjectW(static_cast<HBITMAP>(image->getHandle()), sizeof(section), &section),
              static_cast<int>(sizeof(section)));
    EXPECT_EQ(section.dsBm.bmBits, image->getBits());
    EXPECT_EQ(section.dsBm.bmWidthBytes, image->getBytesPerLine());
    EXPECT_EQ(VXImageWin32::handlesRemaining(), remaining + 1);
    EXPECT_EQ(image->allocate().code(), VXError::eExists);
    image.reset();
    EXPECT_EQ(VXImageWin32::handlesRemaining(), remaining);

    const auto sixteen = allocated(3, 2, 16);
    EXPECT_EQ(sixteen->getBitmapInfo()->bmiHeader.biCompression, static_cast<DWORD>(BI_BITFIELDS));
    const uint32_t masks[3] = {0xF800, 0x07E0, 0x001F};
    EXPECT_EQ(std::memcmp(sixteen->getBitmapInfo()->bmiColors, masks, sizeof(masks)), 0);
    const auto eight = allocated(4, 2, 8);
    EXPECT_EQ(eight->getBitmapInfo()->bmiHeader.biClrUsed, 256u);
    EXPECT_EQ(std::memcmp(eight->getBitmapInfo()->bmiColors, VXColorInfo::fixedPalette(), 1024), 0);
}

// Sections lay rows out as GDI does, also where the plain stride rule pads sub-byte rows by
// one byte more; sizes whose byte count biSizeImage cannot hold, and depths without a layout,
// are refused.
TEST(VXImageWin32Allocate, SectionsTakeGdisStrideAndRefuseWhatBitmapInfoCannotDescribe) {
    const struct {
        int32_t width, height, depth;
    } layouts[] = {{10, 1024, 1}, {9, 64, 4}, {33, 3, 1}, {5, 2, 24}, {3, 2, 16}};
    for (const auto& l : layouts) {
        SCOPED_TRACE(testing::Message() << l.width << " x " << l.height << " x " << l.depth);
        const auto image = allocated(l.width, l.height, l.depth);
        DIBSECTION section = {};
        ASSERT_EQ(GetObjectW(static_cast<HBITMAP>(image->getHandle()), sizeof(section), &section),
                  static_cast<int>(sizeof(section)));
        EXPECT_EQ(image->getBytesPerLine(), section.dsBm.bmWidthBytes);
        EXPECT_EQ(image->getBitmapInfo()->bmiHeader.biSizeImage,
                  static_cast<DWORD>(section.dsBm.bmWidthBytes * l.height));
        // The last row lies inside the section.
        std::memset(image->getLinePtr(l.height - 1), 0xA5, VXImage::rowBytes(l.width, l.depth));
    }
    const struct {
        int32_t width, height, depth;
        const char* message;
    } refusals[] = {{65536, 65536, 32, "VXImageWin32::allocate() -- invalid image size [65536,65536]"},
                    {32768, 32768, 32, "VXImageWin32::allocate() -- invalid image size [32768,32768]"},
                    {4, 4, 20, "VXImageWin32::allocate() -- unsupported image bpp [20]"}};
    for (const auto& r : refusals) {
        VXImageWin32 image(r.width, r.height, r.depth);
        const VXResult result = image.allocate();
        EXPECT_EQ(result.code(), VXError::eBadParameter) << r.message;
        EXPECT_THAT(text(result), HasSubstr(r.message));
        EXPECT_EQ(image.getHandle(), nullptr);
    }
}

// A 32-bit canvas selected into a memory context: the target of draw and blend.
class VXImageWin32Drawing : public testing::Test {
protected:
    void SetUp() override {
        canvas = allocated(8, 8, 32);
        dc = CreateCompatibleDC(nullptr);
        ASSERT_NE(dc, nullptr);
        previous = SelectObject(dc, static_cast<HBITMAP>(canvas->getHandle()));
        fillCanvas(0x30);
    }
    void TearDown() override {
        SelectObject(dc, previous);
        DeleteDC(dc);
    }
    void fillCanvas(uint8_t value) {
        GdiFlush();
        imagetest::fillBytes(*canvas, value);
    }
    uint32_t canvasRgb(int32_t x, int32_t y) {
        GdiFlush();
        return get32(*canvas, x, y) & 0x00FFFFFFu;
    }
    std::shared_ptr<VXImageWin32> canvas;
    HDC dc = nullptr;
    HGDIOBJ previous = nullptr;
};

TEST_F(VXImageWin32Drawing, DrawCopiesTheImageToTheRectSubImagesFromTheirOriginIndicesThroughTheTable) {
    const auto image = allocated(4, 4, 32);
    for (int32_t y = 0; y < 4; ++y)
        for (int32_t x = 0; x < 4; ++x)
            set32(*image, x, y, 0x00010000u * (x + 1) + 0x0100u * (y + 1) + 0x07u);
    ASSERT_TRUE(image->draw(dc, VXRect(2, 3, 6, 7)).isSuccess());
    for (int32_t y = 0; y < 8; ++y) {
        for (int32_t x = 0; x < 8; ++x) {
            const bool inside = x >= 2 && x < 6 && y >= 3 && y < 7;
            const uint32_t expected = inside ? get32(*image, x - 2, y - 3) & 0x00FFFFFFu : 0x00303030u;
            EXPECT_EQ(canvasRgb(x, y), expected) << x << "," << y;
        }
    }

    fillCanvas(0);
    auto view = std::make_shared<VXSubImage>();
    ASSERT_TRUE(view->initialize(image, VXRect(1, 2, 3, 4)).isSuccess());
    ASSERT_TRUE(view->draw(dc, VXPoint(0, 0)).isSuccess());
    EXPECT_EQ(canvasRgb(0, 0), get32(*image, 1, 2) & 0x00FFFFFFu);
    EXPECT_EQ(canvasRgb(1, 1), get32(*image, 2, 3) & 0x00FFFFFFu);
    EXPECT_EQ(canvasRgb(2, 0), 0u);

    // An 8-bit table given later reaches the DIB itself: a colour info made from the bitmap sees
    // it, and drawing an index shows its table colour.
    const auto indexed = allocated(4, 2, 8);
    auto grey = std::make_shared<VXColorInfo>(static_cast<uint8_t>(8), 0u, 0u, 0u, 0u);
    std::vector<uint32_t> ramp(256);
    for (uint32_t i = 0; i < 256; ++i)
        ramp[i] = i * 0x010101u;
    ASSERT_TRUE(grey->setColorTable(ramp.data(), 256).isSuccess());
    indexed->setColorInfo(grey);
    const VXResult fromBitmap = indexed->createColorInfoFromBitmap();
    ASSERT_TRUE(fromBitmap.isSuccess()) << fromBitmap.message().toUtf8();
    ASSERT_NE(indexed->getColorInfo(), grey);
    EXPECT_EQ(std::memcmp(indexed->getColorInfo()->getColorTable(), ramp.data(), 1024), 0);

    imagetest::fillBytes(*indexed, 0x40);
    ASSERT_TRUE(indexed->draw(dc, VXPoint(0, 0)).isSuccess());
    EXPECT_EQ(canvasRgb(3, 1), 0x00404040u);
    EXPECT_EQ(canvasRgb(4, 1), 0u);
}

TEST_F(VXImageWin32Drawing, BlendMixesByEachSourcePixelsAlphaAndRefusesOtherDepths) {
    const VXResult depth = allocated(4, 4, 24)->blend(dc, VXRect(0, 0, 4, 4), VXPoint(0, 0));
    EXPECT_EQ(depth.code(), VXError::eBadStatus);
    EXPECT_THAT(text(depth), HasSubstr("The source must be a 32-bit image"));
    EXPECT_EQ(canvasRgb(0, 0), 0x00303030u);

    fillCanvas(0);
    const auto image = allocated(4, 4, 32);
    imagetest::fillBytes(*image, 0);
    set32(*image, 2, 2, 0x80FF8040);  // half: 7F 40 20
    set32(*image, 3, 2, 0xFF204060);  // opaque: one short where above black
    set32(*image, 2, 3, 0x00FFFFFF);  // transparent
    ASSERT_TRUE(image->blend(dc, VXRect(5, 5, 7, 7), VXPoint(2, 2)).isSuccess());
    EXPECT_EQ(canvasRgb(5, 5), 0x007F4020u);
    EXPECT_EQ(canvasRgb(6, 5), 0x001F3F5Fu);
    EXPECT_EQ(canvasRgb(5, 6), 0u);
    EXPECT_EQ(canvasRgb(4, 5), 0u);
    EXPECT_EQ(canvasRgb(7, 5), 0u);
}

std::vector<uint8_t> savedBytes(const std::shared_ptr<VXImage>& image, const char* name) {
    const std::filesystem::path file = std::filesystem::temp_directory_path() / name;
    const VXResult r = VXImageUtils::saveToFile(image, VXString::fromWide(file.c_str()));
    EXPECT_TRUE(r.isSuccess()) << r.message().toUtf8();
    std::ifstream in(file, std::ios::binary);
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    in.close();
    std::filesystem::remove(file);
    return bytes;
}

TEST(VXImageWin32Files, BmpLoadsBottomUpAndBottomUpImagesSaveTopRowFirstAndViewThroughTheirRows) {
    // A 3 x 2 24-bit .bmp, stored bottom row first as the format has it.
    const uint8_t bottom[12] = {0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0x19, 0, 0, 0};
    const uint8_t top[12] = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0, 0, 0};
    const BITMAPINFOHEADER header = {sizeof(BITMAPINFOHEADER), 3, 2, 1, 24, BI_RGB, 24, 0, 0, 0, 0};
    const DWORD offset = sizeof(BITMAPFILEHEADER) + sizeof(header);
    const BITMAPFILEHEADER fileHeader = {0x4D42, offset + 24, 0, 0, offset};
    const std::filesystem::path file = std::filesystem::temp_directory_path() / "vx_imagewin32_load.bmp";
    FILE* out = _wfopen(file.c_str(), L"wb");
    ASSERT_NE(out, nullptr);
    fwrite(&fileHeader, sizeof(fileHeader), 1, out);
    fwrite(&header, sizeof(header), 1, out);
    fwrite(bottom, 12, 1, out);
    fwrite(top, 12, 1, out);
    fclose(out);

    VXImageWin32 image;
    const VXResult r = image.load(VXString::fromWide(file.c_str()));
    std::filesystem::remove(file);
    ASSERT_TRUE(r.isSuccess()) << r.message().toUtf8();
    EXPECT_EQ(image.getSize(), VXSize(3, 2));
    EXPECT_TRUE(image.isBottomUp());
    ASSERT_NE(image.getPixelPtr(2, 1), nullptr);
    EXPECT_EQ(image.getPixelPtr(0, 0)[2], 0x03);
    EXPECT_EQ(image.getPixelPtr(2, 1)[0], 0x17);

    // 16 bits without masks are 5-5-5: pure red and pure green stay pure.
    const uint16_t pixels555[2] = {0x7C00, 0x03E0};
    const BITMAPINFOHEADER header16 = {sizeof(BITMAPINFOHEADER), 2, 1, 1, 16, BI_RGB, 4, 0, 0, 0, 0};
    const BITMAPFILEHEADER fileHeader16 = {0x4D42, offset + 4, 0, 0, offset};
    out = _wfopen(file.c_str(), L"wb");
    ASSERT_NE(out, nullptr);
    fwrite(&fileHeader16, sizeof(fileHeader16), 1, out);
    fwrite(&header16, sizeof(header16), 1, out);
    fwrite(pixels555, sizeof(pixels555), 1, out);
    fclose(out);
    auto sixteen = std::make_shared<VXImageWin32>();
    const VXResult loaded16 = sixteen->load(VXString::fromWide(file.c_str()));
    std::filesystem::remove(file);
    ASSERT_TRUE(loaded16.isSuccess()) << loaded16.message().toUtf8();
    ASSERT_EQ(sixteen->getBitDepth(), 16);
    std::shared_ptr<VXImage> rgb;
    ASSERT_TRUE(VXImageConverter::convert(sixteen, VXRect(sixteen->getSize()), 32, rgb).isSuccess());
    EXPECT_EQ(get32(*rgb, 0, 0) & 0xFFFFFFu, 0xFF0000u);
    EXPECT_EQ(get32(*rgb, 1, 0) & 0xFFFFFFu, 0x00FF00u);
    // Wine describes such a section with BI_BITFIELDS and the 5-5-5 masks; Windows with BI_RGB
    // alone, as here.
    const auto described = allocated(2, 1, 16);
    const_cast<BITMAPINFO*>(described->getBitmapInfo())->bmiHeader.biCompression = BI_RGB;
    ASSERT_TRUE(described->createColorInfoFromBitmap().isSuccess());
    EXPECT_EQ(described->getColorInfo()->getRedMask(), 0x7C00u);
    EXPECT_EQ(described->getColorInfo()->getGreenMask(), 0x03E0u);
    EXPECT_EQ(described->getColorInfo()->getBlueMask(), 0x001Fu);

    // A bottom-up image of our own, saved and viewed.
    auto upward = std::make_shared<VXImageWin32>(5, 3, 32);
    upward->setBottomUp(true);
    ASSERT_TRUE(upward->allocate().isSuccess());
    for (int32_t y = 0; y < 3; ++y)
        for (int32_t x = 0; x < 5; ++x)
            std::memset(upward->getPixelPtr(x, y), 10 * y + x, 4);  // rows as the image orders them
    EXPECT_EQ(upward->getBits()[0], 20);                            // the bottom row comes first in memory
    std::shared_ptr<VXImage> plain;
    ASSERT_TRUE(VXImageUtils::createCopy(upward, plain).isSuccess());
    ASSERT_EQ(dynamic_cast<VXImageWin32*>(plain.get()), nullptr);
    EXPECT_EQ(plain->getBits()[0], 0);
    EXPECT_EQ(savedBytes(upward, "vx_up.png"), savedBytes(plain, "vx_down.png"));

    // A view of it steps through the DIB's rows, not past its end.
    auto view = std::make_shared<VXSubImage>();
    ASSERT_TRUE(view->initialize(upward, VXRect(1, 0, 4, 3)).isSuccess());
    std::shared_ptr<VXImage> viewed;
    ASSERT_TRUE(VXImageUtils::createCopy(view, viewed).isSuccess());
    for (int32_t y = 0; y < 3; ++y)
        EXPECT_EQ(viewed->getPixelPtr(2, y)[0], 10 * y + 3) << y;
    // The DIB section owns the pixels: other bits are never attached as owned.
    uint8_t* other = VXImage::newBits(64);
    EXPECT_EQ(upward->setBits(other, true).code(), VXError::eNotInitialized);
    EXPECT_EQ(upward->setBits(other, false).code(), VXError::eNotInitialized);  // the bitmap exists
    EXPECT_EQ(upward->getPixelPtr(0, 0)[0], 0);
    VXImage::freeBits(other);
}

}  // namespace
