// VXMAG_RENDER=changing: while one present is under way, rewrites a strip of the render
// target after every readback of the presenting device, so that an interception waiting for
// two equal readbacks never gets them.
#pragma once

#include "ComRef.h"
#include "ReadbackHook.h"

#include <d3d9.h>
#include <windows.h>

#include <atomic>
#include <cstdint>

class ChangingContent final : public ReadbackListener {
public:
    // Writes the first value before returning, so each render already differs from the last;
    // `counter` carries on across renders.
    ChangingContent(IDirect3DDevice9* device, IDirect3DSurface9* target, D3DFORMAT format,
                    std::atomic<uint32_t>& counter);
    ChangingContent(const ChangingContent&) = delete;
    ChangingContent& operator=(const ChangingContent&) = delete;
    ~ChangingContent();

    // False when the readback hook or the strip could not be set up.
    bool active() const { return listening_; }

    void afterReadback(IDirect3DDevice9* device) override;

private:
    void writeNext();

    IDirect3DDevice9* device_;
    IDirect3DSurface9* target_;
    D3DFORMAT format_;
    std::atomic<uint32_t>& counter_;
    ComRef<IDirect3DSurface9> strip_;
    UINT stripWidth_ = 0;
    bool listening_ = false;
};
