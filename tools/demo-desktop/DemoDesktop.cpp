// The demo desktop: shows the windows of DemoLayout.h until it is closed, its time runs out or
// its quit event is set. It prints nothing; a ready file tells scripts when to start capturing.
#include "DemoLayout.h"
#include "DemoOptions.h"

#include <windows.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr wchar_t kWindowClass[] = L"VistrelDemoWindow";
constexpr DWORD kWindowStyle = WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_VISIBLE;
constexpr int kLabelHeight = 72;  // large enough to read in a scaled-down capture
constexpr COLORREF kLabelColor = RGB(255, 255, 255);
constexpr char kReadyText[] = "ready";
constexpr int kExitBadArguments = 2;
constexpr int kExitNoWindows = 3;
constexpr DWORD kMillisPerSecond = 1000;

HFONT labelFont = nullptr;

void paintWindow(HWND window, HDC dc) {
    RECT client;
    GetClientRect(window, &client);
    HBRUSH brush = CreateSolidBrush(static_cast<COLORREF>(GetWindowLongPtrW(window, GWLP_USERDATA)));
    FillRect(dc, &client, brush);
    DeleteObject(brush);
    wchar_t title[64];
    GetWindowTextW(window, title, 64);
    HGDIOBJ previous = SelectObject(dc, labelFont);
    SetBkMode(dc, TRANSPARENT);
    SetTextColor(dc, kLabelColor);
    DrawTextW(dc, title, -1, &client, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
    SelectObject(dc, previous);
}

LRESULT CALLBACK windowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_ERASEBKGND:
            return 1;  // WM_PAINT and WM_PRINTCLIENT cover the whole client area
        case WM_PAINT: {
            PAINTSTRUCT paint;
            HDC dc = BeginPaint(window, &paint);
            paintWindow(window, dc);
            EndPaint(window, &paint);
            return 0;
        }
        case WM_PRINTCLIENT:
            paintWindow(window, reinterpret_cast<HDC>(wParam));
            return 0;
        case WM_CLOSE:
            // Closing any one window ends the whole demo.
            PostQuitMessage(0);
            return 0;
        default:
            return DefWindowProcW(window, message, wParam, lParam);
    }
}

bool createWindows(HINSTANCE instance) {
    WNDCLASSEXW windowClass = {};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.lpfnWndProc = windowProc;
    windowClass.hInstance = instance;
    windowClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    windowClass.lpszClassName = kWindowClass;
    if (RegisterClassExW(&windowClass) == 0) {
        return false;
    }
    labelFont =
        CreateFontW(kLabelHeight, 0, 0, 0, FW_BOLD, FALSE, FALSE, FALSE, DEFAULT_CHARSET, OUT_DEFAULT_PRECIS,
                    CLIP_DEFAULT_PRECIS, DEFAULT_QUALITY, DEFAULT_PITCH | FF_SWISS, L"Arial");
    for (const DemoWindow& layout : kDemoWindows) {
        const RECT& r = layout.bounds;
        HWND window =
            CreateWindowExW(0, kWindowClass, layout.title, kWindowStyle & ~WS_VISIBLE, r.left, r.top,
                            r.right - r.left, r.bottom - r.top, nullptr, nullptr, instance, nullptr);
        if (window == nullptr) {
            return false;
        }
        SetWindowLongPtrW(window, GWLP_USERDATA, static_cast<LONG_PTR>(layout.color));
        ShowWindow(window, SW_SHOW);
        UpdateWindow(window);
    }
    return true;
}

bool writeReadyFile(const std::wstring& path) {
    HANDLE file =
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    DWORD written = 0;
    const BOOL ok = WriteFile(file, kReadyText, sizeof(kReadyText) - 1, &written, nullptr);
    CloseHandle(file);
    return ok && written == sizeof(kReadyText) - 1;
}

// Runs messages until WM_QUIT, the quit event or the deadline; returns the exit code.
int runMessageLoop(HANDLE quitEvent, unsigned timeoutSeconds) {
    const ULONGLONG deadline = GetTickCount64() + static_cast<ULONGLONG>(timeoutSeconds) * kMillisPerSecond;
    const DWORD handleCount = quitEvent != nullptr ? 1 : 0;
    for (;;) {
        DWORD wait = INFINITE;
        if (timeoutSeconds > 0) {
            const ULONGLONG now = GetTickCount64();
            if (now >= deadline) {
                return 0;
            }
            wait = static_cast<DWORD>(deadline - now);
        }
        const DWORD result = MsgWaitForMultipleObjects(handleCount, &quitEvent, FALSE, wait, QS_ALLINPUT);
        if (result == WAIT_OBJECT_0 && handleCount == 1) {
            return 0;
        }
        MSG msg;
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
            if (msg.message == WM_QUIT) {
                return static_cast<int>(msg.wParam);
            }
            TranslateMessage(&msg);
            DispatchMessageW(&msg);
        }
    }
}

}  // namespace

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR, int) {
    std::vector<std::wstring> args(__wargv + 1, __wargv + __argc);
    DemoOptions options;
    if (!DemoOptions::parse(args, options)) {
        return kExitBadArguments;
    }
    // Made, not just opened, so that the event may be set before the demo gets to it.
    HANDLE quitEvent =
        options.quitEvent.empty() ? nullptr : CreateEventW(nullptr, TRUE, FALSE, options.quitEvent.c_str());
    if (!options.quitEvent.empty() && quitEvent == nullptr) {
        return kExitBadArguments;
    }
    if (!createWindows(instance)) {
        return kExitNoWindows;
    }
    // Painting happened inside UpdateWindow; the ready file comes after it.
    if (!options.readyFile.empty() && !writeReadyFile(options.readyFile)) {
        return kExitBadArguments;
    }
    const int code = runMessageLoop(quitEvent, options.timeoutSeconds);
    if (quitEvent != nullptr) {
        CloseHandle(quitEvent);
    }
    return code;
}
