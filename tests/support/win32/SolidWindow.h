// Test windows painted in one colour, the COLORREF kept in GWLP_USERDATA. They paint the same
// on screen and when printed: the magnifier stand-in prints windows rather than reading the screen.
#pragma once

#include <windows.h>

namespace testsupport {

inline void fillSolidClient(HWND window, HDC dc) {
    RECT client;
    GetClientRect(window, &client);
    HBRUSH brush = CreateSolidBrush(static_cast<COLORREF>(GetWindowLongPtrW(window, GWLP_USERDATA)));
    FillRect(dc, &client, brush);
    DeleteObject(brush);
}

inline LRESULT CALLBACK solidWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_PAINT: {
            PAINTSTRUCT paint;
            fillSolidClient(window, BeginPaint(window, &paint));
            EndPaint(window, &paint);
            return 0;
        }
        case WM_ERASEBKGND:
            fillSolidClient(window, reinterpret_cast<HDC>(wParam));
            return 1;
        case WM_PRINTCLIENT:
            fillSolidClient(window, reinterpret_cast<HDC>(wParam));
            return 0;
        default:
            return DefWindowProcW(window, message, wParam, lParam);
    }
}

// A second registration of the same class fails harmlessly.
inline void registerSolidWindowClass(const wchar_t* className) {
    WNDCLASSW windowClass = {};
    windowClass.lpfnWndProc = solidWindowProc;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    windowClass.lpszClassName = className;
    RegisterClassW(&windowClass);
}

// A visible, topmost, borderless window of the class above painted in `color`, never activated.
inline HWND createSolidWindow(const wchar_t* className, const RECT& r, COLORREF color, const wchar_t* title) {
    HWND window = CreateWindowExW(WS_EX_TOPMOST | WS_EX_TOOLWINDOW, className, title, WS_POPUP, r.left, r.top,
                                  r.right - r.left, r.bottom - r.top, nullptr, nullptr,
                                  GetModuleHandleW(nullptr), nullptr);
    if (window != nullptr) {
        SetWindowLongPtrW(window, GWLP_USERDATA, static_cast<LONG_PTR>(color));
        ShowWindow(window, SW_SHOWNOACTIVATE);
        UpdateWindow(window);
    }
    return window;
}

}  // namespace testsupport
