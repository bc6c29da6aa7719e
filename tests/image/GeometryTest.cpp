#include <gtest/gtest.h>

#include "SizeUtils.h"
#include "VXRect.h"
#include "support/LogCapture.h"

namespace {

TEST(VXGeometry, TextFormsHaveNoBlanks) {
    EXPECT_EQ(utf8(VXRect(-5, 7, -1, 20).toString()), "[-5,7,-1,20]");
    EXPECT_EQ(utf8(VXSize(1920, 1080).toString()), "[1920,1080]");
    EXPECT_EQ(utf8(VXPoint(-3, 12).toString()), "[-3,12]");
}

TEST(VXGeometry, SwappedRectangleHasPositiveExtentButIsEmpty) {
    const VXRect swapped(100, 50, 10, 20);
    EXPECT_EQ(swapped.getSize(), VXSize(90, 30));
    EXPECT_TRUE(swapped.isEmpty());
    EXPECT_TRUE(VXRect(0, 0, 0, 10).isEmpty());  // right is exclusive
    EXPECT_TRUE(VXRect(0, 0, 1, 1).isNotEmpty());
    EXPECT_EQ(VXRect(INT32_MIN, 0, INT32_MAX, 1).getWidth(), -1);  // no overflow trap
    EXPECT_EQ(VXRect(VXPoint(10, 20), VXSize(5, 6)), VXRect(10, 20, 15, 26));
    EXPECT_EQ(VXRect(2, 3, 4, 5).offset(VXPoint(-2, 1)), VXRect(0, 4, 2, 6));
}

TEST(VXGeometry, EnclosingCountsEqualEdgesAndIntersectionMayBeEmpty) {
    const VXRect outer(VXSize(100, 80));
    EXPECT_TRUE(outer.isEnclosing(outer));
    EXPECT_FALSE(outer.isEnclosing(VXRect(0, 0, 101, 80)));
    EXPECT_FALSE(outer.isEnclosing(VXRect(-1, 0, 10, 10)));
    EXPECT_EQ(outer.intersect(VXRect(50, -10, 150, 40)), VXRect(50, 0, 100, 40));
    EXPECT_TRUE(outer.intersect(VXRect(200, 0, 300, 80)).isEmpty());
}

struct Fit {
    VXSize bound;
    double ratio;
    VXSize expected;
};

TEST(SizeUtils, IntegerFitKeepsOneSideAndTruncatesTheOther) {
    const Fit fits[] = {
        {{100, 100}, 2.0, {100, 50}}, {{100, 60}, 1.0, {60, 60}},
        {{100, 100}, 3.0, {100, 33}}, {{100, 100}, 1.0 / 3, {33, 100}},  // truncation, not rounding
        {{100, 20}, 2.0, {40, 20}},  // too wide for the full width: keeps the height
        {{20, 100}, 0.5, {20, 40}},  // too tall for the full height: keeps the width
    };
    for (const Fit& fit : fits) {
        VXSize out(-1, -1);
        const VXResult r = SizeUtils::fitAspectRatio(fit.bound, fit.ratio, out);
        EXPECT_EQ(r.code(), VXError::eNoError) << fit.ratio;
        EXPECT_EQ(out, fit.expected) << utf8(fit.bound.toString()) << " ratio " << fit.ratio;
    }
}

TEST(SizeUtils, FitRejectsBadRatioAndSizeAndClearsTheOutput) {
    VXSize out(7, 7);
    VXResult r = SizeUtils::fitAspectRatio(VXSize(100, 100), 0.0, out);
    EXPECT_EQ(r.code(), VXError::eBadParameter);
    EXPECT_EQ(utf8(r.message()).rfind("Parameter check \"aspectRatio > 0.0\" failed at , sizeutils.cpp:", 0),
              0u)
        << utf8(r.message());
    EXPECT_EQ(out, VXSize(0, 0));

    r = SizeUtils::fitAspectRatio(VXSize(100, 0), 1.5, out);
    EXPECT_NE(utf8(r.message()).find("\"size.getX() > 0 && size.getY() > 0\""), std::string::npos);
}

TEST(SizeUtils, FloatFitDoesNotTruncate) {
    VXSizeF out;
    ASSERT_TRUE(SizeUtils::fitAspectRatio(VXSizeF(100.0f, 100.0f), 3.0f, out).isSuccess());
    EXPECT_FLOAT_EQ(out.getX(), 100.0f);
    EXPECT_FLOAT_EQ(out.getY(), 100.0f / 3.0f);
    ASSERT_TRUE(SizeUtils::fitAspectRatio(VXSizeF(100.0f, 20.0f), 2.0f, out).isSuccess());
    EXPECT_EQ(out, VXSizeF(40.0f, 20.0f));
    out = VXSizeF(1.0f, 1.0f);
    EXPECT_EQ(SizeUtils::fitAspectRatio(VXSizeF(0.0f, 5.0f), 1.0f, out).code(), VXError::eBadParameter);
    EXPECT_EQ(out, VXSizeF(0.0f, 0.0f));
}

}  // namespace
