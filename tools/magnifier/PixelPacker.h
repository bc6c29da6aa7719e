// Converts rows of 32-bit BGRA pixels (GDI's DIB layout) into the layout of a Direct3D
// surface format, so the render target can be filled through a system-memory surface.
#pragma once

#include <d3d9.h>
#include <windows.h>

#include <cstdint>

namespace PixelPacker {

// 0 when the format is not one the stand-in can write.
UINT bytesPerPixel(D3DFORMAT format);

// Writes `width` pixels to `out`; alpha, where the format has it, is opaque.
void packRow(D3DFORMAT format, const uint32_t* bgra, uint8_t* out, int width);

}  // namespace PixelPacker
