/* A minimal screen-sharing host in C: it shows a window of its own, captures the screen
 * around it twice through Vistrel, once with the window and once leaving it out, and checks
 * that the window's pixels are gone from the second capture.
 *
 *   c-host [path\to\Vistrel.exe]     (default: Vistrel.exe beside vistrel_host.dll)
 * Exit code 0 when the window was seen and then left out, 1 otherwise. */
#include <windows.h>

#include <stdio.h>
#include <string.h>

#include "vistrel_host.h"

#define CAPTURE_LEFT 100
#define CAPTURE_TOP 100
#define CAPTURE_RIGHT 500
#define CAPTURE_BOTTOM 400
#define WINDOW_COLOR RGB(0xE0, 0x20, 0x60)

static HWND g_window;
static HANDLE g_ready;

static void fill(HWND window, HDC dc) {
    RECT client;
    HBRUSH brush = CreateSolidBrush(WINDOW_COLOR);
    GetClientRect(window, &client);
    FillRect(dc, &client, brush);
    DeleteObject(brush);
}

static LRESULT CALLBACK windowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    PAINTSTRUCT paint;
    switch (message) {
        case WM_PAINT:
            fill(window, BeginPaint(window, &paint));
            EndPaint(window, &paint);
            return 0;
        case WM_ERASEBKGND:
            return 1;
        case WM_PRINTCLIENT: /* a window that is asked to draw itself into a given DC */
            fill(window, (HDC)wParam);
            return 0;
        default:
            return DefWindowProcW(window, message, wParam, lParam);
    }
}

/* The window lives on a thread that keeps pumping messages, as a host's UI thread would. */
static DWORD WINAPI windowThread(LPVOID unused) {
    WNDCLASSW windowClass;
    MSG message;
    (void)unused;
    memset(&windowClass, 0, sizeof(windowClass));
    windowClass.lpfnWndProc = windowProc;
    windowClass.hInstance = GetModuleHandleW(NULL);
    windowClass.lpszClassName = L"VistrelCHostWindow";
    RegisterClassW(&windowClass);
    g_window = CreateWindowExW(WS_EX_TOPMOST, windowClass.lpszClassName, L"My host's own panel", WS_POPUP,
                               200, 150, 200, 150, NULL, NULL, windowClass.hInstance, NULL);
    ShowWindow(g_window, SW_SHOWNOACTIVATE);
    UpdateWindow(g_window);
    SetEvent(g_ready);
    while (GetMessageW(&message, NULL, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return 0;
}

/* 0xRRGGBB of the pixel at screen position (x, y) of a frame. */
static unsigned pixelAt(const VistrelFrame* frame, int x, int y) {
    const uint8_t* p =
        frame->pixels + (size_t)(y - CAPTURE_TOP) * (size_t)frame->stride + (size_t)(x - CAPTURE_LEFT) * 4;
    return ((unsigned)p[2] << 16) | ((unsigned)p[1] << 8) | p[0];
}

static int capture(VistrelHost* host, const uint64_t* windows, uint32_t count, VistrelFrame* frame) {
    int32_t r;
    frame->size = sizeof(*frame);
    r = vistrel_host_capture(host, windows, count, 0, 30000, frame);
    if (r != VISTREL_OK) {
        fprintf(stderr, "exchange failed (%d): %ls\n", (int)r, vistrel_host_last_error(host));
        return 0;
    }
    if (frame->code != 2000) {
        fprintf(stderr, "capture failed (%d): %ls\n", (int)frame->code, frame->text);
        return 0;
    }
    return 1;
}

int wmain(int argc, wchar_t** argv) {
    VistrelStartOptions options;
    VistrelHost* host = NULL;
    VistrelFrame frame;
    uint64_t exclude[1];
    unsigned with, without;
    const unsigned expected =
        (GetRValue(WINDOW_COLOR) << 16) | (GetGValue(WINDOW_COLOR) << 8) | GetBValue(WINDOW_COLOR);
    int ok = 0;

    printf("vistrel_host %s\n", vistrel_host_version());
    g_ready = CreateEventW(NULL, TRUE, FALSE, NULL);
    CreateThread(NULL, 0, windowThread, NULL, 0, NULL);
    WaitForSingleObject(g_ready, 10000);

    memset(&options, 0, sizeof(options));
    options.size = sizeof(options);
    options.serverPath = argc > 1 ? argv[1] : NULL;
    options.left = CAPTURE_LEFT;
    options.top = CAPTURE_TOP;
    options.right = CAPTURE_RIGHT;
    options.bottom = CAPTURE_BOTTOM;
    if (vistrel_host_start(&options, &host) != VISTREL_OK) {
        fprintf(stderr, "start failed: %ls\n", vistrel_host_last_error(host));
        vistrel_host_close(host);
        return 1;
    }
    exclude[0] = (uint64_t)(uintptr_t)g_window;
    if (capture(host, NULL, 0, &frame)) {
        with = pixelAt(&frame, 300, 225);
        printf("capture %dx%d in %llu us: window pixel %06X\n", (int)frame.width, (int)frame.height,
               (unsigned long long)frame.microseconds, with);
        if (capture(host, exclude, 1, &frame)) {
            without = pixelAt(&frame, 300, 225);
            printf("capture leaving the window out: same pixel %06X\n", without);
            ok = with == expected && without != expected;
        }
    }
    vistrel_host_close(host);
    printf("%s\n", ok ? "OK: the window was captured, then left out" : "FAILED");
    return ok ? 0 : 1;
}
