// Receives every IDirect3DDevice9::StretchRect made in the process while the interception
// is installed and the listener is registered (HookD3D). The arguments are the method's own.
#pragma once

#include <d3d9.h>

class IDirect3DDevice9_StretchRect_Listener {
public:
    virtual ~IDirect3DDevice9_StretchRect_Listener() = default;
    virtual void onStretchRect(IDirect3DDevice9* device, IDirect3DSurface9* sourceSurface,
                               const RECT* sourceRect, IDirect3DSurface9* destSurface, const RECT* destRect,
                               D3DTEXTUREFILTERTYPE filter) = 0;
};
