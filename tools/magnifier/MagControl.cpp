#include "MagControl.h"

#include "ChangingContent.h"
#include "PixelPacker.h"

#include <memory>

namespace {

// The system library's only supported mode; include lists were dropped after Windows Vista.
constexpr DWORD kFilterModeExclude = 0;
// MS_SHOWMAGNIFIEDCURSOR: the control draws the cursor into the magnified image.
constexpr LONG_PTR kStyleShowCursor = 0x0001;
// What the system library answers to a list longer than it takes (ERROR_NOT_SUPPORTED).
constexpr DWORD kErrorListTooLong = ERROR_NOT_SUPPORTED;
// A render target format the device refuses is reported apart from other failures.
constexpr DWORD kErrorFormatRefused = ERROR_INVALID_PIXEL_FORMAT;
constexpr DWORD kErrorDeviceFailed = ERROR_GEN_FAILURE;
// An interception may read the render target from another thread; FPU_PRESERVE keeps
// Direct3D from lowering the caller's floating-point precision.
constexpr DWORD kDeviceFlags =
    D3DCREATE_SOFTWARE_VERTEXPROCESSING | D3DCREATE_MULTITHREADED | D3DCREATE_FPU_PRESERVE;

}  // namespace

DWORD MagControl::setFilterList(DWORD mode, int count, const HWND* windows) {
    if (mode != kFilterModeExclude || count < 0 || (count > 0 && windows == nullptr)) {
        return ERROR_INVALID_PARAMETER;
    }
    if (count > filterListLimit()) {
        return kErrorListTooLong;
    }
    // A single null handle is how callers say "no windows".
    if (count == 0 || (count == 1 && windows[0] == nullptr)) {
        excluded_.clear();
        return ERROR_SUCCESS;
    }
    excluded_.assign(windows, windows + count);
    return ERROR_SUCCESS;
}

DWORD MagControl::filterList(int count, HWND* windows, int& total) const {
    total = static_cast<int>(excluded_.size());
    if (windows != nullptr) {
        for (int i = 0; i < count && i < total; ++i) {
            windows[i] = excluded_[static_cast<size_t>(i)];
        }
    }
    return ERROR_SUCCESS;
}

DWORD MagControl::render(const RECT& source) {
    RECT client;
    if (!GetClientRect(window_, &client) || client.right <= 0 || client.bottom <= 0) {
        return ERROR_INVALID_WINDOW_HANDLE;
    }
    const UINT width = static_cast<UINT>(client.right);
    const UINT height = static_cast<UINT>(client.bottom);
    const RenderSwitches switches = RenderSwitches::read();

    DWORD error = ensureDevice(width, height);
    if (error == ERROR_SUCCESS) {
        error = ensureTarget(width, height, switches.format);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }

    if (switches.mode == RenderMode::Black) {
        error = composer_.clear(static_cast<int>(width), static_cast<int>(height));
    } else {
        // The system magnifier never shows its own host window, whatever the filter list says.
        std::vector<HWND> hidden = excluded_;
        hidden.push_back(GetAncestor(window_, GA_ROOT));
        const bool cursor = (GetWindowLongPtrW(window_, GWL_STYLE) & kStyleShowCursor) != 0;
        error = composer_.compose(source, static_cast<int>(width), static_cast<int>(height), hidden, cursor);
    }
    if (error == ERROR_SUCCESS) {
        error = upload(composer_);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }

    std::unique_ptr<ChangingContent> changing;
    if (switches.mode == RenderMode::Changing) {
        changing =
            std::make_unique<ChangingContent>(device_.get(), target_.get(), targetFormat_, changeCounter_);
        if (!changing->active()) {
            return kErrorDeviceFailed;
        }
    }
    return present();
}

DWORD MagControl::ensureDevice(UINT width, UINT height) {
    if (device_ && width == deviceWidth_ && height == deviceHeight_) {
        return ERROR_SUCCESS;
    }
    // Surfaces belong to the device: a new back buffer size means all of them go.
    staging_.reset();
    target_.reset();
    device_.reset();
    if (!d3d_) {
        IDirect3D9* d3d = Direct3DCreate9(D3D_SDK_VERSION);
        if (d3d == nullptr) {
            return kErrorDeviceFailed;
        }
        *d3d_.put() = d3d;
    }
    D3DPRESENT_PARAMETERS params = {};
    params.BackBufferWidth = width;
    params.BackBufferHeight = height;
    params.BackBufferFormat = D3DFMT_UNKNOWN;  // windowed: the display's format
    params.BackBufferCount = 1;
    params.SwapEffect = D3DSWAPEFFECT_DISCARD;
    params.hDeviceWindow = window_;
    params.Windowed = TRUE;
    if (FAILED(d3d_->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, window_, kDeviceFlags, &params,
                                  device_.put()))) {
        return kErrorDeviceFailed;
    }
    deviceWidth_ = width;
    deviceHeight_ = height;
    return ERROR_SUCCESS;
}

DWORD MagControl::ensureTarget(UINT width, UINT height, D3DFORMAT format) {
    if (target_ && format == targetFormat_) {
        return ERROR_SUCCESS;
    }
    staging_.reset();
    target_.reset();
    targetFormat_ = D3DFMT_UNKNOWN;
    if (PixelPacker::bytesPerPixel(format) == 0) {
        return kErrorFormatRefused;
    }
    if (FAILED(device_->CreateRenderTarget(width, height, format, D3DMULTISAMPLE_NONE, 0, FALSE,
                                           target_.put(), nullptr)) ||
        FAILED(device_->CreateOffscreenPlainSurface(width, height, format, D3DPOOL_SYSTEMMEM, staging_.put(),
                                                    nullptr))) {
        staging_.reset();
        target_.reset();
        return kErrorFormatRefused;
    }
    targetFormat_ = format;
    return ERROR_SUCCESS;
}

DWORD MagControl::upload(const DesktopComposer& image) {
    D3DLOCKED_RECT locked;
    if (FAILED(staging_->LockRect(&locked, nullptr, 0))) {
        return kErrorDeviceFailed;
    }
    auto* rows = static_cast<uint8_t*>(locked.pBits);
    for (int y = 0; y < image.height(); ++y) {
        PixelPacker::packRow(targetFormat_, image.pixels() + static_cast<size_t>(y) * image.width(),
                             rows + static_cast<size_t>(y) * locked.Pitch, image.width());
    }
    staging_->UnlockRect();
    return FAILED(device_->UpdateSurface(staging_.get(), nullptr, target_.get(), nullptr))
               ? kErrorDeviceFailed
               : ERROR_SUCCESS;
}

DWORD MagControl::present() {
    ComRef<IDirect3DSurface9> backBuffer;
    if (FAILED(device_->GetBackBuffer(0, 0, D3DBACKBUFFER_TYPE_MONO, backBuffer.put()))) {
        return kErrorDeviceFailed;
    }
    // The one StretchRect per render, with the render target as its source: this is the call
    // the server intercepts to read the magnified image.
    if (FAILED(device_->StretchRect(target_.get(), nullptr, backBuffer.get(), nullptr, D3DTEXF_NONE))) {
        return kErrorDeviceFailed;
    }
    return ERROR_SUCCESS;
}
