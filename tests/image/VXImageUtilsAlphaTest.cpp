#include <gtest/gtest.h>

#include "ImageTestSupport.h"
#include "VXImageUtils.h"

namespace {

using imagetest::contains;
using imagetest::get32;
using imagetest::makeImage;
using imagetest::set32;

uint32_t argb(uint32_t a, uint32_t r, uint32_t g, uint32_t b) {
    return (a << 24) | (r << 16) | (g << 8) | b;
}

uint8_t channel(uint32_t pixel, int shift) {
    return static_cast<uint8_t>(pixel >> shift);
}

// d + floor((s - d) * a / 256), one channel at a time in signed arithmetic: what the packed
// unsigned multiply must come to.
uint8_t blendedChannel(int s, int d, int a) {
    return static_cast<uint8_t>(d + ((s - d) * a >> 8));
}

class VXImageUtilsComposite : public testing::Test {
protected:
    void SetUp() override {
        dst = makeImage(4, 3, 32);
        src = makeImage(4, 3, 32);
        imagetest::fillRandom(*dst, 1);
        imagetest::fillRandom(*src, 2);
    }
    VXResult blendOne(uint32_t source, uint32_t destination, uint32_t& result) {
        set32(*src, 0, 0, source);
        set32(*dst, 0, 0, destination);
        const VXResult r = VXImageUtils::composite(dst, VXRect(0, 0, 1, 1), src, VXPoint(0, 0));
        result = get32(*dst, 0, 0);
        return r;
    }
    std::shared_ptr<VXImage> dst;
    std::shared_ptr<VXImage> src;
};

TEST_F(VXImageUtilsComposite, ChosenPixelsComeOutExactly) {
    struct Case {
        uint32_t source;
        uint32_t destination;
        uint32_t expected;
    };
    const Case cases[] = {
        // Blue below the destination borrows out of the packed word; red must not notice.
        {argb(128, 0x80, 0x00, 0x00), argb(0x11, 0x80, 0xFF, 0xFF), argb(0x11, 0x80, 0x7F, 0x7F)},
        // Alpha 255 over black: the shift by 8 leaves every channel one short.
        {argb(255, 0xFF, 0xFF, 0xFF), argb(0x00, 0x00, 0x00, 0x00), argb(0x00, 0xFE, 0xFE, 0xFE)},
        // Red and green fall, blue rises.
        {argb(200, 10, 20, 250), argb(0xC3, 250, 30, 10), argb(0xC3, 62, 22, 197)},
        // Alpha 0: untouched, alpha byte included.
        {argb(0, 0xFF, 0xFF, 0xFF), argb(0x5A, 1, 2, 3), argb(0x5A, 1, 2, 3)},
    };
    for (const Case& c : cases) {
        uint32_t result = 0;
        ASSERT_TRUE(blendOne(c.source, c.destination, result).isSuccess());
        EXPECT_EQ(result, c.expected) << std::hex << c.source << " over " << c.destination;
    }
}

TEST_F(VXImageUtilsComposite, PackedRedBlueEqualsBlendingEachChannelAlone) {
    for (int a : {1, 64, 127, 128, 200, 254, 255}) {
        for (int s = 0; s < 256; s += 15) {
            for (int d = 0; d < 256; d += 17) {
                // Red and blue move in opposite directions so that every borrow is exercised.
                const uint32_t source = argb(static_cast<uint32_t>(a), s, 255 - s, 255 - s);
                const uint32_t destination = argb(0x42, d, d, 255 - d);
                uint32_t result = 0;
                ASSERT_TRUE(blendOne(source, destination, result).isSuccess());
                ASSERT_EQ(channel(result, 16), blendedChannel(s, d, a))
                    << "red a=" << a << " s=" << s << " d=" << d;
                ASSERT_EQ(channel(result, 8), blendedChannel(255 - s, d, a)) << "green a=" << a;
                ASSERT_EQ(channel(result, 0), blendedChannel(255 - s, 255 - d, a)) << "blue a=" << a;
                ASSERT_EQ(channel(result, 24), 0x42);
            }
        }
    }
}

TEST_F(VXImageUtilsComposite, OpaqueSourceWinsExceptOneShortWhereItIsBrighter) {
    // Alpha 255 reproduces a channel that is not above the destination's and falls one short
    // of one that is; alpha 0 changes nothing at all.
    const auto before = makeImage(4, 3, 32);
    std::memcpy(before->getBits(), dst->getBits(), static_cast<size_t>(dst->getImageSize()));
    ASSERT_TRUE(VXImageUtils::setAlphaChannel(src, uint8_t{0}).isSuccess());
    ASSERT_TRUE(VXImageUtils::composite(dst, VXRect(0, 0, 4, 3), src, VXPoint(0, 0)).isSuccess());
    EXPECT_EQ(std::memcmp(before->getBits(), dst->getBits(), static_cast<size_t>(dst->getImageSize())), 0);

    ASSERT_TRUE(VXImageUtils::setAlphaChannel(src, uint8_t{255}).isSuccess());
    ASSERT_TRUE(VXImageUtils::composite(dst, VXRect(0, 0, 4, 3), src, VXPoint(0, 0)).isSuccess());
    for (int32_t y = 0; y < 3; ++y) {
        for (int32_t x = 0; x < 4; ++x) {
            const uint32_t s = get32(*src, x, y);
            const uint32_t d = get32(*before, x, y);
            const uint32_t r = get32(*dst, x, y);
            for (int shift : {0, 8, 16}) {
                const uint8_t sc = channel(s, shift);
                EXPECT_EQ(channel(r, shift), sc > channel(d, shift) ? sc - 1 : sc)
                    << x << "," << y << " @" << shift;
            }
            EXPECT_EQ(channel(r, 24), channel(d, 24));
        }
    }
}

TEST_F(VXImageUtilsComposite, AlphaImageAndColourTableSourcesAndTheOtherDestinations) {
    // An alpha image overrides the source's own alpha, read at the source position.
    const auto alpha = makeImage(4, 3, 8);
    imagetest::fillBytes(*alpha, 0);
    imagetest::at(*alpha, 2, 1)[0] = 128;
    set32(*src, 2, 1, argb(0, 0xFF, 0xFF, 0xFF));
    set32(*dst, 1, 0, argb(0x77, 0, 0, 0));
    const auto before = makeImage(4, 3, 32);
    std::memcpy(before->getBits(), dst->getBits(), static_cast<size_t>(dst->getImageSize()));
    ASSERT_TRUE(VXImageUtils::composite(dst, VXRect(0, 0, 2, 2), src, VXPoint(1, 1), alpha).isSuccess());
    EXPECT_EQ(get32(*dst, 1, 0), argb(0x77, 0x7F, 0x7F, 0x7F));
    set32(*dst, 1, 0, get32(*before, 1, 0));
    EXPECT_EQ(std::memcmp(before->getBits(), dst->getBits(), static_cast<size_t>(dst->getImageSize())), 0);

    // An 8-bit source is looked up in its colour table (fixed palette entry 10 is pure red).
    const auto indexed = makeImage(4, 3, 8);
    imagetest::fillBytes(*indexed, 10);
    imagetest::fillBytes(*alpha, 255);
    set32(*dst, 3, 2, argb(0x01, 0x00, 0x40, 0x40));
    ASSERT_TRUE(VXImageUtils::composite(dst, VXRect(3, 2, 4, 3), indexed, VXPoint(0, 0), alpha).isSuccess());
    EXPECT_EQ(get32(*dst, 3, 2), argb(0x01, 0xFE, 0x00, 0x00));

    // A 24-bit destination steps by 3 bytes and keeps its row padding.
    const auto deep24 = makeImage(3, 1, 24);
    imagetest::fillBytes(*deep24, 0x00);
    for (int32_t x = 0; x < 3; ++x)
        set32(*src, x, 0, argb(255, 0xFF, 0x80, 0x01));
    ASSERT_TRUE(VXImageUtils::composite(deep24, VXRect(0, 0, 3, 1), src, VXPoint(0, 0)).isSuccess());
    const uint8_t expected24[] = {0x00, 0x7F, 0xFE, 0x00, 0x7F, 0xFE, 0x00, 0x7F, 0xFE, 0x00, 0x00, 0x00};
    EXPECT_EQ(std::memcmp(deep24->getBits(), expected24, sizeof(expected24)), 0);

    // One alpha for a 24-bit source.
    const auto src24 = makeImage(1, 1, 24);
    const uint8_t bgr[] = {0x00, 0x00, 0xFF};
    std::memcpy(src24->getBits(), bgr, 3);
    set32(*dst, 0, 0, argb(0x33, 0x00, 0xFF, 0xFF));
    ASSERT_TRUE(
        VXImageUtils::composite(dst, VXRect(0, 0, 1, 1), src24, VXPoint(0, 0), uint8_t{128}).isSuccess());
    EXPECT_EQ(get32(*dst, 0, 0), argb(0x33, 0x7F, 0x7F, 0x7F));
}

TEST_F(VXImageUtilsComposite, RefusesDepthsAndAreasItCannotBlend) {
    const auto deep16 = makeImage(4, 3, 16);
    const auto deep24 = makeImage(4, 3, 24);
    const auto alpha = makeImage(4, 3, 8);
    const VXRect all(0, 0, 4, 3);
    struct Case {
        VXResult result;
        int32_t code;
        const char* text;
    };
    const Case cases[] = {
        {VXImageUtils::composite(deep16, all, src, VXPoint()), VXError::eBadParameter,
         "VXImageUtils::composite() -- destination image must be 32 or 24 bit --> [16]"},
        {VXImageUtils::composite(dst, all, deep24, VXPoint()), VXError::eBadParameter,
         "VXImageUtils::composite() -- source image must be 8 or 32bit --> [24]"},
        {VXImageUtils::composite(dst, all, src, VXPoint(), src), VXError::eBadParameter,
         "VXImageUtils::composite() -- source alpha must be 8bit -->[32]"},
        {VXImageUtils::composite(dst, all, alpha, VXPoint()), VXError::eBadParameter,
         "VXImageUtils::composite() -- no alpha image, src image must be 32 bit, is [8]"},
        {VXImageUtils::composite(dst, VXRect(2, 2, 2, 3), src, VXPoint()), VXError::eBadParameter,
         "Parameter check \"!dstRect.isEmpty()\" failed"},
        {VXImageUtils::composite(deep24, all, src, VXPoint(), alpha), VXError::eNotImplemented,
         "24 bit destination"},
        {VXImageUtils::composite(dst, all, src, VXPoint(1, 0)), VXError::eBadParameter,
         "right X value out of bounds[5] width[4] [1+4] >> VXImageUtils::checkBounds"},
        {VXImageUtils::composite(dst, VXRect(0, 1, 4, 4), src, VXPoint()), VXError::eBadParameter,
         "bottom Y value out of bounds[4] height[3] [1+3]"},
        {VXImageUtils::composite(dst, all, src, VXPoint(), deep16), VXError::eBadParameter, "source alpha"},
        {VXImageUtils::composite(dst, all, alpha, VXPoint(), uint8_t{9}), VXError::eBadParameter,
         "VXImageUtils::composite() -- source image must be 32 or 24 bit --> [8]"},
        {VXImageUtils::composite(nullptr, all, src, VXPoint()), VXError::ePreconditionFailed,
         "image is NULL"},
        {VXImageUtils::compositePremultipliedSrc(dst, all, deep24, VXPoint()), VXError::eBadParameter,
         "VXImageUtils::compositePremultipliedSrc() -- source image must be 32bit --> [24]"},
        {VXImageUtils::compositePremultipliedSrc(deep16, all, src, VXPoint()), VXError::eBadParameter,
         "VXImageUtils::compositePremultipliedSrc() -- destination image must be 32 or 24 bit --> [16]"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.result.code(), c.code) << c.text;
        EXPECT_TRUE(contains(c.result, c.text)) << c.result.message().toUtf8();
    }

    // A palette source needs its colour table.
    alpha->setColorInfo(nullptr);
    const VXResult noTable = VXImageUtils::composite(dst, all, alpha, VXPoint(), alpha);
    EXPECT_EQ(noTable.code(), VXError::eNullPointer);
    EXPECT_TRUE(contains(noTable, "color info is missing >> VXImageUtils::composite, vximageutils.cpp:"));
}

TEST(VXImageUtilsPremultiplied, DestinationIsScaledByTheRestOfAlphaAndSourceAdded) {
    const auto dst = makeImage(2, 1, 32);
    const auto src = makeImage(2, 1, 32);
    set32(*dst, 0, 0, argb(0x99, 200, 200, 10));
    set32(*dst, 1, 0, argb(0x98, 200, 0, 255));
    set32(*src, 0, 0, argb(128, 100, 0, 64));  // k = 127
    set32(*src, 1, 0, argb(0, 200, 0, 0));     // k = 255: 200 * 255 >> 8 = 199, + 200 wraps
    ASSERT_TRUE(VXImageUtils::compositePremultipliedSrc(dst, VXRect(0, 0, 2, 1), src, VXPoint()).isSuccess());
    EXPECT_EQ(get32(*dst, 0, 0), argb(0x99, 99 + 100, 99, 4 + 64));
    EXPECT_EQ(get32(*dst, 1, 0), argb(0x98, (199 + 200) & 0xFF, 0, 254));

    // Opaque source over a 24-bit destination: the source exactly, three bytes a pixel.
    const auto deep24 = makeImage(2, 1, 24);
    imagetest::fillBytes(*deep24, 0xAB);
    set32(*src, 0, 0, argb(255, 1, 2, 3));
    set32(*src, 1, 0, argb(255, 4, 5, 6));
    ASSERT_TRUE(
        VXImageUtils::compositePremultipliedSrc(deep24, VXRect(0, 0, 2, 1), src, VXPoint()).isSuccess());
    const uint8_t expected[] = {3, 2, 1, 6, 5, 4, 0xAB, 0xAB};
    EXPECT_EQ(std::memcmp(deep24->getBits(), expected, sizeof(expected)), 0);
}

TEST(VXImageUtilsAlpha, SetAlphaChannelTakesTheAlphaImageByteAtEachPixel) {
    const auto dst = makeImage(3, 2, 32);
    const auto alpha = makeImage(3, 2, 8);
    imagetest::fillRandom(*dst, 3);
    imagetest::fillRandom(*alpha, 4);
    const auto before = makeImage(3, 2, 32);
    std::memcpy(before->getBits(), dst->getBits(), static_cast<size_t>(dst->getImageSize()));
    ASSERT_TRUE(VXImageUtils::setAlphaChannel(dst, alpha).isSuccess());
    for (int32_t y = 0; y < 2; ++y) {
        for (int32_t x = 0; x < 3; ++x) {
            EXPECT_EQ(get32(*dst, x, y), (get32(*before, x, y) & 0x00FFFFFFu) |
                                             (static_cast<uint32_t>(imagetest::at(*alpha, x, y)[0]) << 24));
        }
    }

    const auto wide = makeImage(4, 2, 8);
    const VXResult sizes = VXImageUtils::setAlphaChannel(dst, wide);
    EXPECT_TRUE(
        contains(sizes, "VXImageUtils::setAlphaChannel() -- images are not the same size: [4,2] vs [3,2]"));
    const VXResult formats = VXImageUtils::setAlphaChannel(dst, dst);
    EXPECT_EQ(formats.code(), VXError::eBadFormat);
    EXPECT_TRUE(contains(formats, "-- images formats are not correct: alpha[32:8] dst[32:32]"));
    alpha->setColorInfo(nullptr);
    EXPECT_TRUE(
        contains(VXImageUtils::setAlphaChannel(dst, alpha), "setAlphaChannel() missing color information"));
    const VXResult only32 = VXImageUtils::setAlphaChannel(makeImage(1, 1, 24), uint8_t{1});
    EXPECT_TRUE(contains(only32, "VXImageUtils::setAlphaChannel() -- unsupported bpp[24] (only32)"));
}

TEST(VXImageUtilsAlpha, ApplyAlphaInfoPremultipliesAndZeroAlphaClearsOnlyAlpha) {
    const auto image = makeImage(4, 1, 32);
    set32(*image, 0, 0, argb(255, 12, 34, 56));
    set32(*image, 1, 0, argb(0, 12, 34, 56));
    set32(*image, 2, 0, argb(128, 255, 1, 0));
    set32(*image, 3, 0, argb(51, 100, 200, 5));
    ASSERT_TRUE(VXImageUtils::applyAlphaInfo(image).isSuccess());
    EXPECT_EQ(get32(*image, 0, 0), argb(255, 12, 34, 56));
    EXPECT_EQ(get32(*image, 1, 0), argb(0, 0, 0, 0));
    EXPECT_EQ(get32(*image, 2, 0), argb(128, 128, 1, 0));
    EXPECT_EQ(get32(*image, 3, 0), argb(51, 20, 40, 1));
    EXPECT_TRUE(contains(VXImageUtils::applyAlphaInfo(makeImage(1, 1, 16)),
                         "VXImageUtils::applyAlphaInfo() -- unsupported bpp[16] (only32)"));

    ASSERT_TRUE(VXImageUtils::ZeroAlphaChannel(image).isSuccess());
    EXPECT_EQ(get32(*image, 0, 0), argb(0, 12, 34, 56));
    EXPECT_EQ(get32(*image, 2, 0), argb(0, 128, 1, 0));
    EXPECT_EQ(get32(*image, 3, 0), argb(0, 20, 40, 1));

    // Other depths are left as they are; missing images and pixels are parameter failures.
    const auto deep24 = makeImage(2, 2, 24);
    imagetest::fillBytes(*deep24, 0xFF);
    ASSERT_TRUE(VXImageUtils::ZeroAlphaChannel(deep24).isSuccess());
    EXPECT_EQ(imagetest::at(*deep24, 1, 1)[2], 0xFF);
    EXPECT_TRUE(contains(VXImageUtils::ZeroAlphaChannel(nullptr), "Parameter check \"srcImage\" failed"));
    EXPECT_TRUE(contains(VXImageUtils::ZeroAlphaChannel(std::make_shared<VXImage>(2, 2, 32)),
                         "Parameter check \"srcImage->getBits()\" failed"));
}

}  // namespace
