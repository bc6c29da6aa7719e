// State of one magnifier control window: its filter list, the Direct3D device it presents
// with and the render target an interception of StretchRect reads.
#pragma once

#include "ComRef.h"
#include "DesktopComposer.h"
#include "RenderSwitches.h"

#include <d3d9.h>
#include <windows.h>

#include <atomic>
#include <cstdint>
#include <vector>

class MagControl {
public:
    explicit MagControl(HWND window) : window_(window) {}
    MagControl(const MagControl&) = delete;
    MagControl& operator=(const MagControl&) = delete;

    // Null when `window` is not a live control of this library.
    static MagControl* from(HWND window);

    // Win32 error codes, 0 on success.
    DWORD setFilterList(DWORD mode, int count, const HWND* windows);
    DWORD filterList(int count, HWND* windows, int& total) const;
    DWORD render(const RECT& source);

private:
    DWORD ensureDevice(UINT width, UINT height);
    DWORD ensureTarget(UINT width, UINT height, D3DFORMAT format);
    DWORD upload(const DesktopComposer& image);
    DWORD present();

    HWND window_;
    std::vector<HWND> excluded_;
    DesktopComposer composer_;
    ComRef<IDirect3D9> d3d_;
    ComRef<IDirect3DDevice9> device_;
    UINT deviceWidth_ = 0;
    UINT deviceHeight_ = 0;
    ComRef<IDirect3DSurface9> target_;
    ComRef<IDirect3DSurface9> staging_;
    D3DFORMAT targetFormat_ = D3DFMT_UNKNOWN;
    std::atomic<uint32_t> changeCounter_{0};
};
