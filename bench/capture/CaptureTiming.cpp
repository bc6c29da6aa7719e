// Times readScreen of a 1920 x 1080 rectangle and splits it into the magnifier's render
// (composition, upload and present), the readbacks, the comparison and the copy.
// Usage: vx_capture_timing [captures]   (default 20; the first, warm-up capture is not counted)
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "HookD3D.h"
#include "MagD3DScreenReader.h"
#include "MagnificationDll.h"
#include "VXImage.h"
#include "VXPlatform.h"

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kDefaultCaptures = 20;
constexpr int kWindows = 6;

LRESULT CALLBACK paintProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_ERASEBKGND) {
        RECT client;
        GetClientRect(window, &client);
        HBRUSH brush = CreateSolidBrush(static_cast<COLORREF>(GetWindowLongPtrW(window, GWLP_USERDATA)));
        FillRect(reinterpret_cast<HDC>(wParam), &client, brush);
        DeleteObject(brush);
        return 1;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

// Some overlapping windows, so that the render composes more than the background.
std::vector<HWND> makeWindows() {
    WNDCLASSW windowClass = {};
    windowClass.lpfnWndProc = paintProc;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = L"VxCaptureTimingWindow";
    RegisterClassW(&windowClass);
    std::vector<HWND> windows;
    for (int i = 0; i < kWindows; ++i) {
        HWND window =
            CreateWindowExW(WS_EX_TOOLWINDOW, windowClass.lpszClassName, L"timing", WS_POPUP, 100 + i * 250,
                            80 + i * 140, 640, 480, nullptr, nullptr, windowClass.hInstance, nullptr);
        SetWindowLongPtrW(window, GWLP_USERDATA, RGB(40 * i, 255 - 30 * i, 90 + 25 * i));
        ShowWindow(window, SW_SHOWNOACTIVATE);
        UpdateWindow(window);
        windows.push_back(window);
    }
    MSG msg;
    while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE))
        DispatchMessageW(&msg);
    return windows;
}

double ms(uint64_t us) {
    return static_cast<double>(us) / 1000.0;
}

uint64_t now() {
    return VXPlatform::monotonicMicroseconds();
}

// wined3d makes GetRenderTargetData lazy: the pixels travel when the surface is first locked,
// which the capture does in its comparison. This separates that download from the comparison
// proper, on a render target of the same size, and times the least work a capture can do: two
// readbacks into kept surfaces, one comparison and one copy, each on its own. Returns that sum
// in microseconds per capture (0 when it could not be measured).
uint64_t splitReadback(int rounds) {
    C_ComPtr<IDirect3DDevice9> device;
    C_ComPtr<IDirect3DSurface9> target;
    if (HookD3D::createDummyDevice(device.put()).isError() ||
        FAILED(device->CreateRenderTarget(kWidth, kHeight, D3DFMT_X8R8G8B8, D3DMULTISAMPLE_NONE, 0, FALSE,
                                          target.put(), nullptr)) ||
        FAILED(device->ColorFill(target.get(), nullptr, D3DCOLOR_XRGB(30, 60, 90)))) {
        std::printf("no render target for the readback split\n");
        return 0;
    }
    std::shared_ptr<VXImage> image;
    if (VXImage::create(kWidth, kHeight, 32, image).isError() || image->allocate().isError())
        return 0;
    D3DSURFACE_DESC desc = {};
    target->GetDesc(&desc);
    C_ComPtr<IDirect3DSurface9> slots[2];
    uint64_t call = 0;
    uint64_t download = 0;
    uint64_t compare = 0;
    uint64_t copy = 0;
    uint64_t fused = 0;
    uint64_t bestSeparate = UINT64_MAX;
    uint64_t bestFused = UINT64_MAX;
    for (int i = 0; i < rounds; ++i) {
        for (auto& slot : slots) {
            uint64_t start = now();
            if (MagD3DScreenReader::readbackOnce(device.get(), target.get(), &desc, slot).isError())
                return 0;
            call += now() - start;
            D3DLOCKED_RECT locked;
            start = now();
            if (SUCCEEDED(slot->LockRect(&locked, nullptr, D3DLOCK_READONLY)))
                slot->UnlockRect();
            download += now() - start;
        }
        bool different = false;
        const uint64_t start = now();
        MagD3DScreenReader::compareSurfaces(slots[0].get(), slots[1].get(), different);
        compare += now() - start;
        bool anyNotBlack = false;
        const uint64_t copyStart = now();
        MagD3DScreenReader::copySurfaceToImage(slots[0].get(), VXRect(0, 0, kWidth, kHeight), image,
                                               anyNotBlack);
        copy += now() - copyStart;
        // The capture's own step on the same surfaces: one pass that compares and copies.
        MagD3DScreenReader::CopyTarget target{VXRect(0, 0, kWidth, kHeight), image};
        const uint64_t fusedStart = now();
        MagD3DScreenReader::compareAndCopy(slots[0].get(), slots[1].get(), target, different);
        const uint64_t fusedUs = now() - fusedStart;
        fused += fusedUs;
        const uint64_t separateUs = copyStart - start + (fusedStart - copyStart);
        bestSeparate = std::min(bestSeparate, separateUs);
        bestFused = std::min(bestFused, fusedUs);
    }
    const double n = 2.0 * rounds;
    std::printf(
        "one readback of %dx%d: GetRenderTargetData %.2f ms + first lock (download) %.2f ms;"
        " comparison of two local surfaces %.2f ms; copy into the image %.2f ms\n",
        kWidth, kHeight, ms(call) / n, ms(download) / n, ms(compare) / rounds, ms(copy) / rounds);
    // The best round of each is the one least disturbed by other work on the machine.
    std::printf(
        "compare then copy: mean %.2f ms, best %.2f ms; compare and copy in one pass: mean %.2f ms, best "
        "%.2f ms\n",
        ms(compare + copy) / rounds, ms(bestSeparate), ms(fused) / rounds, ms(bestFused));
    return (call + download + compare + copy) / static_cast<uint64_t>(rounds);
}

}  // namespace

int main(int argc, char** argv) {
    const int captures = argc > 1 ? std::max(1, std::atoi(argv[1])) : kDefaultCaptures;
    VXResult result = initMagnification(false);
    if (result.isError()) {
        std::printf("initMagnification failed: %s\n", result.message().toUtf8().c_str());
        return 1;
    }
    std::vector<HWND> windows = makeWindows();
    std::shared_ptr<VXImage> image;
    if (VXImage::create(kWidth, kHeight, 32, image).isError() || image->allocate().isError())
        return 1;
    int exitCode = 0;
    uint64_t meanNotificationUs = 0;
    {
        MagD3DScreenReader reader;
        result = reader.setup(VXRect(0, 0, kWidth, kHeight), image);
        if (result.isSuccess())
            result = reader.readScreen();  // warm-up: devices and surfaces made
        if (result.isError()) {
            std::printf("capture failed: %s\n", result.message().toUtf8().c_str());
            exitCode = 1;
        }
        std::vector<MagD3DScreenReader::Timings> runs;
        for (int i = 0; i < captures && exitCode == 0; ++i) {
            result = reader.readScreen();
            if (result.isError()) {
                std::printf("capture %d failed: %s\n", i, result.message().toUtf8().c_str());
                exitCode = 1;
            }
            runs.push_back(reader.getLastTimings());
        }
        std::printf("%d captures of %dx%d (ms)\n", static_cast<int>(runs.size()), kWidth, kHeight);
        // When the readbacks agree the comparison copies as it goes: "compare" then holds the copy.
        std::printf("%8s %8s %9s %9s %8s %6s %10s\n", "total", "render", "readback", "compare", "copy",
                    "reads", "notify");
        MagD3DScreenReader::Timings sum;
        for (const auto& t : runs) {
            std::printf("%8.1f %8.1f %9.1f %9.1f %8.1f %6u %10.1f\n", ms(t.totalUs),
                        ms(t.totalUs - t.notificationUs), ms(t.readbackUs), ms(t.compareUs), ms(t.copyUs),
                        t.readbacks, ms(t.notificationUs));
            sum.totalUs += t.totalUs;
            sum.notificationUs += t.notificationUs;
            sum.readbackUs += t.readbackUs;
            sum.compareUs += t.compareUs;
            sum.copyUs += t.copyUs;
            sum.readbacks += t.readbacks;
        }
        if (!runs.empty()) {
            std::vector<uint64_t> totals;
            for (const auto& t : runs)
                totals.push_back(t.totalUs);
            std::sort(totals.begin(), totals.end());
            std::printf("median total %.1f ms\n", ms(totals[totals.size() / 2]));
            const double n = static_cast<double>(runs.size());
            meanNotificationUs = sum.notificationUs / runs.size();
            std::printf(
                "mean: total %.1f = render %.1f + readbacks %.1f (%.1f each) + compare %.1f + copy %.1f"
                " + other %.1f\n",
                ms(sum.totalUs) / n, ms(sum.totalUs - sum.notificationUs) / n, ms(sum.readbackUs) / n,
                ms(sum.readbackUs) / sum.readbacks, ms(sum.compareUs) / n, ms(sum.copyUs) / n,
                ms(sum.notificationUs - sum.readbackUs - sum.compareUs - sum.copyUs) / n);
        }
    }
    uninitMagnification(false);
    if (exitCode == 0) {
        const uint64_t leastWorkUs = splitReadback(captures);
        std::printf(
            "inside the interception: %.2f ms per capture; least work (2 readbacks + compare + copy): %.2f "
            "ms\n",
            ms(meanNotificationUs), ms(leastWorkUs));
    }
    for (HWND window : windows)
        DestroyWindow(window);
    return exitCode;
}
