// An IDirect3DSurface9 that only describes itself: for the surface kinds wined3d refuses to
// create (a render target in system memory) and for failing GetDesc.
#pragma once

#include <d3d9.h>

// The overrides are as nothrow as the interface declares them.
#define FAKE_METHOD(type) COM_DECLSPEC_NOTHROW type STDMETHODCALLTYPE

class FakeSurface : public IDirect3DSurface9 {
public:
    explicit FakeSurface(const D3DSURFACE_DESC& desc, HRESULT descResult = D3D_OK)
        : _desc(desc), _descResult(descResult) {}
    virtual ~FakeSurface() = default;

    FAKE_METHOD(HRESULT) QueryInterface(REFIID, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    FAKE_METHOD(ULONG) AddRef() override { return ++_refs; }
    // The surface lives on the test's stack.
    FAKE_METHOD(ULONG) Release() override { return --_refs; }
    FAKE_METHOD(HRESULT) GetDevice(IDirect3DDevice9**) override { return E_NOTIMPL; }
    FAKE_METHOD(HRESULT) SetPrivateData(REFGUID, const void*, DWORD, DWORD) override { return E_NOTIMPL; }
    FAKE_METHOD(HRESULT) GetPrivateData(REFGUID, void*, DWORD*) override { return E_NOTIMPL; }
    FAKE_METHOD(HRESULT) FreePrivateData(REFGUID) override { return E_NOTIMPL; }
    FAKE_METHOD(DWORD) SetPriority(DWORD) override { return 0; }
    FAKE_METHOD(DWORD) GetPriority() override { return 0; }
    FAKE_METHOD(void) PreLoad() override {}
    FAKE_METHOD(D3DRESOURCETYPE) GetType() override { return D3DRTYPE_SURFACE; }
    FAKE_METHOD(HRESULT) GetContainer(REFIID, void**) override { return E_NOTIMPL; }
    FAKE_METHOD(HRESULT) GetDesc(D3DSURFACE_DESC* desc) override {
        if (SUCCEEDED(_descResult))
            *desc = _desc;
        return _descResult;
    }
    FAKE_METHOD(HRESULT) LockRect(D3DLOCKED_RECT*, const RECT*, DWORD) override { return E_NOTIMPL; }
    FAKE_METHOD(HRESULT) UnlockRect() override { return E_NOTIMPL; }
    FAKE_METHOD(HRESULT) GetDC(HDC*) override { return E_NOTIMPL; }
    FAKE_METHOD(HRESULT) ReleaseDC(HDC) override { return E_NOTIMPL; }

private:
    D3DSURFACE_DESC _desc;
    HRESULT _descResult;
    ULONG _refs = 1;
};

#undef FAKE_METHOD
