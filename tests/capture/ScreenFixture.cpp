#include "ScreenFixture.h"

#include <cstring>

#include "HookD3D.h"
#include "MagnificationDll.h"
#include "support/win32/SolidWindow.h"

namespace {

constexpr wchar_t kSolidClass[] = L"VxCaptureTestSolidWindow";

}  // namespace

void pumpMessages() {
    MSG msg;
    while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
}

std::string text(const VXResult& result) {
    return result.message().toUtf8();
}

void ScreenFixture::SetUp() {
    testsupport::registerSolidWindowClass(kSolidClass);
    ASSERT_NE(getMagnificationDll(), nullptr) << "Magnification.dll missing beside the test";
    ASSERT_EQ(initMagnification(false).code(), VXError::eNoError);
}

void ScreenFixture::TearDown() {
    for (HWND window : _windows)
        DestroyWindow(window);
    pumpMessages();
    uninitMagnification(HookD3D::originalStretchRect() == nullptr);
}

std::shared_ptr<VXImage> ScreenFixture::makeImage(int32_t width, int32_t height, int32_t bitDepth) {
    std::shared_ptr<VXImage> image;
    if (VXImage::create(width, height, bitDepth, image).isError() || image->allocate().isError())
        return nullptr;
    std::memset(image->getBits(), 0x5A, static_cast<size_t>(image->getImageSize()));
    return image;
}

HWND ScreenFixture::createSolidWindow(const RECT& bounds, COLORREF color) {
    HWND window =
        CreateWindowExW(WS_EX_TOPMOST | WS_EX_TOOLWINDOW, kSolidClass, L"solid", WS_POPUP, bounds.left,
                        bounds.top, bounds.right - bounds.left, bounds.bottom - bounds.top, nullptr, nullptr,
                        GetModuleHandleW(nullptr), nullptr);
    if (window != nullptr) {
        SetWindowLongPtrW(window, GWLP_USERDATA, static_cast<LONG_PTR>(color));
        ShowWindow(window, SW_SHOWNOACTIVATE);
        UpdateWindow(window);
        _windows.push_back(window);
    }
    pumpMessages();
    return window;
}

uint32_t ScreenFixture::rgbAt(const VXImage& image, int32_t x, int32_t y) {
    const uint8_t* pixel = image.getPixelPtr(x, y);
    if (pixel == nullptr)
        return 0xFFFFFFFFu;
    uint32_t value = 0;
    std::memcpy(&value, pixel, sizeof(value));
    return value & 0x00FFFFFFu;
}
