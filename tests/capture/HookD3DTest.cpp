// The StretchRect interception against Wine's real Direct3D 9.
#include <gtest/gtest.h>

#include <cstring>

#include "D3DTestSupport.h"
#include "HookD3D.h"
#include "HookWithJMP.h"
#include "VXResultCodes.h"

namespace {

constexpr UINT kSize = 32;
constexpr D3DCOLOR kRed = D3DCOLOR_XRGB(200, 10, 10);
constexpr D3DCOLOR kBlue = D3DCOLOR_XRGB(10, 10, 200);

HookWithJMP::Bytes headOf(const void* code) {
    HookWithJMP::Bytes out{};
    std::memcpy(out.data(), code, out.size());
    return out;
}

void* stretchRectCodeOf(IDirect3DDevice9* device) {
    void* const* vtable = *reinterpret_cast<void* const* const*>(device);
    return vtable[HookD3D::kSlotStretchRect];
}

DWORD protectionOf(const void* code) {
    MEMORY_BASIC_INFORMATION info = {};
    VirtualQuery(code, &info, sizeof(info));
    return info.Protect;
}

class Recorder : public IDirect3DDevice9_StretchRect_Listener {
public:
    void onStretchRect(IDirect3DDevice9*, IDirect3DSurface9* sourceSurface, const RECT*, IDirect3DSurface9*,
                       const RECT* destRect, D3DTEXTUREFILTERTYPE) override {
        ++calls;
        lastSource = sourceSurface;
        lastDestRect = destRect;
    }

    int calls = 0;
    IDirect3DSurface9* lastSource = nullptr;
    const RECT* lastDestRect = nullptr;
};

class HookD3DTest : public ::testing::Test {
protected:
    void TearDown() override {
        HookD3D::setStretchRectListener(nullptr);
        if (HookD3D::originalStretchRect() != nullptr) {
            EXPECT_EQ(HookD3D::removeStretchRectHook().code(), VXError::eNoError);
        }
    }

    // A red source and a blue destination on a device made after the interception went in.
    void makeSurfaces() {
        device = d3dtest::makeDevice();
        ASSERT_TRUE(device);
        source = d3dtest::makeRenderTarget(device.get(), kSize, kSize);
        dest = d3dtest::makeRenderTarget(device.get(), kSize, kSize);
        ASSERT_TRUE(source && dest);
        ASSERT_TRUE(d3dtest::fill(device.get(), source.get(), kRed));
        ASSERT_TRUE(d3dtest::fill(device.get(), dest.get(), kBlue));
    }

    HRESULT stretch(const RECT* destRect = nullptr) {
        return device->StretchRect(source.get(), nullptr, dest.get(), destRect, D3DTEXF_POINT);
    }
    uint32_t destPixel() { return d3dtest::pixelAt(device.get(), dest.get(), 1, 1); }
    // A call the system refuses: the destination must be in the default pool.
    HRESULT stretchRefused() {
        C_ComPtr<IDirect3DSurface9> sysmem = d3dtest::makeSystemMemorySurface(device.get(), kSize, kSize);
        return device->StretchRect(source.get(), nullptr, sysmem.get(), nullptr, D3DTEXF_NONE);
    }

    Recorder recorder;
    C_ComPtr<IDirect3DDevice9> device;
    C_ComPtr<IDirect3DSurface9> source;
    C_ComPtr<IDirect3DSurface9> dest;
};

}  // namespace

TEST_F(HookD3DTest, InstallPatchesTheSharedMethodCodeAndRemoveRestoresIt) {
    C_ComPtr<IDirect3DDevice9> before = d3dtest::makeDevice();
    ASSERT_TRUE(before);
    void* code = stretchRectCodeOf(before.get());
    const HookWithJMP::Bytes original = headOf(code);
    const DWORD protection = protectionOf(code);

    ASSERT_EQ(HookD3D::installStretchRectHook(HookD3D::eCallOriginalNever).code(), VXError::eNoError);
    EXPECT_EQ(reinterpret_cast<void*>(HookD3D::originalStretchRect()), code);
    EXPECT_EQ(headOf(code),
              HookWithJMP::makePatch(reinterpret_cast<const void*>(HookD3D::replacementStretchRect())));
    EXPECT_EQ(protectionOf(code), protection) << "protection put back after writing";

    EXPECT_EQ(HookD3D::installStretchRectHook(HookD3D::eCallOriginalNever).code(),
              VXError::ePreconditionFailed)
        << "a second installation is refused";

    ASSERT_EQ(HookD3D::removeStretchRectHook().code(), VXError::eNoError);
    EXPECT_EQ(headOf(code), original) << "the 12 bytes as they were";
    EXPECT_EQ(HookD3D::removeStretchRectHook().code(), VXError::ePreconditionFailed);
}

TEST_F(HookD3DTest, ModeNeverNotifiesASecondDeviceAndCopiesNothing) {
    ASSERT_EQ(HookD3D::installStretchRectHook(HookD3D::eCallOriginalNever).code(), VXError::eNoError);
    makeSurfaces();
    HookD3D::setStretchRectListener(&recorder);

    const RECT destRect = {8, 8, 24, 24};
    EXPECT_EQ(stretch(&destRect), D3D_OK);
    ASSERT_EQ(recorder.calls, 1);
    EXPECT_EQ(recorder.lastSource, source.get());
    EXPECT_EQ(recorder.lastDestRect, &destRect);
    EXPECT_EQ(destPixel(), 0x0A0AC8u) << "the system's StretchRect must not run";
    EXPECT_EQ(stretchRefused(), D3D_OK) << "Direct3D never sees the call";
}

TEST_F(HookD3DTest, RemovalRestoresTheSystemBehaviour) {
    ASSERT_EQ(HookD3D::installStretchRectHook(HookD3D::eCallOriginalNever).code(), VXError::eNoError);
    makeSurfaces();
    HookD3D::setStretchRectListener(&recorder);
    ASSERT_EQ(HookD3D::removeStretchRectHook().code(), VXError::eNoError);

    EXPECT_EQ(stretch(), D3D_OK);
    EXPECT_EQ(recorder.calls, 0) << "a listener still registered hears nothing once removed";
    EXPECT_EQ(destPixel(), 0xC80A0Au);
    EXPECT_EQ(stretchRefused(), D3DERR_INVALIDCALL);
}
