#include "ForeignWindowPrinter.h"

#include "WindowPrint.h"

#include <atomic>
#include <cstdint>
#include <cwchar>

namespace {

constexpr wchar_t kPrintMessageName[] = L"VistrelMagnifierPrintWindow";
constexpr wchar_t kMappingNameFormat[] = L"Local\\VistrelMagnifierPrint-%lu-%lu";
constexpr size_t kMappingNameChars = 64;
// The owner may be busy; a capture must not hang on one window.
constexpr UINT kAnswerTimeoutMillis = 1000;
// The pixels follow a small header; DIB sections need a DWORD-aligned offset.
constexpr DWORD kPixelOffset = 64;
constexpr uint32_t kHeaderMagic = 0x4D475856;  // "VXGM"
constexpr WORD kBitsPerPixel = 32;

struct SharedHeader {
    uint32_t magic;
    int32_t width;
    int32_t height;
    volatile LONG printed;
};

std::atomic<unsigned long> nextRequest{0};

UINT printMessage() {
    static const UINT message = RegisterWindowMessageW(kPrintMessageName);
    return message;
}

void mappingName(wchar_t (&name)[kMappingNameChars], unsigned long processId, unsigned long request) {
    swprintf(name, kMappingNameChars, kMappingNameFormat, processId, request);
}

HMODULE thisModule() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&printMessage), &module);
    return module;
}

BITMAPINFO topDownInfo(int width, int height) {
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = kBitsPerPixel;
    info.bmiHeader.biCompression = BI_RGB;
    return info;
}

// Runs in the window's own process: prints the window into the caller's shared DIB.
void printIntoMapping(HWND window, unsigned long processId, unsigned long request) {
    wchar_t name[kMappingNameChars];
    mappingName(name, processId, request);
    HANDLE mapping = OpenFileMappingW(FILE_MAP_READ | FILE_MAP_WRITE, FALSE, name);
    if (mapping == nullptr) {
        return;
    }
    auto* header =
        static_cast<SharedHeader*>(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, sizeof(SharedHeader)));
    if (header != nullptr && header->magic == kHeaderMagic) {
        BITMAPINFO info = topDownInfo(header->width, header->height);
        void* bits = nullptr;
        HBITMAP bitmap = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, mapping, kPixelOffset);
        HDC dc = CreateCompatibleDC(nullptr);
        if (bitmap != nullptr && dc != nullptr) {
            HGDIOBJ previous = SelectObject(dc, bitmap);
            const bool printed = printWholeWindow(window, dc);
            GdiFlush();
            SelectObject(dc, previous);
            InterlockedExchange(&header->printed, printed ? 1 : 0);
        }
        if (dc != nullptr) {
            DeleteDC(dc);
        }
        if (bitmap != nullptr) {
            DeleteObject(bitmap);
        }
    }
    if (header != nullptr) {
        UnmapViewOfFile(header);
    }
    CloseHandle(mapping);
}

LRESULT CALLBACK printHook(int code, WPARAM wParam, LPARAM lParam) {
    const auto* call = reinterpret_cast<const CWPSTRUCT*>(lParam);
    if (code == HC_ACTION && call != nullptr && call->message == printMessage()) {
        printIntoMapping(call->hwnd, static_cast<unsigned long>(call->lParam),
                         static_cast<unsigned long>(call->wParam));
    }
    return CallNextHookEx(nullptr, code, wParam, lParam);
}

}  // namespace

namespace ForeignWindowPrinter {

bool print(HWND window, int width, int height, HDC dc, int x, int y) {
    const DWORD thread = GetWindowThreadProcessId(window, nullptr);
    const unsigned long request = ++nextRequest;
    const unsigned long processId = GetCurrentProcessId();
    wchar_t name[kMappingNameChars];
    mappingName(name, processId, request);
    const uint64_t size = kPixelOffset + static_cast<uint64_t>(width) * height * sizeof(uint32_t);
    HANDLE mapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE,
                                        static_cast<DWORD>(size >> 32), static_cast<DWORD>(size), name);
    if (mapping == nullptr) {
        return false;
    }
    auto* view = static_cast<uint8_t*>(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0));
    bool printed = false;
    if (view != nullptr) {
        auto* header = reinterpret_cast<SharedHeader*>(view);
        header->magic = kHeaderMagic;
        header->width = width;
        header->height = height;
        header->printed = 0;
        HHOOK hook = SetWindowsHookExW(WH_CALLWNDPROC, printHook, thisModule(), thread);
        if (hook != nullptr) {
            DWORD_PTR answer = 0;
            SendMessageTimeoutW(window, printMessage(), request, processId, SMTO_BLOCK | SMTO_ABORTIFHUNG,
                                kAnswerTimeoutMillis, &answer);
            UnhookWindowsHookEx(hook);
        }
        printed = InterlockedCompareExchange(&header->printed, 0, 0) == 1;
        if (printed) {
            const BITMAPINFO info = topDownInfo(width, height);
            SetDIBitsToDevice(dc, x, y, static_cast<DWORD>(width), static_cast<DWORD>(height), 0, 0, 0,
                              static_cast<UINT>(height), view + kPixelOffset, &info, DIB_RGB_COLORS);
        }
        UnmapViewOfFile(view);
    }
    CloseHandle(mapping);
    return printed;
}

}  // namespace ForeignWindowPrinter
