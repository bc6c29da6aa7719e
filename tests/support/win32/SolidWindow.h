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

}  // namespace testsupport
