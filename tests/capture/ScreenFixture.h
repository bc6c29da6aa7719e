// Shared set-up of the reader's tests: the magnifier binding initialised with the StretchRect
// interception installed, a 32-bit image, solid test windows on the screen, and pixel reads.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <memory>
#include <vector>

#include "MagD3DScreenReader.h"
#include "VXImage.h"
#include "VXRect.h"

class ScreenFixture : public ::testing::Test {
protected:
    static constexpr COLORREF kRed = RGB(220, 20, 20);
    static constexpr COLORREF kGreen = RGB(20, 200, 40);

    void SetUp() override;
    void TearDown() override;

    static std::shared_ptr<VXImage> makeImage(int32_t width, int32_t height, int32_t bitDepth = 32);
    // A visible, topmost, borderless window painted in `color`, above those made before it.
    HWND createSolidWindow(const RECT& bounds, COLORREF color);
    // Pixel (x, y) of the image as 0xRRGGBB.
    static uint32_t rgbAt(const VXImage& image, int32_t x, int32_t y);
    static uint32_t rgb(COLORREF color) {
        return GetRValue(color) << 16 | GetGValue(color) << 8 | GetBValue(color);
    }

    std::vector<HWND> _windows;
};

// Sets an environment variable of the stand-in's for the duration of a scope.
class ScopedVariable {
public:
    ScopedVariable(const wchar_t* name, const wchar_t* value) : _name(name) {
        SetEnvironmentVariableW(name, value);
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;
    ~ScopedVariable() { SetEnvironmentVariableW(_name, nullptr); }

private:
    const wchar_t* _name;
};

void pumpMessages();
std::string text(const VXResult& result);
