// Binding of the magnifier library at run time, and the start-up / shutdown pair that brackets
// the request loop with MagInitialize and the StretchRect interception.
#include <gtest/gtest.h>

#include "HookD3D.h"
#include "MagnificationDll.h"
#include "ScreenFixture.h"

TEST(MagnificationDll, InitAndUninitPairTheInterception) {
    ASSERT_NE(getMagnificationDll(), nullptr);
    WNDCLASSW magnifier = {};
    ASSERT_EQ(initMagnification(true).code(), VXError::eNoError);
    EXPECT_TRUE(GetClassInfoW(GetModuleHandleW(nullptr), L"Magnifier", &magnifier)) << "MagInitialize ran";
    EXPECT_EQ(HookD3D::originalStretchRect(), nullptr) << "skipHook leaves StretchRect alone";
    uninitMagnification(true);

    ASSERT_EQ(initMagnification(false).code(), VXError::eNoError);
    EXPECT_NE(HookD3D::originalStretchRect(), nullptr);
    uninitMagnification(false);
    EXPECT_EQ(HookD3D::originalStretchRect(), nullptr);
    EXPECT_FALSE(GetClassInfoW(GetModuleHandleW(nullptr), L"Magnifier", &magnifier)) << "MagUninitialize ran";
}
