#include <gtest/gtest.h>

#include <cstring>

#include "VXImage.h"
#include "support/LogCapture.h"

namespace {

struct Layout {
    int32_t width;
    int32_t bitDepth;
    int32_t bytesPerPixel;
    int32_t padding;
    int32_t stride;
};

TEST(VXImage, StrideRulePadsRowsToFourBytes) {
    // Sub-byte and 15-bit rows: the padding comes from the floor of the bit count while the row
    // bytes round up (and store 16 bits for 15), which gives the odd strides 5 and 9. Kept.
    const Layout layouts[] = {
        {1, 24, 3, 1, 4}, {3, 32, 4, 0, 12},     {3, 16, 2, 2, 8}, {32, 15, 1, 0, 64},
        {5, 8, 1, 3, 8},  {4, 8, 1, 0, 4},       {8, 4, 0, 0, 4},  {32, 1, 0, 0, 4},
        {64, 1, 0, 0, 8}, {640, 24, 3, 0, 1920}, {10, 1, 0, 3, 5}, {3, 15, 1, 3, 9},
    };
    for (const Layout& l : layouts) {
        const VXImage image(l.width, 7, l.bitDepth);
        SCOPED_TRACE(testing::Message() << l.width << " pixels of " << l.bitDepth << " bits");
        EXPECT_EQ(image.getBytesPerPixel(), l.bytesPerPixel);
        EXPECT_EQ(image.getPadding(), l.padding);
        EXPECT_EQ(image.getBytesPerLine(), l.stride);
        EXPECT_EQ(image.computeBytesPerLine(), l.stride);
        EXPECT_EQ(image.getImageSize(), int64_t{l.stride} * 7);
        EXPECT_EQ(image.getBits(), nullptr);  // nothing allocated by construction
    }
}

TEST(VXImage, AllocateRefusesRowsThatDoNotAddUpToWholeWords) {
    LogCapture log;
    VXImage odd(10, 1, 1);  // stride 5
    const VXResult r = odd.allocate();
    EXPECT_EQ(r.code(), VXError::eBadParameter);
    EXPECT_NE(utf8(r.message()).find("Error returned at VXImage::allocate"), std::string::npos);
    EXPECT_TRUE(log.contains("VXImage::allocate(): image size is not DWORD aligned"));
    EXPECT_EQ(odd.getBits(), nullptr);

    VXImage even(10, 4, 1);  // 4 rows of 5 bytes
    ASSERT_TRUE(even.allocate().isSuccess());
    EXPECT_EQ(even.getAllocatedBytes(), 20);
    EXPECT_EQ(even.getLinePtr(3) - even.getLinePtr(0), 15);
}

TEST(VXImage, AllocateCountsBytesAndDestructionReturnsThem) {
    const int64_t before = VXImage::allocatedBytesTotal();
    const int32_t remaining = VXImage::remainingCount();
    {
        VXImage image(5, 3, 32);
        EXPECT_EQ(VXImage::remainingCount(), remaining + 1);
        ASSERT_TRUE(image.allocate().isSuccess());
        ASSERT_NE(image.getBits(), nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(image.getBits()) % 4, 0u);
        EXPECT_TRUE(image.ownsBits());
        EXPECT_EQ(image.getImageSize(), 60);
        EXPECT_EQ(VXImage::allocatedBytesTotal(), before + 60);
    }
    EXPECT_EQ(VXImage::allocatedBytesTotal(), before);
    EXPECT_EQ(VXImage::remainingCount(), remaining);
}

TEST(VXImage, AllocatingTwiceIsLoggedAndKeepsWorking) {
    LogCapture log;
    VXImage image(2, 2, 32);
    ASSERT_TRUE(image.allocate().isSuccess());
    EXPECT_FALSE(log.contains("lpbits is not NULL"));
    ASSERT_TRUE(image.allocate().isSuccess());
    EXPECT_TRUE(log.contains("VXImage::allocate() lpbits is not NULL"));
    ASSERT_NE(image.getBits(), nullptr);
    std::memset(image.getBits(), 0x5A, 16);  // the new memory is the image's
}

TEST(VXImage, PixelAndLineAccessStayInsideTheImage) {
    VXImage empty(4, 3, 32);
    uint8_t* pointer = reinterpret_cast<uint8_t*>(&empty);
    EXPECT_EQ(empty.getPixelPtr(0, 0, pointer).code(), VXError::eNullPointer);
    EXPECT_EQ(pointer, nullptr);
    EXPECT_EQ(empty.getLinePtr(0), nullptr);

    VXImage image(3, 2, 24);  // stride 12 (9 + 3)
    ASSERT_TRUE(image.allocate().isSuccess());
    uint8_t* const bits = image.getBits();
    EXPECT_EQ(image.getLinePtr(0), bits);
    EXPECT_EQ(image.getLinePtr(1), bits + 12);
    EXPECT_EQ(image.getLinePtr(2), nullptr);
    EXPECT_EQ(image.getLinePtr(-1), nullptr);
    EXPECT_EQ(image.getPixelPtr(2, 1), bits + 12 + 6);
    ASSERT_TRUE(image.getPixelPtr(1, 1, pointer).isSuccess());
    EXPECT_EQ(pointer, bits + 15);

    const struct { int32_t x, y; } outside[] = {{3, 0}, {0, 2}, {-1, 0}, {0, -1}};
    for (const auto& p : outside) {
        pointer = bits;
        EXPECT_EQ(image.getPixelPtr(p.x, p.y, pointer).code(), VXError::eBadIndex) << p.x << "," << p.y;
        EXPECT_EQ(pointer, nullptr);
        EXPECT_EQ(image.getPixelPtr(p.x, p.y), nullptr);
    }
}

TEST(VXImage, CheckedAccessLogsTheCallerAndLine) {
    LogCapture log;
    VXImage image(4, 3, 32);
    ASSERT_TRUE(image.allocate().isSuccess());
    EXPECT_EQ(image.getLinePtrChecked(1, "VXImageUtils::copy", 10), image.getLinePtr(1));
    EXPECT_TRUE(log.lines().empty());

    EXPECT_EQ(image.getLinePtrChecked(3, "VXImageUtils::copy", 120), nullptr);
    EXPECT_EQ(image.getPixelPtrChecked(4, 0, "VXImageUtils::compare", 7), nullptr);
    EXPECT_EQ(image.getPixelPtrChecked(-1, 2, nullptr, 8), nullptr);
    const int macroLine = __LINE__ + 1;
    EXPECT_EQ(VX_LINE_PTR(image, 9), nullptr);
    const std::vector<std::string> lines = log.lines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_NE(
        lines[0].find("VXImage::getLinePtr() failed: [VXImageUtils::copy] imageSize[4x3] Y[3] -- line 120"),
        std::string::npos)
        << lines[0];
    EXPECT_NE(
        lines[1].find("VXImage::getPixelPtr() failed: [VXImageUtils::compare] imageSize[4x3] point[4,0] -- "
                      "line 7"),
        std::string::npos)
        << lines[1];
    EXPECT_NE(lines[2].find("VXImage::getPixelPtr() failed: imageSize[4x3] point[-1,2] -- line 8"),
              std::string::npos)
        << lines[2];
    const std::string viaMacro = "] imageSize[4x3] Y[9] -- line " + std::to_string(macroLine);
    EXPECT_NE(lines[3].find("CheckedAccessLogsTheCallerAndLine"), std::string::npos) << lines[3];
    EXPECT_NE(lines[3].find(viaMacro), std::string::npos) << lines[3];
}

TEST(VXImage, SetBitsAttachesMemoryWithoutTakingItUnlessAsked) {
    alignas(4) uint8_t external[16] = {};
    {
        VXImage image(2, 2, 32);
        ASSERT_TRUE(image.setBits(external, false).isSuccess());
        EXPECT_EQ(image.getPixelPtr(1, 1), external + 12);
        *image.getPixelPtr(1, 0) = 0x77;
        EXPECT_FALSE(image.ownsBits());
    }  // must not free the caller's memory (the sanitizer build catches it)
    EXPECT_EQ(external[4], 0x77);

    VXImage owner(2, 2, 32);
    ASSERT_TRUE(owner.allocate().isSuccess());
    uint8_t* replacement = VXImage::newBits(16);
    ASSERT_NE(replacement, nullptr);
    // The old owned bits are freed here, the new ones at destruction (leaks show in the sanitizer build).
    ASSERT_TRUE(owner.setBits(replacement, true).isSuccess());
    EXPECT_EQ(owner.getBits(), replacement);
    EXPECT_TRUE(owner.ownsBits());

    // Detaching leaves the memory with the caller.
    uint8_t* taken = owner.getBits();
    ASSERT_TRUE(owner.setBits(nullptr, false).isSuccess());
    EXPECT_EQ(owner.getLinePtr(0), nullptr);
    VXImage::freeBits(taken);
}

TEST(VXImage, StatsLineReportsCreatedAndRemaining) {
    LogCapture log;
    const int32_t total = VXImage::totalCount();
    const int32_t remaining = VXImage::remainingCount();
    auto first = std::make_unique<VXImage>(1, 1, 32);
    auto second = std::make_unique<VXImage>();
    first.reset();
    VXImage::dumpStats();
    const std::string expected = "### VXImage Stats: total[" + std::to_string(total + 2) + "] remaining[" +
                                 std::to_string(remaining + 1) + "] ###";
    EXPECT_TRUE(log.contains(expected)) << expected;
}

TEST(VXImage, PlainImageHasNothingToDrawWith) {
    VXImage image(2, 2, 32);
    const VXResult rect = image.draw(nullptr, VXRect(0, 0, 2, 2));
    EXPECT_EQ(rect.code(), VXError::eNotInitialized);
    const VXResult point = image.draw(nullptr, VXPoint(1, 1));
    EXPECT_EQ(point.code(), VXError::eNotInitialized);
    EXPECT_NE(utf8(point.message()).find("Error returned at VXImage::draw"), std::string::npos);
    EXPECT_EQ(image.blend(nullptr, VXRect(0, 0, 1, 1), VXPoint()).code(), VXError::eNotInitialized);
    EXPECT_EQ(image.load(u"bitmap").code(), VXError::eNotInitialized);
    EXPECT_EQ(image.copyFromScreen(VXPoint()).code(), VXError::eNotInitialized);
    EXPECT_EQ(image.getHandle(), nullptr);
}

TEST(VXImage, ColorInfoIsSharedByReference) {
    auto info = std::make_shared<VXColorInfo>();
    VXImage a(1, 1, 32);
    VXImage b(1, 1, 32);
    a.setColorInfo(info);
    b.setColorInfo(a.getColorInfo());
    EXPECT_EQ(b.getColorInfo().get(), info.get());
    EXPECT_EQ(info.use_count(), 3);
    a.setColorInfo(nullptr);
    EXPECT_EQ(info.use_count(), 2);
}

class CountingFactory : public VXImageFactory {
public:
    std::shared_ptr<VXImage> createImage(int32_t width, int32_t height, int32_t bitDepth) override {
        ++sized;
        if (fail)
            return nullptr;
        return std::make_shared<VXImage>(width, height, bitDepth);
    }
    std::shared_ptr<VXImage> createImage() override {
        ++empty;
        return fail ? nullptr : std::make_shared<VXImage>();
    }
    int sized = 0;
    int empty = 0;
    bool fail = false;
};

class VXImageFactoryTest : public testing::Test {
protected:
    void TearDown() override { VXImage::setFactory(nullptr); }
};

TEST_F(VXImageFactoryTest, CreationUsesTheInstalledFactory) {
    std::shared_ptr<VXImage> image;
    ASSERT_TRUE(VXImage::create(6, 2, 24, image).isSuccess());
    ASSERT_TRUE(image);
    EXPECT_EQ(image->getBytesPerLine(), 20);
    EXPECT_EQ(image->getBits(), nullptr);  // created, not allocated
    EXPECT_EQ(utf8(image->getName()), "image");

    auto factory = std::make_shared<CountingFactory>();
    VXImage::setFactory(factory);
    ASSERT_TRUE(VXImage::create(6, 2, 24, image).isSuccess());
    ASSERT_TRUE(VXImage::create(image).isSuccess());
    EXPECT_TRUE(VXImage::create());
    EXPECT_EQ(factory->sized, 1);
    EXPECT_EQ(factory->empty, 2);
    EXPECT_EQ(image->getWidth(), 0);
    EXPECT_TRUE(image->ownsBits());

    factory->fail = true;
    std::shared_ptr<VXImage> kept = image;
    VXResult r = VXImage::create(1, 1, 32, image);
    EXPECT_EQ(r.code(), VXError::eNoMemory);
    EXPECT_NE(utf8(r.message()).find("Error returned at VXImage::create"), std::string::npos);
    EXPECT_EQ(image, kept);
    EXPECT_EQ(VXImage::create(image).code(), VXError::eNoMemory);
}

}  // namespace
