#include "PixelPacker.h"

#include <cstring>

namespace {

// Channels of a GDI pixel 0x00RRGGBB.
uint32_t red(uint32_t p) {
    return (p >> 16) & 0xFF;
}
uint32_t green(uint32_t p) {
    return (p >> 8) & 0xFF;
}
uint32_t blue(uint32_t p) {
    return p & 0xFF;
}

// Keeps the top `bits` of an 8-bit channel.
uint32_t narrow(uint32_t channel, int bits) {
    return channel >> (8 - bits);
}

// Widens an 8-bit channel to 10 bits by repeating its top bits, so white stays white.
uint32_t widen10(uint32_t channel) {
    return (channel << 2) | (channel >> 6);
}

template <typename T>
void store(uint8_t* out, int index, T value) {
    std::memcpy(out + static_cast<size_t>(index) * sizeof(T), &value, sizeof(T));
}

}  // namespace

namespace PixelPacker {

UINT bytesPerPixel(D3DFORMAT format) {
    switch (format) {
        case D3DFMT_R8G8B8:
            return 3;
        case D3DFMT_R5G6B5:
        case D3DFMT_X1R5G5B5:
        case D3DFMT_A1R5G5B5:
        case D3DFMT_A4R4G4B4:
        case D3DFMT_X4R4G4B4:
            return 2;
        case D3DFMT_A8R8G8B8:
        case D3DFMT_X8R8G8B8:
        case D3DFMT_A8B8G8R8:
        case D3DFMT_X8B8G8R8:
        case D3DFMT_A2B10G10R10:
        case D3DFMT_A2R10G10B10:
            return 4;
        default:
            return 0;
    }
}

void packRow(D3DFORMAT format, const uint32_t* bgra, uint8_t* out, int width) {
    for (int x = 0; x < width; ++x) {
        const uint32_t p = bgra[x];
        const uint32_t r = red(p), g = green(p), b = blue(p);
        switch (format) {
            case D3DFMT_R8G8B8:
                out[3 * x] = static_cast<uint8_t>(b);
                out[3 * x + 1] = static_cast<uint8_t>(g);
                out[3 * x + 2] = static_cast<uint8_t>(r);
                break;
            case D3DFMT_R5G6B5:
                store<uint16_t>(out, x,
                                static_cast<uint16_t>(narrow(r, 5) << 11 | narrow(g, 6) << 5 | narrow(b, 5)));
                break;
            case D3DFMT_X1R5G5B5:
            case D3DFMT_A1R5G5B5:
                store<uint16_t>(
                    out, x,
                    static_cast<uint16_t>(0x8000 | narrow(r, 5) << 10 | narrow(g, 5) << 5 | narrow(b, 5)));
                break;
            case D3DFMT_A4R4G4B4:
            case D3DFMT_X4R4G4B4:
                store<uint16_t>(
                    out, x,
                    static_cast<uint16_t>(0xF000 | narrow(r, 4) << 8 | narrow(g, 4) << 4 | narrow(b, 4)));
                break;
            case D3DFMT_A8R8G8B8:
            case D3DFMT_X8R8G8B8:
                store<uint32_t>(out, x, 0xFF000000u | r << 16 | g << 8 | b);
                break;
            case D3DFMT_A8B8G8R8:
            case D3DFMT_X8B8G8R8:
                store<uint32_t>(out, x, 0xFF000000u | b << 16 | g << 8 | r);
                break;
            case D3DFMT_A2B10G10R10:
                store<uint32_t>(out, x, 0xC0000000u | widen10(b) << 20 | widen10(g) << 10 | widen10(r));
                break;
            case D3DFMT_A2R10G10B10:
                store<uint32_t>(out, x, 0xC0000000u | widen10(r) << 20 | widen10(g) << 10 | widen10(b));
                break;
            default:
                // Callers check bytesPerPixel first; an unknown format writes nothing.
                return;
        }
    }
}

}  // namespace PixelPacker
