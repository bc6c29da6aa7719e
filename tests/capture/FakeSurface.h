// An IDirect3DSurface9 that only describes itself: for the surface kinds wined3d refuses to
// create (a render target in system memory, a 24-bit render target) and for failing GetDesc.
#pragma once

#include <d3d9.h>

// The overrides are as nothrow as the interface declares them.
class FakeSurface : public IDirect3DSurface9 {
public:
    explicit FakeSurface(const D3DSURFACE_DESC& desc, HRESULT descResult = D3D_OK)
        : _desc(desc), _descResult(descResult) {}
    virtual ~FakeSurface() = default;

    COM_DECLSPEC_NOTHROW HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    COM_DECLSPEC_NOTHROW ULONG STDMETHODCALLTYPE AddRef() override { return ++_refs; }
    // The surface lives on the test's stack.
    COM_DECLSPEC_NOTHROW ULONG STDMETHODCALLTYPE Release() override { return --_refs; }
    COM_DECLSPEC_NOTHROW HRESULT STDMETHODCALLTYPE GetDevice(IDirect3DDevice9**) override {
        return E_NOTIMPL;
    }
    COM_DECLSPEC_NOTHROW HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, const void*, DWORD,
                                                                  DWORD) override {
        return E_NOTIMPL;
    }
    COM_DECLSPEC_NOTHROW HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, void*, DWORD*) override {
        return E_NOTIMPL;
    }
    COM_DECLSPEC_NOTHROW HRESULT STDMETHODCALLTYPE FreePrivateData(REFGUID) override { return E_NOTIMPL; }
    COM_DECLSPEC_NOTHROW DWORD STDMETHODCALLTYPE SetPriority(DWORD) override { return 0; }
    COM_DECLSPEC_NOTHROW DWORD STDMETHODCALLTYPE GetPriority() override { return 0; }
    COM_DECLSPEC_NOTHROW void STDMETHODCALLTYPE PreLoad() override {}
    COM_DECLSPEC_NOTHROW D3DRESOURCETYPE STDMETHODCALLTYPE GetType() override { return D3DRTYPE_SURFACE; }
    COM_DECLSPEC_NOTHROW HRESULT STDMETHODCALLTYPE GetContainer(REFIID, void**) override { return E_NOTIMPL; }
    COM_DECLSPEC_NOTHROW HRESULT STDMETHODCALLTYPE GetDesc(D3DSURFACE_DESC* desc) override {
        if (SUCCEEDED(_descResult))
            *desc = _desc;
        return _descResult;
    }
    COM_DECLSPEC_NOTHROW HRESULT STDMETHODCALLTYPE LockRect(D3DLOCKED_RECT*, const RECT*, DWORD) override {
        return E_NOTIMPL;
    }
    COM_DECLSPEC_NOTHROW HRESULT STDMETHODCALLTYPE UnlockRect() override { return E_NOTIMPL; }
    COM_DECLSPEC_NOTHROW HRESULT STDMETHODCALLTYPE GetDC(HDC*) override { return E_NOTIMPL; }
    COM_DECLSPEC_NOTHROW HRESULT STDMETHODCALLTYPE ReleaseDC(HDC) override { return E_NOTIMPL; }

private:
    D3DSURFACE_DESC _desc;
    HRESULT _descResult;
    ULONG _refs = 1;
};
