// Process-wide interception of IDirect3DDevice9::StretchRect. All devices of a process share
// the method's code, so patching it once, found through a throw-away device, catches the
// magnifier's own device too. The state is plain unlocked data: installation, the listener
// and the calls all happen on one thread.
#pragma once

#include <d3d9.h>

#include <cstdint>

#include "IDirect3DDevice9_StretchRect_Listener.h"
#include "VXResult.h"

class HookWithJMP;

namespace HookD3D {

// When the replacement runs the system's StretchRect. Any other value means never: every call
// then returns D3D_OK without copying, which is all the capture needs.
enum CallOriginal : uint32_t {
    eCallOriginalNever = 0,
    eCallOriginalBefore = 1,  // before the listener hears of the call
    eCallOriginalAfter = 2,   // after it; the original's HRESULT is returned
};

// Virtual table slots of IDirect3DDevice9.
constexpr int kSlotGetRenderTargetData = 32;
constexpr int kSlotStretchRect = 34;
constexpr int kSlotCreateOffscreenPlainSurface = 36;

using StretchRectFn = HRESULT(STDMETHODCALLTYPE*)(IDirect3DDevice9* device, IDirect3DSurface9* sourceSurface,
                                                  const RECT* sourceRect, IDirect3DSurface9* destSurface,
                                                  const RECT* destRect, D3DTEXTUREFILTERTYPE filter);

// A HAL device on a hidden dialog window, which is destroyed again; the device outlives it.
VXResult createDummyDevice(IDirect3DDevice9** ppDevice);

VXResult installStretchRectHook(uint32_t mode);
VXResult removeStretchRectHook();
// Null unregisters. Not owned. Registering puts the patch back if a call of the original left
// it off.
void setStretchRectListener(IDirect3DDevice9_StretchRect_Listener* listener);
IDirect3DDevice9_StretchRect_Listener* stretchRectListener();

// The system's StretchRect code while installed, else null.
StretchRectFn originalStretchRect();
// The function the patch jumps to.
StretchRectFn replacementStretchRect();
// The patch itself, for tests that make its writes fail. Same thread rules as the rest.
HookWithJMP& jumpHook();

}  // namespace HookD3D
