#include <gtest/gtest.h>

#include "ImageTestSupport.h"

namespace {

using imagetest::get32;
using imagetest::makeImage;
using imagetest::set32;

uint32_t argb(uint32_t a, uint32_t r, uint32_t g, uint32_t b) {
    return (a << 24) | (r << 16) | (g << 8) | b;
}

uint8_t channel(uint32_t pixel, int shift) {
    return static_cast<uint8_t>(pixel >> shift);
}

// d + floor((s - d) * a / 256) in signed arithmetic: what the packed unsigned multiply must give.
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
    std::shared_ptr<VXImage> dst;
    std::shared_ptr<VXImage> src;
};

// Alpha 255 over black leaves every channel one short (the shift is by 8); alpha 0 leaves the
// destination as it was, its alpha byte included.
TEST_F(VXImageUtilsComposite, PackedRedBlueEqualsBlendingEachChannelAlone) {
    for (int a : {0, 1, 64, 127, 128, 200, 254, 255}) {
        for (int s = 0; s < 256; s += 15) {
            for (int d = 0; d < 256; d += 17) {
                // Red and blue move in opposite directions so that every borrow is exercised.
                set32(*src, 0, 0, argb(static_cast<uint32_t>(a), s, 255 - s, 255 - s));
                set32(*dst, 0, 0, argb(0x42, d, d, 255 - d));
                ASSERT_TRUE(VXImageUtils::composite(dst, VXRect(0, 0, 1, 1), src, VXPoint(0, 0)).isSuccess());
                const uint32_t result = get32(*dst, 0, 0);
                ASSERT_EQ(channel(result, 16), blendedChannel(s, d, a))
                    << "red a=" << a << " s=" << s << " d=" << d;
                ASSERT_EQ(channel(result, 8), blendedChannel(255 - s, d, a)) << "green a=" << a;
                ASSERT_EQ(channel(result, 0), blendedChannel(255 - s, 255 - d, a)) << "blue a=" << a;
                ASSERT_EQ(channel(result, 24), 0x42);
            }
        }
    }
}

TEST_F(VXImageUtilsComposite, AlphaImagePaletteAndPremultipliedSourcesAndRefusedDestinations) {
    // An alpha image overrides the source's own alpha, read at the source position.
    const auto alpha = makeImage(4, 3, 8);
    imagetest::fillBytes(*alpha, 0);
    imagetest::at(*alpha, 2, 1)[0] = 128;
    set32(*src, 2, 1, argb(0, 0xFF, 0xFF, 0xFF));
    set32(*dst, 1, 0, argb(0x77, 0, 0, 0));
    const uint32_t untouched = get32(*dst, 0, 0);
    ASSERT_TRUE(VXImageUtils::composite(dst, VXRect(0, 0, 2, 2), src, VXPoint(1, 1), alpha).isSuccess());
    EXPECT_EQ(get32(*dst, 1, 0), argb(0x77, 0x7F, 0x7F, 0x7F));
    EXPECT_EQ(get32(*dst, 0, 0), untouched);

    // An 8-bit source is looked up in its colour table (fixed palette entry 10 is pure red).
    const auto indexed = makeImage(4, 3, 8);
    imagetest::fillBytes(*indexed, 10);
    imagetest::fillBytes(*alpha, 255);
    set32(*dst, 3, 2, argb(0x01, 0x00, 0x40, 0x40));
    ASSERT_TRUE(VXImageUtils::composite(dst, VXRect(3, 2, 4, 3), indexed, VXPoint(0, 0), alpha).isSuccess());
    EXPECT_EQ(get32(*dst, 3, 2), argb(0x01, 0xFE, 0x00, 0x00));

    // Premultiplied: the destination is scaled by the rest of alpha and the source added.
    set32(*dst, 0, 0, argb(0x99, 200, 200, 10));
    set32(*dst, 1, 0, argb(0x98, 200, 0, 255));
    set32(*src, 0, 0, argb(128, 100, 0, 64));  // k = 127
    set32(*src, 1, 0, argb(0, 200, 0, 0));     // k = 255: 200 * 255 >> 8 = 199, + 200 wraps
    ASSERT_TRUE(VXImageUtils::compositePremultipliedSrc(dst, VXRect(0, 0, 2, 1), src, VXPoint()).isSuccess());
    EXPECT_EQ(get32(*dst, 0, 0), argb(0x99, 99 + 100, 99, 4 + 64));
    EXPECT_EQ(get32(*dst, 1, 0), argb(0x98, (199 + 200) & 0xFF, 0, 254));

    // 16-bit destinations are refused; 24-bit ones take no alpha image.
    const VXRect all(0, 0, 4, 3);
    const VXResult deep16 = VXImageUtils::composite(makeImage(4, 3, 16), all, src, VXPoint());
    EXPECT_EQ(deep16.code(), VXError::eBadParameter);
    EXPECT_THAT(text(deep16),
                HasSubstr("VXImageUtils::composite() -- destination image must be 32 or 24 bit --> [16]"));
    const VXResult deep24 =
        VXImageUtils::composite(makeImage(4, 3, 24), all, src, VXPoint(), makeImage(4, 3, 8));
    EXPECT_EQ(deep24.code(), VXError::eNotImplemented);
    EXPECT_THAT(text(deep24), HasSubstr("24 bit destination"));
}

TEST(VXImageUtilsAlpha, SetApplyAndZeroAlpha) {
    const auto dst = makeImage(3, 2, 32);
    const auto alpha = makeImage(3, 2, 8);
    imagetest::fillRandom(*dst, 3);
    imagetest::fillRandom(*alpha, 4);
    const uint32_t before = get32(*dst, 2, 1);
    ASSERT_TRUE(VXImageUtils::setAlphaChannel(dst, alpha).isSuccess());
    EXPECT_EQ(get32(*dst, 2, 1), (before & 0x00FFFFFFu) | (uint32_t{imagetest::at(*alpha, 2, 1)[0]} << 24));

    const auto image = makeImage(3, 1, 32);
    set32(*image, 0, 0, argb(255, 12, 34, 56));
    set32(*image, 1, 0, argb(0, 12, 34, 56));
    set32(*image, 2, 0, argb(51, 100, 200, 5));
    ASSERT_TRUE(VXImageUtils::applyAlphaInfo(image).isSuccess());
    EXPECT_EQ(get32(*image, 0, 0), argb(255, 12, 34, 56));
    EXPECT_EQ(get32(*image, 1, 0), argb(0, 0, 0, 0));
    EXPECT_EQ(get32(*image, 2, 0), argb(51, 20, 40, 1));

    ASSERT_TRUE(VXImageUtils::ZeroAlphaChannel(image).isSuccess());
    EXPECT_EQ(get32(*image, 0, 0), argb(0, 12, 34, 56));
    EXPECT_EQ(get32(*image, 2, 0), argb(0, 20, 40, 1));
}

}  // namespace
