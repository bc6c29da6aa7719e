// Shared set-up: the stand-in bound and initialised with StretchRect intercepted, as the server
// does around its request loop, and a reader capturing into a 32-bit image.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include "support/win32/ScopedEnvironment.h"

#include <cstring>
#include <memory>

#include "MagD3DScreenReader.h"
#include "MagnificationDll.h"
#include "VXImage.h"

class StandInTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(getMagnificationDll(), nullptr) << "Magnification.dll missing beside the test";
        ASSERT_EQ(initMagnification(false).code(), VXError::eNoError);
    }
    void TearDown() override {
        reader.reset();
        uninitMagnification(false);
    }

    void startReader(const VXRect& rect) {
        ASSERT_EQ(VXImage::create(rect.getWidth(), rect.getHeight(), 32, image).code(), VXError::eNoError);
        ASSERT_EQ(image->allocate().code(), VXError::eNoError);
        reader = std::make_unique<MagD3DScreenReader>();
        ASSERT_EQ(reader->setup(rect, image).code(), VXError::eNoError);
    }
    // Pixel (x, y) of the image as 0xRRGGBB.
    uint32_t rgbAt(int32_t x, int32_t y) const {
        uint32_t value = 0;
        std::memcpy(&value, image->getPixelPtr(x, y), sizeof(value));
        return value & 0x00FFFFFFu;
    }
    static uint32_t rgb(COLORREF color) {
        return GetRValue(color) << 16 | GetGValue(color) << 8 | GetBValue(color);
    }

    std::shared_ptr<VXImage> image;
    std::unique_ptr<MagD3DScreenReader> reader;
};

using ScopedVariable = testsupport::ScopedEnvironment;
