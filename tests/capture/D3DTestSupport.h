// Direct3D 9 surfaces for the capture tests, made through the system's own calls.
#pragma once

#include <d3d9.h>

#include "C_ComPtr.h"

namespace d3dtest {

// A render target, or in any other pool a plain surface.
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

}  // namespace d3dtest
