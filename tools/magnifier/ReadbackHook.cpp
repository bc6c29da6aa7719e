#include "ReadbackHook.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace {

// IDirect3DDevice9 method order: GetRenderTargetData is the 33rd entry of the vtable.
constexpr size_t kGetRenderTargetDataSlot = 32;

using GetRenderTargetDataFn = HRESULT(STDMETHODCALLTYPE*)(IDirect3DDevice9*, IDirect3DSurface9*,
                                                          IDirect3DSurface9*);

// Devices of one class share a vtable; a patched vtable keeps its original entry here.
std::mutex hookMutex;
std::vector<std::pair<void**, GetRenderTargetDataFn>> patchedTables;
std::vector<ReadbackListener*> listeners;

void** vtableOf(IDirect3DDevice9* device) {
    return *reinterpret_cast<void***>(device);
}

HRESULT STDMETHODCALLTYPE hookedGetRenderTargetData(IDirect3DDevice9* device, IDirect3DSurface9* source,
                                                    IDirect3DSurface9* dest) {
    GetRenderTargetDataFn original = nullptr;
    std::vector<ReadbackListener*> current;
    {
        std::lock_guard<std::mutex> lock(hookMutex);
        void** table = vtableOf(device);
        for (const auto& entry : patchedTables) {
            if (entry.first == table) {
                original = entry.second;
            }
        }
        current = listeners;
    }
    if (original == nullptr) {
        return D3DERR_INVALIDCALL;
    }
    const HRESULT result = original(device, source, dest);
    for (ReadbackListener* listener : current) {
        listener->afterReadback(device);
    }
    return result;
}

}  // namespace

namespace ReadbackHook {

bool install(IDirect3DDevice9* device) {
    std::lock_guard<std::mutex> lock(hookMutex);
    void** table = vtableOf(device);
    for (const auto& entry : patchedTables) {
        if (entry.first == table) {
            return true;
        }
    }
    DWORD protection = 0;
    if (!VirtualProtect(&table[kGetRenderTargetDataSlot], sizeof(void*), PAGE_READWRITE, &protection)) {
        return false;
    }
    // The patched vtable outlives any FreeLibrary of this DLL: stay loaded for good.
    HMODULE self = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<LPCWSTR>(&hookedGetRenderTargetData), &self);
    patchedTables.emplace_back(table,
                               reinterpret_cast<GetRenderTargetDataFn>(table[kGetRenderTargetDataSlot]));
    table[kGetRenderTargetDataSlot] = reinterpret_cast<void*>(&hookedGetRenderTargetData);
    VirtualProtect(&table[kGetRenderTargetDataSlot], sizeof(void*), protection, &protection);
    return true;
}

void add(ReadbackListener* listener) {
    std::lock_guard<std::mutex> lock(hookMutex);
    listeners.push_back(listener);
}

void remove(ReadbackListener* listener) {
    std::lock_guard<std::mutex> lock(hookMutex);
    listeners.erase(std::remove(listeners.begin(), listeners.end(), listener), listeners.end());
}

}  // namespace ReadbackHook
