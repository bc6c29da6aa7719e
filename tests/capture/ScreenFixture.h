// Shared set-up of the reader's tests: the magnifier binding initialised with the StretchRect
// interception installed, a 32-bit image, solid test windows on the screen, and pixel reads.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <memory>
#include <vector>

#include "HookD3D.h"
#include "MagD3DScreenReader.h"
#include "MagnificationDll.h"
#include "image/ImageTestSupport.h"
#include "support/ResultText.h"
#include "support/win32/ScopedEnvironment.h"
#include "support/win32/SolidWindow.h"

inline void pumpMessages() {
    MSG msg;
    while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
}

class ScreenFixture : public ::testing::Test {
protected:
    static constexpr COLORREF kRed = RGB(220, 20, 20);
    static constexpr COLORREF kGreen = RGB(20, 200, 40);
    static constexpr wchar_t kSolidClass[] = L"VxCaptureTestSolidWindow";

    void SetUp() override {
        testsupport::registerSolidWindowClass(kSolidClass);
        ASSERT_NE(getMagnificationDll(), nullptr) << "Magnification.dll missing beside the test";
        ASSERT_EQ(initMagnification(false).code(), VXError::eNoError);
        ASSERT_NE(HookD3D::originalStretchRect(), nullptr) << "start-up installs the interception";
    }
    void TearDown() override {
        for (HWND window : _windows)
            DestroyWindow(window);
        pumpMessages();
        uninitMagnification(HookD3D::originalStretchRect() == nullptr);
        EXPECT_EQ(HookD3D::originalStretchRect(), nullptr) << "shutdown removes the interception";
    }

    // An image of `width` x `height` filled with 0x5A bytes, so untouched pixels show.
    static std::shared_ptr<VXImage> makeImage(int32_t width, int32_t height, int32_t bitDepth = 32) {
        auto image = imagetest::makeImage(width, height, bitDepth);
        imagetest::fillBytes(*image, 0x5A);
        return image;
    }
    // A visible, topmost, borderless window painted in `color`, above those made before it.
    HWND createSolidWindow(const RECT& r, COLORREF color) {
        HWND window = testsupport::createSolidWindow(kSolidClass, r, color, L"solid");
        if (window != nullptr)
            _windows.push_back(window);
        pumpMessages();
        return window;
    }
    // Pixel (x, y) of the image as 0xRRGGBB.
    static uint32_t rgbAt(const VXImage& image, int32_t x, int32_t y) {
        return image.getPixelPtr(x, y) != nullptr ? imagetest::get32(image, x, y) & 0x00FFFFFFu : 0xFFFFFFFFu;
    }
    static uint32_t rgb(COLORREF color) {
        return GetRValue(color) << 16 | GetGValue(color) << 8 | GetBValue(color);
    }

    std::vector<HWND> _windows;
};

using ScopedVariable = testsupport::ScopedEnvironment;
