// Builds the image the system magnifier would show: the desktop inside a screen rectangle,
// composed from the visible top-level windows bottom to top, with chosen windows left out.
#pragma once

#include <windows.h>

#include <cstdint>
#include <vector>

class DesktopComposer {
public:
    DesktopComposer() = default;
    DesktopComposer(const DesktopComposer&) = delete;
    DesktopComposer& operator=(const DesktopComposer&) = delete;
    ~DesktopComposer();

    // Composes `source` (screen coordinates) 1:1 into a width x height image; what lies
    // beyond `source` stays black. Returns a Win32 error code, 0 on success.
    DWORD compose(const RECT& source, int width, int height, const std::vector<HWND>& excluded,
                  bool drawCursor);

    // An all-black image of the same layout.
    DWORD clear(int width, int height);

    // Top-down rows of 0x00RRGGBB, width() pixels each, valid until the next call.
    const uint32_t* pixels() const { return bits_; }
    int width() const { return width_; }
    int height() const { return height_; }

private:
    DWORD ensureCanvas(int width, int height);
    void releaseCanvas();
    void drawWindow(HWND window, const RECT& source);
    void drawCursor(const RECT& source);

    HDC dc_ = nullptr;
    HBITMAP bitmap_ = nullptr;
    HGDIOBJ previousBitmap_ = nullptr;
    uint32_t* bits_ = nullptr;
    int width_ = 0;
    int height_ = 0;
};
