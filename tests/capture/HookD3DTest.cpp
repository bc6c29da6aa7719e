// The StretchRect interception against Wine's real Direct3D 9.
#include <gtest/gtest.h>

#include <cstring>

#include "D3DTestSupport.h"
#include "HookD3D.h"
#include "HookWithJMP.h"
#include "VXResultCodes.h"

namespace {

constexpr UINT kSize = 32;

HookWithJMP::Bytes headOf(const void* code) {
    HookWithJMP::Bytes out{};
    std::memcpy(out.data(), code, out.size());
    return out;
}

DWORD protectionOf(const void* code) {
    MEMORY_BASIC_INFORMATION info = {};
    VirtualQuery(code, &info, sizeof(info));
    return info.Protect;
}

class Recorder : public IDirect3DDevice9_StretchRect_Listener {
public:
    void onStretchRect(IDirect3DDevice9*, IDirect3DSurface9* sourceSurface, const RECT*, IDirect3DSurface9*,
                       const RECT*, D3DTEXTUREFILTERTYPE) override {
        ++calls;
        lastSource = sourceSurface;
    }

    int calls = 0;
    IDirect3DSurface9* lastSource = nullptr;
};

class HookD3DTest : public ::testing::Test {
protected:
    void TearDown() override {
        HookD3D::setStretchRectListener(nullptr);
        if (HookD3D::originalStretchRect() != nullptr) {
            EXPECT_EQ(HookD3D::removeStretchRectHook().code(), VXError::eNoError);
        }
    }
};

}  // namespace

TEST_F(HookD3DTest, InstallPatchesTheSharedMethodCodeAndRemoveRestoresIt) {
    C_ComPtr<IDirect3DDevice9> before = d3dtest::makeDevice();
    ASSERT_TRUE(before);
    void* code = (*reinterpret_cast<void* const* const*>(before.get()))[HookD3D::kSlotStretchRect];
    const HookWithJMP::Bytes original = headOf(code);
    const DWORD protection = protectionOf(code);

    ASSERT_EQ(HookD3D::installStretchRectHook(HookD3D::eCallOriginalNever).code(), VXError::eNoError);
    EXPECT_EQ(reinterpret_cast<void*>(HookD3D::originalStretchRect()), code);
    EXPECT_EQ(headOf(code),
              HookWithJMP::makePatch(reinterpret_cast<const void*>(HookD3D::replacementStretchRect())));
    EXPECT_EQ(protectionOf(code), protection) << "protection put back after writing";
    EXPECT_EQ(HookD3D::installStretchRectHook(HookD3D::eCallOriginalNever).code(),
              VXError::ePreconditionFailed);

    ASSERT_EQ(HookD3D::removeStretchRectHook().code(), VXError::eNoError);
    EXPECT_EQ(headOf(code), original) << "the 12 bytes as they were";
    EXPECT_EQ(HookD3D::removeStretchRectHook().code(), VXError::ePreconditionFailed);
}

TEST_F(HookD3DTest, ASecondDeviceReachesTheListenerUntilRemoval) {
    ASSERT_EQ(HookD3D::installStretchRectHook(HookD3D::eCallOriginalNever).code(), VXError::eNoError);
    // A red source and a blue destination on a device made after the interception went in.
    C_ComPtr<IDirect3DDevice9> device = d3dtest::makeDevice();
    ASSERT_TRUE(device);
    C_ComPtr<IDirect3DSurface9> source = d3dtest::makeRenderTarget(device.get(), kSize, kSize);
    C_ComPtr<IDirect3DSurface9> dest = d3dtest::makeRenderTarget(device.get(), kSize, kSize);
    C_ComPtr<IDirect3DSurface9> sysmem = d3dtest::makeSystemMemorySurface(device.get(), kSize, kSize);
    ASSERT_TRUE(source && dest && sysmem);
    ASSERT_TRUE(d3dtest::fill(device.get(), source.get(), D3DCOLOR_XRGB(200, 10, 10)));
    ASSERT_TRUE(d3dtest::fill(device.get(), dest.get(), D3DCOLOR_XRGB(10, 10, 200)));
    Recorder recorder;
    HookD3D::setStretchRectListener(&recorder);
    auto stretch = [&](IDirect3DSurface9* to) {
        return device->StretchRect(source.get(), nullptr, to, nullptr, D3DTEXF_NONE);
    };

    EXPECT_EQ(stretch(dest.get()), D3D_OK);
    EXPECT_EQ(recorder.calls, 1);
    EXPECT_EQ(recorder.lastSource, source.get());
    EXPECT_EQ(d3dtest::pixelAt(device.get(), dest.get(), 1, 1), 0x0A0AC8u)
        << "the system's copy must not run";
    // The system refuses a system-memory destination; intercepted, it never sees the call.
    EXPECT_EQ(stretch(sysmem.get()), D3D_OK);

    ASSERT_EQ(HookD3D::removeStretchRectHook().code(), VXError::eNoError);
    recorder.calls = 0;
    EXPECT_EQ(stretch(dest.get()), D3D_OK);
    EXPECT_EQ(recorder.calls, 0) << "a listener still registered hears nothing once removed";
    EXPECT_EQ(d3dtest::pixelAt(device.get(), dest.get(), 1, 1), 0xC80A0Au);
    EXPECT_EQ(stretch(sysmem.get()), D3DERR_INVALIDCALL);
}
