// Lets the stand-in act right after each IDirect3DDevice9::GetRenderTargetData made on one of
// its devices, whoever the caller is, by patching that method's slot in the device vtable.
#pragma once

#include <d3d9.h>
#include <windows.h>

class ReadbackListener {
public:
    virtual void afterReadback(IDirect3DDevice9* device) = 0;

protected:
    ~ReadbackListener() = default;
};

namespace ReadbackHook {

// Patches the vtable of `device` once per process; false if that failed.
bool install(IDirect3DDevice9* device);

// Listeners hear of readbacks on any hooked device and pick out their own.
void add(ReadbackListener* listener);
void remove(ReadbackListener* listener);

}  // namespace ReadbackHook
