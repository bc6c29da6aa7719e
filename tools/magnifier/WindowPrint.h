// Prints one window, frame and client, into a device context of the window's size; runs in
// the process that owns the window.
#pragma once

#include <windows.h>

// Under Wine, WM_PRINT draws the client area at the window's origin, over the frame; so the
// frame and the client are printed apart, the client at its offset inside the frame.
bool printWholeWindow(HWND window, HDC dc);
