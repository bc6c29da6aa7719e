#include "HookD3D.h"

#include <windows.h>

#include <cstring>

#include "C_ComPtr.h"
#include "HookWithJMP.h"
#include "VXChecks.h"

namespace {

constexpr wchar_t kDummyWindowClass[] = L"#32770";  // the system dialog class: always registered
constexpr int kDummyWindowSize = 100;

HookD3D::StretchRectFn gOriginal = nullptr;
uint32_t gMode = HookD3D::eCallOriginalNever;
IDirect3DDevice9_StretchRect_Listener* gListener = nullptr;
HookWithJMP gHook;

// Puts the jump back when the original returns, or unwinds; a failure is logged, since
// Direct3D's caller can only see an HRESULT.
class RepatchOnExit {
public:
    RepatchOnExit() = default;
    RepatchOnExit(const RepatchOnExit&) = delete;
    RepatchOnExit& operator=(const RepatchOnExit&) = delete;
    ~RepatchOnExit() { gHook.hook().logIfError(VX_SITE); }
};

// The original cannot be called while its first bytes jump back here, so the patch comes off
// for the call. If it does not come off, the call would come straight back here and recurse
// until the stack ran out: it is not made, the failure is logged and the caller gets E_FAIL.
HRESULT callOriginal(IDirect3DDevice9* device, IDirect3DSurface9* sourceSurface, const RECT* sourceRect,
                     IDirect3DSurface9* destSurface, const RECT* destRect, D3DTEXTUREFILTERTYPE filter) {
    const VXResult unpatched = gHook.unhook();
    if (unpatched.isError()) {
        VXResult(unpatched, VX_SITE, u"StretchRect still patched: the original is not called")
            .logIfError(VX_SITE);
        return E_FAIL;
    }
    RepatchOnExit repatch;
    return gOriginal(device, sourceSurface, sourceRect, destSurface, destRect, filter);
}

HRESULT STDMETHODCALLTYPE stretchRectReplacement(IDirect3DDevice9* device, IDirect3DSurface9* sourceSurface,
                                                 const RECT* sourceRect, IDirect3DSurface9* destSurface,
                                                 const RECT* destRect, D3DTEXTUREFILTERTYPE filter) {
    HRESULT result = D3D_OK;
    if (gOriginal != nullptr && gMode == HookD3D::eCallOriginalBefore) {
        result = callOriginal(device, sourceSurface, sourceRect, destSurface, destRect, filter);
    }
    if (gListener != nullptr) {
        gListener->onStretchRect(device, sourceSurface, sourceRect, destSurface, destRect, filter);
    }
    if (gOriginal != nullptr && gMode == HookD3D::eCallOriginalAfter) {
        result = callOriginal(device, sourceSurface, sourceRect, destSurface, destRect, filter);
    }
    return result;
}

}  // namespace

namespace HookD3D {

VXResult createDummyDevice(IDirect3DDevice9** ppDevice) {
    VX_CHECK_PARAM(ppDevice);
    HWND window = CreateWindowExW(0, kDummyWindowClass, L"", 0, 0, 0, kDummyWindowSize, kDummyWindowSize,
                                  nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
    if (window == nullptr)
        return VX_WIN32_ERROR(u"CreateWindow");

    VXResult result = VXError::eNoError;
    C_ComPtr<IDirect3D9> d3d;
    d3d.attach(Direct3DCreate9(D3D_SDK_VERSION));
    if (!d3d) {
        result = VX_ERROR(VXError::eUnexpected, u"Direct3DCreate9() failed");
    } else {
        D3DPRESENT_PARAMETERS parameters = {};
        parameters.BackBufferFormat = D3DFMT_X8R8G8B8;
        parameters.SwapEffect = D3DSWAPEFFECT_DISCARD;
        parameters.Windowed = TRUE;
        *ppDevice = nullptr;
        const HRESULT hr = d3d->CreateDevice(D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, window,
                                             D3DCREATE_SOFTWARE_VERTEXPROCESSING, &parameters, ppDevice);
        if (FAILED(hr) || *ppDevice == nullptr)
            result = VX_HRESULT_ERROR(u"CreateDevice", hr);
    }
    d3d.reset();
    if (IsWindow(window))
        DestroyWindow(window);
    return result;
}

VXResult installStretchRectHook(uint32_t mode) {
    if (gOriginal != nullptr)
        return VX_ERROR(VXError::ePreconditionFailed, u"StretchRect hook already installed");
    gMode = mode;
    C_ComPtr<IDirect3DDevice9> device;
    VX_RETURN_IF_ERROR(createDummyDevice(device.put()));
    void* const* vtable = *reinterpret_cast<void* const* const*>(device.get());
    // Kept set even if the patch below fails, so that removal still tries to restore the
    // saved bytes and a second installation is refused.
    gOriginal = reinterpret_cast<StretchRectFn>(vtable[kSlotStretchRect]);
    VX_RETURN_IF_ERROR(gHook.prepare(reinterpret_cast<void*>(gOriginal),
                                     reinterpret_cast<const void*>(&stretchRectReplacement)));
    VX_RETURN_IF_ERROR(gHook.hook());
    return VXError::eNoError;
}

VXResult removeStretchRectHook() {
    if (gOriginal == nullptr)
        return VX_ERROR(VXError::ePreconditionFailed, u"StretchRect hook not installed");
    VX_RETURN_IF_ERROR(gHook.unhook());
    gOriginal = nullptr;
    return VXError::eNoError;
}

void setStretchRectListener(IDirect3DDevice9_StretchRect_Listener* listener) {
    gListener = listener;
    // A structured exception in the original may unwind past the re-patch without running it
    // (not every build unwinds C++ frames for one), which would leave every later StretchRect
    // unheard. Each capture registers its listener first: the patch goes back on then.
    if (listener != nullptr && gOriginal != nullptr && gHook.target() != nullptr &&
        std::memcmp(gHook.target(), gHook.patchBytes().data(), HookWithJMP::kPatchSize) != 0) {
        gHook.hook().logIfError(VX_SITE);
    }
}

IDirect3DDevice9_StretchRect_Listener* stretchRectListener() {
    return gListener;
}

StretchRectFn originalStretchRect() {
    return gOriginal;
}

StretchRectFn replacementStretchRect() {
    return &stretchRectReplacement;
}

HookWithJMP& jumpHook() {
    return gHook;
}

}  // namespace HookD3D
