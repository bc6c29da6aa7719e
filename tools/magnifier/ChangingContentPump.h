// Keeps rewriting a strip of the render target from a thread of its own while a present is
// under way, so that no two readbacks an interception takes of the target are alike.
#pragma once

#include "ComRef.h"

#include <d3d9.h>
#include <windows.h>

#include <atomic>
#include <cstdint>
#include <thread>

class ChangingContentPump {
public:
    // Writes the first value before returning, so each render already differs from the last.
    // `counter` carries on across renders; the device must be multithreaded.
    ChangingContentPump(IDirect3DDevice9* device, IDirect3DSurface9* target, D3DFORMAT format,
                        std::atomic<uint32_t>& counter);
    ChangingContentPump(const ChangingContentPump&) = delete;
    ChangingContentPump& operator=(const ChangingContentPump&) = delete;
    ~ChangingContentPump();

private:
    void writeNext();
    void run();

    IDirect3DDevice9* device_;
    IDirect3DSurface9* target_;
    D3DFORMAT format_;
    std::atomic<uint32_t>& counter_;
    ComRef<IDirect3DSurface9> strip_;
    UINT stripWidth_ = 0;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};
