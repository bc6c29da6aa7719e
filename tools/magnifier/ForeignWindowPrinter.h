// PrintWindow for windows of other processes. Under Wine, WM_PRINT cannot carry a device
// context across processes, so the window's own thread prints it: a short-lived message hook
// brings this DLL into that thread, which draws into a DIB on shared memory that we read.
#pragma once

#include <windows.h>

namespace ForeignWindowPrinter {

// Draws `window`, frame included and `width` x `height` in size, into `dc` at (x, y).
// False when the owning thread did not answer; nothing is drawn then.
bool print(HWND window, int width, int height, HDC dc, int x, int y);

}  // namespace ForeignWindowPrinter
