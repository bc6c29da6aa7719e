#include <gtest/gtest.h>

#include "SizeUtils.h"
#include "VXRect.h"
#include "support/LogCapture.h"

namespace {

TEST(VXGeometry, SwappedRectangleHasPositiveExtentButIsEmptyAndEnclosingCountsEqualEdges) {
    const VXRect swapped(100, 50, 10, 20);
    EXPECT_EQ(swapped.getSize(), VXSize(90, 30));
    EXPECT_TRUE(swapped.isEmpty());
    EXPECT_TRUE(VXRect(0, 0, 0, 10).isEmpty());                    // right is exclusive
    EXPECT_EQ(VXRect(INT32_MIN, 0, INT32_MAX, 1).getWidth(), -1);  // no overflow trap
    const VXRect outer(VXSize(100, 80));
    EXPECT_TRUE(outer.isEnclosing(outer));
    EXPECT_FALSE(outer.isEnclosing(VXRect(0, 0, 101, 80)));
    EXPECT_EQ(outer.intersect(VXRect(50, -10, 150, 40)), VXRect(50, 0, 100, 40));
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
        EXPECT_EQ(out, fit.expected) << text(fit.bound.toString()) << " ratio " << fit.ratio;
    }
}

}  // namespace
