/* A minimal screen-sharing host in C: it captures the screen around a window of its own twice
 * through Vistrel, once with the window and once leaving it out.
 *
 * On Windows it shows that window and checks that its pixels are gone from the second capture.
 * On Linux this example has no X window of its own, so it runs the server in unit-test mode
 * (which answers without capturing) and checks the two answers; an X11 host passes its own
 * windows' ids the same way. Only where the window id comes from differs between the two.
 *
 *   c-host [path of the server]     (default: the server beside the library)
 * Exit code 0 when both captures came back as expected, 1 otherwise. */
#ifdef _WIN32
#include <windows.h>
#endif

#include <locale.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "vistrel_host.h"

#define CAPTURE_LEFT 100
#define CAPTURE_TOP 100
#define CAPTURE_RIGHT 500
#define CAPTURE_BOTTOM 400
#define WINDOW_COLOR 0xE02060u /* 0xRRGGBB */

#ifdef _WIN32

static HWND g_window;
static HANDLE g_ready;

static void fill(HWND window, HDC dc) {
    RECT client;
    HBRUSH brush = CreateSolidBrush(RGB(WINDOW_COLOR >> 16, (WINDOW_COLOR >> 8) & 0xFF, WINDOW_COLOR & 0xFF));
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

/* The host's own window, shown before the server starts; its pixels can be checked. */
static uint64_t ownWindow(int* canCheckPixels) {
    g_ready = CreateEventW(NULL, TRUE, FALSE, NULL);
    CreateThread(NULL, 0, windowThread, NULL, 0, NULL);
    WaitForSingleObject(g_ready, 10000);
    *canCheckPixels = 1;
    return (uint64_t)(uintptr_t)g_window;
}
#else
/* An X11 host's windows are X window ids widened to 64 bits. This one has none on screen, so
 * the server runs in unit-test mode and the id is only carried to it. */
static uint64_t ownWindow(int* canCheckPixels) {
    *canCheckPixels = 0;
    return 0x3E00001u;
}
#endif

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

int main(int argc, char** argv) {
    VistrelStartOptions options;
    VistrelHost* host = NULL;
    VistrelFrame frame;
    uint64_t exclude[1];
    unsigned with = 0, without = 0;
    int canCheckPixels = 0;
    int answers = 0;
    int ok = 0;
    wchar_t serverPath[1024];

    setlocale(LC_ALL, ""); /* the command line's multibyte text, for mbstowcs */
    printf("vistrel_host %s\n", vistrel_host_version());
    exclude[0] = ownWindow(&canCheckPixels);

    memset(&options, 0, sizeof(options));
    options.size = sizeof(options);
    if (argc > 1) {
        if (mbstowcs(serverPath, argv[1], sizeof(serverPath) / sizeof(serverPath[0])) >=
            sizeof(serverPath) / sizeof(serverPath[0])) {
            fprintf(stderr, "unusable server path: %s\n", argv[1]);
            return 1;
        }
        options.serverPath = serverPath;
    }
    options.left = CAPTURE_LEFT;
    options.top = CAPTURE_TOP;
    options.right = CAPTURE_RIGHT;
    options.bottom = CAPTURE_BOTTOM;
    options.unitTestMode = !canCheckPixels;
    if (vistrel_host_start(&options, &host) != VISTREL_OK) {
        fprintf(stderr, "start failed: %ls\n", vistrel_host_last_error(host));
        vistrel_host_close(host);
        return 1;
    }
    if (capture(host, NULL, 0, &frame)) {
        ++answers;
        with = pixelAt(&frame, 300, 225);
        printf("capture %dx%d in %llu us: window pixel %06X\n", (int)frame.width, (int)frame.height,
               (unsigned long long)frame.microseconds, with);
        if (capture(host, exclude, 1, &frame)) {
            ++answers;
            without = pixelAt(&frame, 300, 225);
            printf("capture leaving the window out: same pixel %06X\n", without);
        }
    }
    vistrel_host_close(host);
    if (canCheckPixels) {
        ok = answers == 2 && with == WINDOW_COLOR && without != WINDOW_COLOR;
        printf("%s\n", ok ? "OK: the window was captured, then left out" : "FAILED");
    } else {
        ok = answers == 2 && frame.width == CAPTURE_RIGHT - CAPTURE_LEFT &&
             frame.height == CAPTURE_BOTTOM - CAPTURE_TOP;
        printf("%s\n", ok ? "OK: two answers in unit-test mode" : "FAILED");
    }
    return ok ? 0 : 1;
}
