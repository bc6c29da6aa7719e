// Captures one screen rectangle into a caller's 32-bit image, leaving out given windows. It
// points a hidden magnifier control at the rectangle; the magnifier renders synchronously
// inside MagSetWindowSource and presents with StretchRect, which the interception (HookD3D)
// hands to this reader, which reads the render target back until it is stable and copies it.
#pragma once

#include <d3d9.h>
#include <windows.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "C_ComPtr.h"
#include "IDirect3DDevice9_StretchRect_Listener.h"
#include "MagnificationDll.h"
#include "VXImage.h"
#include "VXRect.h"
#include "VXResult.h"

class MagD3DScreenReader : public IDirect3DDevice9_StretchRect_Listener {
public:
    static constexpr uint32_t kStabilizationTimeoutMs = 500;

    // Where the time of the last readScreen went, in microseconds. The magnifier's own work
    // (composition, upload, present) is total minus notification.
    struct Timings {
        uint64_t totalUs = 0;
        uint64_t notificationUs = 0;
        uint64_t readbackUs = 0;
        uint64_t compareUs = 0;
        uint64_t copyUs = 0;
        uint32_t readbacks = 0;
    };

    MagD3DScreenReader();
    MagD3DScreenReader(const MagD3DScreenReader&) = delete;
    MagD3DScreenReader& operator=(const MagD3DScreenReader&) = delete;
    ~MagD3DScreenReader() override;

    // captureR in screen pixels; image 32-bit, exactly captureR's size, with pixels. The
    // reader keeps a share of the image.
    VXResult setup(const VXRect& captureR, const std::shared_ptr<VXImage>& image);
    // Windows to leave out of the picture; no call into the magnifier when nothing changed.
    VXResult setExcludedWindows(const std::vector<HWND>& windows);
    VXResult setCaptureCursor(bool show);
    // Captures into the image of the last setup.
    VXResult readScreen();

    // Wait indicators of the last readScreen.
    uint32_t getStabilizationRounds() const { return _stabilizationRounds; }
    uint32_t getStabilizationTimeMs() const { return _stabilizationTimeMs; }
    bool isStabilizationTimedOut() const { return _stabilizationTimedOut; }
    const Timings& getLastTimings() const { return _timings; }

    HWND getHostWindow() const { return _hostWindow; }
    HWND getMagnifierControl() const { return _magnifierControl; }
    uint32_t getCallbackCount() const { return _callbackCount; }
    const VXResult& getCallbackResult() const { return _callbackResult; }
    bool isAnyPixelNotBlack() const { return _anyPixelNotBlack; }

    void onStretchRect(IDirect3DDevice9* device, IDirect3DSurface9* sourceSurface, const RECT* sourceRect,
                       IDirect3DSurface9* destSurface, const RECT* destRect,
                       D3DTEXTUREFILTERTYPE filter) override;

    // Where a capture's pixels go: filled by compareAndCopy when the readbacks agree.
    struct CopyTarget {
        VXRect rect;
        std::shared_ptr<VXImage> image;
        bool anyNotBlack = false;  // as copySurfaceToImage sets it
        bool done = false;         // the pixels are in the image
    };

    // Reads the render target back until two consecutive readbacks are byte-equal or timeoutMs
    // has passed; `result` is the last readback, one of the reader's reused surfaces. With a
    // copy target, the comparison that finds them equal also copies (copy->done); after a
    // time-out the caller copies the last readback itself.
    VXResult stableReadback(IDirect3DDevice9* pDevice, IDirect3DSurface9* pRenderTargetSurface,
                            const D3DSURFACE_DESC* pRenderTargetSurfaceDesc, uint32_t timeoutMs,
                            IDirect3DSurface9*& result, CopyTarget* copy = nullptr);

    // Reads the render target into `surface`, which is (re)made in system memory unless it
    // already matches the device, size and format.
    static VXResult readbackOnce(IDirect3DDevice9* pDevice, IDirect3DSurface9* pRenderTargetSurface,
                                 const D3DSURFACE_DESC* pRenderTargetSurfaceDesc,
                                 C_ComPtr<IDirect3DSurface9>& surface);
    // `different` is written only when the comparison succeeded.
    static VXResult compareSurfaces(IDirect3DSurface9* pSurface1, IDirect3DSurface9* pSurface2,
                                    bool& different);
    // compareSurfaces, and while the rows agree, copySurfaceToImage of pSurface1 in the same
    // pass, each row copied while it is still in the cache. Once a row differs the image may
    // be partly written; copy.done and copy.anyNotBlack are set only when all rows are equal.
    static VXResult compareAndCopy(IDirect3DSurface9* pSurface1, IDirect3DSurface9* pSurface2,
                                   CopyTarget& copy, bool& different);
    // Copies `rect` of the surface to the same place in the image, row by row, and sets
    // anyNotBlack at the first pixel with non-zero colour bits (alpha ignored).
    static VXResult copySurfaceToImage(IDirect3DSurface9* pSysMemSurfaceSrc, const VXRect& rect,
                                       const std::shared_ptr<VXImage>& imageDst, bool& anyNotBlack);

private:
    // Both comparisons; with a copy target, also the copy of its rectangle.
    static VXResult compareRows_(IDirect3DSurface9* pSurface1, IDirect3DSurface9* pSurface2, CopyTarget* copy,
                                 bool& different);
    VXResult ensureHostWindow(const VXRect& rect);
    VXResult ensureMagnifierControl(const VXRect& rect);
    VXResult ensureWindows_(const VXRect& rect);
    void destroyWindows_();
    VXResult checkSource_(IDirect3DDevice9* device, IDirect3DSurface9* sourceSurface, const RECT* sourceRect,
                          D3DSURFACE_DESC& desc) const;
    VXResult captureSource_(IDirect3DDevice9* device, IDirect3DSurface9* sourceSurface,
                            const RECT* sourceRect);

    MagnificationDll* _magnificationDll = nullptr;
    HWND _hostWindow = nullptr;
    HWND _magnifierControl = nullptr;
    VXRect _captureRect;
    std::shared_ptr<VXImage> _image;
    std::vector<HWND> _excludedWindows;
    uint32_t _callbackCount = 0;
    VXResult _callbackResult;
    bool _anyPixelNotBlack = false;
    uint32_t _stabilizationRounds = 0;
    uint32_t _stabilizationTimeMs = 0;
    bool _stabilizationTimedOut = false;
    // System-memory surfaces reused from capture to capture while device, size and format
    // stay the same: the only allocations a capture makes are Direct3D's own.
    C_ComPtr<IDirect3DSurface9> _readbacks[2];
    Timings _timings;
};
