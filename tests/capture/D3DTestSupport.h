// Direct3D 9 helpers shared by the capture tests: surfaces and pixel reads, all through the
// system's own calls (never through the code under test's readback).
#pragma once

#include <d3d9.h>

#include <cstdint>

#include "C_ComPtr.h"

namespace d3dtest {

// A render target, or in system memory a plain surface to read one back into.
inline C_ComPtr<IDirect3DSurface9> makeSurface(IDirect3DDevice9* device, UINT width, UINT height,
                                               D3DPOOL pool = D3DPOOL_DEFAULT,
                                               D3DFORMAT format = D3DFMT_X8R8G8B8) {
    C_ComPtr<IDirect3DSurface9> surface;
    const HRESULT hr =
        pool == D3DPOOL_DEFAULT
            ? device->CreateRenderTarget(width, height, format, D3DMULTISAMPLE_NONE, 0, FALSE, surface.put(),
                                         nullptr)
            : device->CreateOffscreenPlainSurface(width, height, format, pool, surface.put(), nullptr);
    if (FAILED(hr))
        surface.reset();
    return surface;
}

// The pixel at (x, y) of an X8R8G8B8 render target as 0x00RRGGBB, or 0xFFFFFFFF on failure.
inline uint32_t pixelAt(IDirect3DDevice9* device, IDirect3DSurface9* renderTarget, UINT x, UINT y) {
    D3DSURFACE_DESC desc = {};
    D3DLOCKED_RECT locked = {};
    C_ComPtr<IDirect3DSurface9> copy;
    if (SUCCEEDED(renderTarget->GetDesc(&desc)))
        copy = makeSurface(device, desc.Width, desc.Height, D3DPOOL_SYSTEMMEM);
    if (!copy || FAILED(device->GetRenderTargetData(renderTarget, copy.get())) ||
        FAILED(copy->LockRect(&locked, nullptr, D3DLOCK_READONLY)))
        return 0xFFFFFFFFu;
    const uint8_t* row = static_cast<const uint8_t*>(locked.pBits) + static_cast<size_t>(y) * locked.Pitch;
    const uint32_t value = reinterpret_cast<const uint32_t*>(row)[x] & 0x00FFFFFFu;
    copy->UnlockRect();
    return value;
}

}  // namespace d3dtest
