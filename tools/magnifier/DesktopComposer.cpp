#include "DesktopComposer.h"

#include "ForeignWindowPrinter.h"
#include "WindowPrint.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr WORD kCanvasBitsPerPixel = 32;

struct EnumState {
    std::vector<HWND> windows;
};

BOOL CALLBACK collectWindow(HWND window, LPARAM param) {
    reinterpret_cast<EnumState*>(param)->windows.push_back(window);
    return TRUE;
}

bool isListed(const std::vector<HWND>& list, HWND window) {
    return std::find(list.begin(), list.end(), window) != list.end();
}

// Owns a device context plus a DIB the size of one window, for PrintWindow to draw into.
class WindowCanvas {
public:
    WindowCanvas(HDC compatible, int width, int height)
        : dc_(CreateCompatibleDC(compatible)), bitmap_(CreateCompatibleBitmap(compatible, width, height)) {
        if (dc_ != nullptr && bitmap_ != nullptr) {
            previous_ = SelectObject(dc_, bitmap_);
        }
    }
    WindowCanvas(const WindowCanvas&) = delete;
    WindowCanvas& operator=(const WindowCanvas&) = delete;
    ~WindowCanvas() {
        if (previous_ != nullptr) {
            SelectObject(dc_, previous_);
        }
        if (bitmap_ != nullptr) {
            DeleteObject(bitmap_);
        }
        if (dc_ != nullptr) {
            DeleteDC(dc_);
        }
    }
    bool valid() const { return previous_ != nullptr; }
    HDC dc() const { return dc_; }

private:
    HDC dc_ = nullptr;
    HBITMAP bitmap_ = nullptr;
    HGDIOBJ previous_ = nullptr;
};

}  // namespace

DesktopComposer::~DesktopComposer() {
    releaseCanvas();
}

void DesktopComposer::releaseCanvas() {
    if (dc_ != nullptr) {
        SelectObject(dc_, previousBitmap_);
        DeleteDC(dc_);
    }
    if (bitmap_ != nullptr) {
        DeleteObject(bitmap_);
    }
    dc_ = nullptr;
    bitmap_ = nullptr;
    previousBitmap_ = nullptr;
    bits_ = nullptr;
    width_ = height_ = 0;
}

DWORD DesktopComposer::ensureCanvas(int width, int height) {
    if (dc_ != nullptr && width == width_ && height == height_) {
        return ERROR_SUCCESS;
    }
    releaseCanvas();
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;  // negative: top-down rows, the order surfaces use
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = kCanvasBitsPerPixel;
    info.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    dc_ = CreateCompatibleDC(nullptr);
    bitmap_ = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    if (dc_ == nullptr || bitmap_ == nullptr) {
        DWORD error = GetLastError();
        releaseCanvas();
        return error != ERROR_SUCCESS ? error : ERROR_NOT_ENOUGH_MEMORY;
    }
    previousBitmap_ = SelectObject(dc_, bitmap_);
    bits_ = static_cast<uint32_t*>(bits);
    width_ = width;
    height_ = height;
    return ERROR_SUCCESS;
}

DWORD DesktopComposer::clear(int width, int height) {
    DWORD error = ensureCanvas(width, height);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    GdiFlush();
    std::memset(bits_, 0, static_cast<size_t>(width) * height * sizeof(uint32_t));
    return ERROR_SUCCESS;
}

DWORD DesktopComposer::compose(const RECT& source, int width, int height, const std::vector<HWND>& excluded,
                               bool withCursor) {
    DWORD error = clear(width, height);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    const int sourceWidth = std::min<int>(width, source.right - source.left);
    const int sourceHeight = std::min<int>(height, source.bottom - source.top);
    if (sourceWidth <= 0 || sourceHeight <= 0) {
        return ERROR_SUCCESS;
    }
    // Drawing stays inside the part of the canvas that shows the source rectangle.
    SelectClipRgn(dc_, nullptr);
    IntersectClipRect(dc_, 0, 0, sourceWidth, sourceHeight);

    // The screen cannot be read back for the background: it would bring back the very
    // windows the caller asked to leave out. The desktop colour stands in for the wallpaper.
    RECT canvas = {0, 0, sourceWidth, sourceHeight};
    FillRect(dc_, &canvas, GetSysColorBrush(COLOR_DESKTOP));

    EnumState state;
    EnumWindows(collectWindow, reinterpret_cast<LPARAM>(&state));
    // EnumWindows lists top to bottom; painting bottom to top lets upper windows cover lower ones.
    for (auto it = state.windows.rbegin(); it != state.windows.rend(); ++it) {
        if (!isListed(excluded, *it)) {
            drawWindow(*it, source);
        }
    }
    if (withCursor) {
        drawCursor(source);
    }
    GdiFlush();
    return ERROR_SUCCESS;
}

void DesktopComposer::drawWindow(HWND window, const RECT& source) {
    if (!IsWindowVisible(window) || IsIconic(window)) {
        return;
    }
    RECT bounds;
    RECT visible;
    if (!GetWindowRect(window, &bounds) || !IntersectRect(&visible, &bounds, &source)) {
        return;
    }
    const int windowWidth = bounds.right - bounds.left;
    const int windowHeight = bounds.bottom - bounds.top;
    const int x = bounds.left - source.left;
    const int y = bounds.top - source.top;

    DWORD owner = 0;
    GetWindowThreadProcessId(window, &owner);
    if (owner != GetCurrentProcessId()) {
        if (ForeignWindowPrinter::print(window, windowWidth, windowHeight, dc_, x, y)) {
            return;
        }
    } else {
        WindowCanvas canvas(dc_, windowWidth, windowHeight);
        if (canvas.valid() && printWholeWindow(window, canvas.dc())) {
            BitBlt(dc_, x, y, windowWidth, windowHeight, canvas.dc(), 0, 0, SRCCOPY);
            return;
        }
    }
    // The window could not be printed; its on-screen pixels are the next best thing, though
    // under Wine the parts that other windows cover come back black.
    HDC windowDc = GetWindowDC(window);
    if (windowDc != nullptr) {
        BitBlt(dc_, x, y, windowWidth, windowHeight, windowDc, 0, 0, SRCCOPY);
        ReleaseDC(window, windowDc);
    }
}

void DesktopComposer::drawCursor(const RECT& source) {
    CURSORINFO cursor = {};
    cursor.cbSize = sizeof(cursor);
    if (!GetCursorInfo(&cursor) || !(cursor.flags & CURSOR_SHOWING) || cursor.hCursor == nullptr) {
        return;
    }
    ICONINFO icon = {};
    if (!GetIconInfo(cursor.hCursor, &icon)) {
        return;
    }
    // GetIconInfo hands over copies of the cursor's bitmaps; only the hotspot is needed.
    if (icon.hbmMask != nullptr) {
        DeleteObject(icon.hbmMask);
    }
    if (icon.hbmColor != nullptr) {
        DeleteObject(icon.hbmColor);
    }
    const int x = cursor.ptScreenPos.x - static_cast<int>(icon.xHotspot) - source.left;
    const int y = cursor.ptScreenPos.y - static_cast<int>(icon.yHotspot) - source.top;
    DrawIconEx(dc_, x, y, cursor.hCursor, 0, 0, 0, nullptr, DI_NORMAL);
}
