#include "WindowPrint.h"

bool printWholeWindow(HWND window, HDC dc) {
    RECT bounds;
    POINT clientOrigin = {0, 0};
    if (!GetWindowRect(window, &bounds) || !ClientToScreen(window, &clientOrigin)) {
        return false;
    }
    const int dx = clientOrigin.x - bounds.left;
    const int dy = clientOrigin.y - bounds.top;
    if (dx != 0 || dy != 0) {
        // A frame Wine leaves undrawn stays black, as it shows on screen.
        SendMessageW(window, WM_PRINT, reinterpret_cast<WPARAM>(dc), PRF_NONCLIENT);
    }
    POINT previous;
    SetViewportOrgEx(dc, dx, dy, &previous);
    const BOOL printed = PrintWindow(window, dc, PW_CLIENTONLY);
    SetViewportOrgEx(dc, previous.x, previous.y, nullptr);
    return printed != FALSE;
}
