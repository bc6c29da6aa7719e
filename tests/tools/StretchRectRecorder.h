// Intercepts IDirect3DDevice9::StretchRect for the whole process, the way the capture server
// does, and keeps what the source surface held when the call was made.
#pragma once

#include <d3d9.h>
#include <windows.h>

#include <cstdint>
#include <vector>

// One copy of a source surface, read back with GetRenderTargetData.
struct Readback {
    D3DFORMAT format = D3DFMT_UNKNOWN;
    UINT width = 0;
    UINT height = 0;
    UINT bytesPerRow = 0;
    std::vector<uint8_t> bytes;

    // 0x00RRGGBB of a 32-bit pixel (X8R8G8B8 or A8R8G8B8 only).
    uint32_t rgbAt(int x, int y) const;
    // Raw 16-bit pixel (R5G6B5 and the other 2-byte formats only).
    uint16_t word16At(int x, int y) const;
    bool operator==(const Readback& other) const;
};

class StretchRectRecorder {
public:
    // Patches the StretchRect slot of the shared device vtable once; false when no device
    // could be made to find it.
    static bool install();

    // Forgets earlier calls; each later call reads its source `readbacksPerCall` times in a
    // row (0: pass through untouched).
    static void reset(int readbacksPerCall);

    static int calls();
    // The readbacks of the latest call.
    static const std::vector<Readback>& readbacks();
};
