// Direct3D 9 helpers shared by the capture tests: devices, filled render targets and pixel
// reads, all through the system's own calls (never through the code under test's readback).
#pragma once

#include <d3d9.h>

#include <cstdint>

#include "C_ComPtr.h"

namespace d3dtest {

// A device of its own, made the same way the interception finds the method's code.
C_ComPtr<IDirect3DDevice9> makeDevice();
C_ComPtr<IDirect3DSurface9> makeRenderTarget(IDirect3DDevice9* device, UINT width, UINT height,
                                             D3DFORMAT format = D3DFMT_X8R8G8B8);
C_ComPtr<IDirect3DSurface9> makeSystemMemorySurface(IDirect3DDevice9* device, UINT width, UINT height,
                                                    D3DFORMAT format = D3DFMT_X8R8G8B8);
bool fill(IDirect3DDevice9* device, IDirect3DSurface9* surface, D3DCOLOR color, const RECT* rect = nullptr);
// The pixel at (x, y) of a render target as 0x00RRGGBB (alpha dropped), or 0xFFFFFFFF on failure.
uint32_t pixelAt(IDirect3DDevice9* device, IDirect3DSurface9* renderTarget, UINT x, UINT y);

}  // namespace d3dtest
