#include "StretchRectRecorder.h"

#include <cstring>

namespace {

// IDirect3DDevice9 method order: StretchRect is the 35th entry of the vtable.
constexpr size_t kStretchRectSlot = 34;
constexpr UINT kDummyBackBufferSize = 16;

using StretchRectFn = HRESULT(STDMETHODCALLTYPE*)(IDirect3DDevice9*, IDirect3DSurface9*, const RECT*,
                                                  IDirect3DSurface9*, const RECT*, D3DTEXTUREFILTERTYPE);

StretchRectFn originalStretchRect = nullptr;
int readbacksPerCall = 0;
int callCount = 0;
std::vector<Readback> latest;

bool readSource(IDirect3DDevice9* device, IDirect3DSurface9* source, IDirect3DSurface9* copy, Readback& out) {
    D3DSURFACE_DESC desc;
    D3DLOCKED_RECT locked;
    if (FAILED(source->GetDesc(&desc)) || FAILED(device->GetRenderTargetData(source, copy)) ||
        FAILED(copy->LockRect(&locked, nullptr, D3DLOCK_READONLY))) {
        return false;
    }
    out.format = desc.Format;
    out.width = desc.Width;
    out.height = desc.Height;
    out.bytesPerRow = static_cast<UINT>(locked.Pitch);
    const auto* rows = static_cast<const uint8_t*>(locked.pBits);
    out.bytes.assign(rows, rows + static_cast<size_t>(locked.Pitch) * desc.Height);
    copy->UnlockRect();
    return true;
}

HRESULT STDMETHODCALLTYPE recordingStretchRect(IDirect3DDevice9* device, IDirect3DSurface9* source,
                                               const RECT* sourceRect, IDirect3DSurface9* dest,
                                               const RECT* destRect, D3DTEXTUREFILTERTYPE filter) {
    ++callCount;
    latest.clear();
    D3DSURFACE_DESC desc;
    IDirect3DSurface9* copy = nullptr;
    if (readbacksPerCall > 0 && SUCCEEDED(source->GetDesc(&desc)) &&
        SUCCEEDED(device->CreateOffscreenPlainSurface(desc.Width, desc.Height, desc.Format, D3DPOOL_SYSTEMMEM,
                                                      &copy, nullptr))) {
        // Back to back, as an interception waiting for a stable image would read.
        for (int i = 0; i < readbacksPerCall; ++i) {
            Readback readback;
            if (!readSource(device, source, copy, readback)) {
                break;
            }
            latest.push_back(std::move(readback));
        }
        copy->Release();
    }
    return originalStretchRect(device, source, sourceRect, dest, destRect, filter);
}

}  // namespace

uint32_t Readback::rgbAt(int x, int y) const {
    uint32_t pixel = 0;
    std::memcpy(&pixel, bytes.data() + static_cast<size_t>(y) * bytesPerRow + static_cast<size_t>(x) * 4, 4);
    return pixel & 0x00FFFFFF;
}

uint16_t Readback::word16At(int x, int y) const {
    uint16_t pixel = 0;
    std::memcpy(&pixel, bytes.data() + static_cast<size_t>(y) * bytesPerRow + static_cast<size_t>(x) * 2, 2);
    return pixel;
}

bool Readback::operator==(const Readback& other) const {
    return format == other.format && width == other.width && height == other.height && bytes == other.bytes;
}

bool StretchRectRecorder::install() {
    if (originalStretchRect != nullptr) {
        return true;
    }
    // A device of our own, made only to find the vtable all devices of d3d9.dll share.
    HWND window = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, kDummyBackBufferSize,
                                  kDummyBackBufferSize, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
    IDirect3D9* d3d = Direct3DCreate9(D3D_SDK_VERSION);
    D3DPRESENT_PARAMETERS params = {};
    params.BackBufferWidth = kDummyBackBufferSize;
    params.BackBufferHeight = kDummyBackBufferSize;
    params.SwapEffect = D3DSWAPEFFECT_DISCARD;
    params.hDeviceWindow = window;
    params.Windowed = TRUE;
    IDirect3DDevice9* device = nullptr;
    if (d3d != nullptr) {
        d3d->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, window, D3DCREATE_SOFTWARE_VERTEXPROCESSING,
                          &params, &device);
        d3d->Release();
    }
    DWORD oldProtection = 0;
    void** vtable = device != nullptr ? *reinterpret_cast<void***>(device) : nullptr;
    if (vtable != nullptr &&
        VirtualProtect(&vtable[kStretchRectSlot], sizeof(void*), PAGE_READWRITE, &oldProtection)) {
        originalStretchRect = reinterpret_cast<StretchRectFn>(vtable[kStretchRectSlot]);
        vtable[kStretchRectSlot] = reinterpret_cast<void*>(&recordingStretchRect);
        VirtualProtect(&vtable[kStretchRectSlot], sizeof(void*), oldProtection, &oldProtection);
    }
    if (device != nullptr) {
        device->Release();
    }
    DestroyWindow(window);
    return originalStretchRect != nullptr;
}

void StretchRectRecorder::reset(int perCall) {
    readbacksPerCall = perCall;
    callCount = 0;
    latest.clear();
}

int StretchRectRecorder::calls() {
    return callCount;
}

const std::vector<Readback>& StretchRectRecorder::readbacks() {
    return latest;
}
