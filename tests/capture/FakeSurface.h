// An IDirect3DSurface9 that only describes itself: for the surface kinds wined3d refuses to
// create (a render target in system memory, a 24-bit render target) and for failing GetDesc.
#pragma once

#include <d3d9.h>

class FakeSurface : public IDirect3DSurface9 {
public:
    explicit FakeSurface(const D3DSURFACE_DESC& desc, HRESULT descResult = D3D_OK)
        : _desc(desc), _descResult(descResult) {}
    virtual ~FakeSurface() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++_refs; }
    ULONG STDMETHODCALLTYPE Release() override { return --_refs; }  // lives on the test's stack
    HRESULT STDMETHODCALLTYPE GetDevice(IDirect3DDevice9**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, const void*, DWORD, DWORD) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, void*, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE FreePrivateData(REFGUID) override { return E_NOTIMPL; }
    DWORD STDMETHODCALLTYPE SetPriority(DWORD) override { return 0; }
    DWORD STDMETHODCALLTYPE GetPriority() override { return 0; }
    void STDMETHODCALLTYPE PreLoad() override {}
    D3DRESOURCETYPE STDMETHODCALLTYPE GetType() override { return D3DRTYPE_SURFACE; }
    HRESULT STDMETHODCALLTYPE GetContainer(REFIID, void**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDesc(D3DSURFACE_DESC* desc) override {
        if (SUCCEEDED(_descResult))
            *desc = _desc;
        return _descResult;
    }
    HRESULT STDMETHODCALLTYPE LockRect(D3DLOCKED_RECT*, const RECT*, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE UnlockRect() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDC(HDC*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ReleaseDC(HDC) override { return E_NOTIMPL; }

private:
    D3DSURFACE_DESC _desc;
    HRESULT _descResult;
    ULONG _refs = 1;
};
