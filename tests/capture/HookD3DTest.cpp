// The StretchRect interception against Wine's real Direct3D 9, and the jump patch under it.
#include <gtest/gtest.h>

#include <cstring>

#include "D3DTestSupport.h"
#include "HookD3D.h"
#include "HookWithJMP.h"
#include "support/LogCapture.h"
#include "support/ResultText.h"

namespace {

constexpr UINT kSize = 32;
constexpr D3DCOLOR kRed = D3DCOLOR_XRGB(200, 10, 10);
constexpr D3DCOLOR kBlue = D3DCOLOR_XRGB(10, 10, 200);

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

// Pixel (1, 1) of a render target as 0x00RRGGBB, read back through the system's own calls.
uint32_t pixelOf(IDirect3DDevice9* device, IDirect3DSurface9* target) {
    C_ComPtr<IDirect3DSurface9> copy = d3dtest::makeSurface(device, kSize, kSize, D3DPOOL_SYSTEMMEM);
    D3DLOCKED_RECT locked = {};
    if (!copy || FAILED(device->GetRenderTargetData(target, copy.get())) ||
        FAILED(copy->LockRect(&locked, nullptr, D3DLOCK_READONLY)))
        return 0xFFFFFFFFu;
    const uint8_t* row = static_cast<const uint8_t*>(locked.pBits) + locked.Pitch;
    const uint32_t value = reinterpret_cast<const uint32_t*>(row)[1] & 0x00FFFFFFu;
    copy->UnlockRect();
    return value;
}

class Recorder : public IDirect3DDevice9_StretchRect_Listener {
public:
    void onStretchRect(IDirect3DDevice9* device, IDirect3DSurface9*, const RECT*,
                       IDirect3DSurface9* destSurface, const RECT*, D3DTEXTUREFILTERTYPE) override {
        ++calls;
        if (calls == 1)
            firstDestPixel = pixelOf(device, destSurface);
    }

    int calls = 0;
    uint32_t firstDestPixel = 0;  // the destination as the listener saw it on the first call
};

// Leaves no interception behind, whatever failed.
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

TEST_F(HookD3DTest, PatchReachesALaterDevicesListenerAndTheOriginalRunsBeforeOrAfterOrNever) {
    // Devices made the same way the interception finds the method's code.
    C_ComPtr<IDirect3DDevice9> before;
    ASSERT_TRUE(HookD3D::createDummyDevice(before.put()).isSuccess());
    void* code = (*reinterpret_cast<void* const* const*>(before.get()))[HookD3D::kSlotStretchRect];
    const HookWithJMP::Bytes original = headOf(code);
    const DWORD protection = protectionOf(code);
    const uint32_t red = 0xC80A0Au, blue = 0x0A0AC8u;
    // The destination as the listener sees it and afterwards, and the HRESULT for a destination
    // the system refuses; a value that is no mode means never.
    const struct {
        uint32_t mode;
        uint32_t seen;
        uint32_t after;
        HRESULT refused;
    } modes[] = {{HookD3D::eCallOriginalNever, blue, blue, D3D_OK},
                 {HookD3D::eCallOriginalBefore, red, red, D3DERR_INVALIDCALL},
                 {HookD3D::eCallOriginalAfter, blue, red, D3DERR_INVALIDCALL},
                 {7, blue, blue, D3D_OK}};
    C_ComPtr<IDirect3DDevice9> device;
    C_ComPtr<IDirect3DSurface9> source, dest, sysmem;
    auto stretch = [&](IDirect3DSurface9* to) {
        return device->StretchRect(source.get(), nullptr, to, nullptr, D3DTEXF_NONE);
    };
    for (const auto& m : modes) {
        Recorder recorder;
        HookD3D::setStretchRectListener(&recorder);
        ASSERT_EQ(HookD3D::installStretchRectHook(m.mode).code(), VXError::eNoError);
        EXPECT_EQ(headOf(code),
                  HookWithJMP::makePatch(reinterpret_cast<const void*>(HookD3D::replacementStretchRect())));
        EXPECT_EQ(protectionOf(code), protection) << "protection put back after writing";
        EXPECT_EQ(HookD3D::installStretchRectHook(m.mode).code(), VXError::ePreconditionFailed);
        if (!device) {  // made after the interception went in
            ASSERT_TRUE(HookD3D::createDummyDevice(device.put()).isSuccess());
            source = d3dtest::makeSurface(device.get(), kSize, kSize);
            dest = d3dtest::makeSurface(device.get(), kSize, kSize);
            sysmem = d3dtest::makeSurface(device.get(), kSize, kSize, D3DPOOL_SYSTEMMEM);
            ASSERT_TRUE(source && dest && sysmem &&
                        SUCCEEDED(device->ColorFill(source.get(), nullptr, kRed)));
        }
        ASSERT_TRUE(SUCCEEDED(device->ColorFill(dest.get(), nullptr, kBlue)));
        EXPECT_EQ(stretch(dest.get()), D3D_OK) << m.mode;
        EXPECT_EQ(recorder.firstDestPixel, m.seen) << m.mode;
        EXPECT_EQ(pixelOf(device.get(), dest.get()), m.after) << m.mode;
        EXPECT_EQ(stretch(sysmem.get()), m.refused) << m.mode;
        EXPECT_EQ(recorder.calls, 2) << "the patch is back after calling the original, mode " << m.mode;
        ASSERT_EQ(HookD3D::removeStretchRectHook().code(), VXError::eNoError);
        EXPECT_EQ(headOf(code), original) << "the 12 bytes as they were";
        EXPECT_EQ(HookD3D::removeStretchRectHook().code(), VXError::ePreconditionFailed);
        EXPECT_EQ(stretch(sysmem.get()), D3DERR_INVALIDCALL) << "removed: the system's own call again";
        EXPECT_EQ(recorder.calls, 2) << "a listener still registered hears nothing once removed";
    }
}

// The patch pointed at a page that is then decommitted cannot come off: the original, still
// patched, would jump straight back into the replacement and recurse until the stack ran out.
TEST_F(HookD3DTest, APatchThatCannotComeOffIsReportedAndTheOriginalIsNotCalled) {
    C_ComPtr<IDirect3DDevice9> device;
    ASSERT_TRUE(HookD3D::createDummyDevice(device.put()).isSuccess());
    const C_ComPtr<IDirect3DSurface9> source = d3dtest::makeSurface(device.get(), kSize, kSize);
    const C_ComPtr<IDirect3DSurface9> dest = d3dtest::makeSurface(device.get(), kSize, kSize);
    ASSERT_TRUE(source && dest);
    void* code = (*reinterpret_cast<void* const* const*>(device.get()))[HookD3D::kSlotStretchRect];
    const HookWithJMP::Bytes originalHead = headOf(code);
    const auto replacement = reinterpret_cast<const void*>(HookD3D::replacementStretchRect());
    for (const uint32_t mode : {HookD3D::eCallOriginalBefore, HookD3D::eCallOriginalAfter}) {
        ASSERT_EQ(HookD3D::installStretchRectHook(mode).code(), VXError::eNoError);
        Recorder recorder;
        HookD3D::setStretchRectListener(&recorder);
        HookWithJMP& hook = HookD3D::jumpHook();
        void* page = VirtualAlloc(nullptr, 4096, MEM_COMMIT | MEM_RESERVE, PAGE_EXECUTE_READWRITE);
        ASSERT_NE(page, nullptr);
        ASSERT_EQ(hook.prepare(page, replacement).code(), VXError::eNoError);
        VirtualFree(page, 4096, MEM_DECOMMIT);
        LogCapture log;
        EXPECT_EQ(device->StretchRect(source.get(), nullptr, dest.get(), nullptr, D3DTEXF_NONE), E_FAIL)
            << mode;
        EXPECT_EQ(recorder.calls, 1) << "the listener still hears of the call, mode " << mode;
        EXPECT_TRUE(log.contains("StretchRect still patched: the original is not called")) << mode;
        EXPECT_TRUE(log.contains("Method \"VirtualProtect\" returned Win32 error")) << mode;
        // The system's code was left patched: its own bytes go back, and the hook onto it for
        // the removal.
        ASSERT_EQ(headOf(code), HookWithJMP::makePatch(replacement));
        DWORD old = 0;
        ASSERT_TRUE(VirtualProtect(code, HookWithJMP::kPatchSize, PAGE_EXECUTE_READWRITE, &old));
        std::memcpy(code, originalHead.data(), HookWithJMP::kPatchSize);
        VirtualProtect(code, HookWithJMP::kPatchSize, old, &old);
        ASSERT_EQ(hook.prepare(code, replacement).code(), VXError::eNoError);
        ASSERT_EQ(HookD3D::removeStretchRectHook().code(), VXError::eNoError);
        EXPECT_EQ(headOf(code), originalHead);
        HookD3D::setStretchRectListener(nullptr);
    }
}

// What a structured exception unwinding past the re-patch leaves: the original's own bytes. The
// next capture's listener puts the patch back, so StretchRect is heard again.
TEST_F(HookD3DTest, ThePatchLeftOffByACallThatNeverCameBackIsPutBackForTheNextListener) {
    C_ComPtr<IDirect3DDevice9> device;
    ASSERT_TRUE(HookD3D::createDummyDevice(device.put()).isSuccess());
    const C_ComPtr<IDirect3DSurface9> source = d3dtest::makeSurface(device.get(), kSize, kSize);
    const C_ComPtr<IDirect3DSurface9> dest = d3dtest::makeSurface(device.get(), kSize, kSize);
    ASSERT_TRUE(source && dest);
    ASSERT_EQ(HookD3D::installStretchRectHook(HookD3D::eCallOriginalBefore).code(), VXError::eNoError);
    ASSERT_EQ(HookD3D::jumpHook().unhook().code(), VXError::eNoError);
    Recorder recorder;
    HookD3D::setStretchRectListener(&recorder);
    EXPECT_EQ(headOf(reinterpret_cast<const void*>(HookD3D::originalStretchRect())),
              HookWithJMP::makePatch(reinterpret_cast<const void*>(HookD3D::replacementStretchRect())));
    EXPECT_EQ(device->StretchRect(source.get(), nullptr, dest.get(), nullptr, D3DTEXF_NONE), D3D_OK);
    EXPECT_EQ(recorder.calls, 1);
}

TEST(HookWithJMP, RefusesUseBeforePrepareAndCodeItCannotReach) {
    HookWithJMP hook;
    EXPECT_EQ(hook.hook().code(), VXError::ePreconditionFailed);
    EXPECT_EQ(hook.unhook().code(), VXError::ePreconditionFailed);
    // Reserved but not committed: VirtualProtect refuses it.
    void* reserved = VirtualAlloc(nullptr, 4096, MEM_RESERVE, PAGE_NOACCESS);
    const VXResult result = hook.prepare(reserved, reinterpret_cast<const void*>(&headOf));
    EXPECT_THAT(result.message().toUtf8(), HasSubstr("Method \"VirtualProtect\" returned Win32 error"));
    EXPECT_EQ(hook.target(), nullptr) << "a refused prepare records no target";
    VirtualFree(reserved, 0, MEM_RELEASE);
}
