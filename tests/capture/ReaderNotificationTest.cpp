// The reader's StretchRect notification fed directly with surfaces of our own.
#include <gtest/gtest.h>

#include <cstring>

#include "D3DTestSupport.h"
#include "FakeSurface.h"
#include "MagD3DScreenReader.h"
#include "ScreenFixture.h"

namespace {

constexpr int32_t kWidth = 64;
constexpr int32_t kHeight = 48;
constexpr D3DCOLOR kTeal = D3DCOLOR_XRGB(10, 120, 130);

D3DSURFACE_DESC describe(D3DFORMAT format, D3DPOOL pool) {
    return D3DSURFACE_DESC{format, D3DRTYPE_SURFACE, D3DUSAGE_RENDERTARGET, pool, D3DMULTISAMPLE_NONE, 0,
                           kWidth, kHeight};
}

class ReaderNotification : public ScreenFixture {
protected:
    void SetUp() override {
        ScreenFixture::SetUp();
        image = makeImage(kWidth, kHeight);
        ASSERT_EQ(reader->setup(VXRect(0, 0, kWidth, kHeight), image).code(), VXError::eNoError);
        device = d3dtest::makeDevice();
        ASSERT_TRUE(device);
        target = d3dtest::makeRenderTarget(device.get(), kWidth, kHeight);
        ASSERT_TRUE(target && d3dtest::fill(device.get(), target.get(), kTeal));
    }
    void TearDown() override {
        reader.reset();
        ScreenFixture::TearDown();
    }

    // One notification; the stored result.
    VXResult notify(IDirect3DSurface9* source, const RECT* sourceRect = nullptr) {
        reader->onStretchRect(device.get(), source, sourceRect, nullptr, nullptr, D3DTEXF_NONE);
        return reader->getCallbackResult();
    }
    void expectFailure(IDirect3DSurface9* source, const RECT* sourceRect, const std::string& message) {
        reader = std::make_unique<MagD3DScreenReader>();
        ASSERT_EQ(reader->setup(VXRect(0, 0, kWidth, kHeight), image).code(), VXError::eNoError);
        VXResult result = notify(source, sourceRect);
        EXPECT_EQ(result.code(), VXError::eUnexpected) << message;
        EXPECT_EQ(text(result).rfind(message + " at MagD3DScreenReader::", 0), 0u) << text(result);
        EXPECT_EQ(reader->getCallbackCount(), 1u);
    }

    std::shared_ptr<VXImage> image;
    std::unique_ptr<MagD3DScreenReader> reader = std::make_unique<MagD3DScreenReader>();
    C_ComPtr<IDirect3DDevice9> device;
    C_ComPtr<IDirect3DSurface9> target;
};

}  // namespace

TEST_F(ReaderNotification, SourceChecksFailWithTheirMessages) {
    const RECT tooWide = {0, 0, kWidth + 1, kHeight};
    expectFailure(target.get(), &tooWide, "pSourceRect out of bounds (0, 0, 65, 48)");
    const RECT negative = {-1, 0, 10, 10};
    expectFailure(target.get(), &negative, "pSourceRect out of bounds (-1, 0, 10, 10)");
    expectFailure(nullptr, nullptr, "pSourceSurface is nullptr");

    C_ComPtr<IDirect3DSurface9> small = d3dtest::makeRenderTarget(device.get(), 32, 32);
    expectFailure(small.get(), nullptr, "Unexpected src surface size (32, 32)");
    FakeSurface rgb24(describe(D3DFMT_R8G8B8, D3DPOOL_DEFAULT));
    expectFailure(&rgb24, nullptr, "Unexpected src surface format (20)");
    C_ComPtr<IDirect3DSurface9> plain;
    ASSERT_TRUE(SUCCEEDED(device->CreateOffscreenPlainSurface(kWidth, kHeight, D3DFMT_X8R8G8B8,
                                                              D3DPOOL_DEFAULT, plain.put(), nullptr)));
    expectFailure(plain.get(), nullptr, "Unexpected src surface usage (0x0)");
    FakeSurface systemMemory(describe(D3DFMT_X8R8G8B8, D3DPOOL_SYSTEMMEM));
    expectFailure(&systemMemory, nullptr, "Unexpected src surface pool (2)");

    FakeSurface noDesc(describe(D3DFMT_X8R8G8B8, D3DPOOL_DEFAULT), D3DERR_INVALIDCALL);
    EXPECT_NE(text(notify(&noDesc)).find("Method \"GetDesc\" returned HRESULT [0X8876086C]"),
              std::string::npos);
}

TEST_F(ReaderNotification, AcceptedSourceIsCopiedAndAnEarlierFailureStays) {
    const RECT part = {8, 4, 24, 20};
    ASSERT_EQ(notify(target.get(), &part).code(), VXError::eNoError);
    EXPECT_EQ(reader->getStabilizationRounds(), 0u) << "two equal readbacks at once";
    EXPECT_EQ(rgbAt(*image, 23, 19), 0x0A7882u);
    EXPECT_EQ(rgbAt(*image, 7, 4), 0x5A5A5Au) << "outside the rectangle untouched";
    EXPECT_EQ(rgbAt(*image, 24, 20), 0x5A5A5Au);

    // Format 21 is as good as 22; right and bottom on the edge are inside.
    C_ComPtr<IDirect3DSurface9> argb =
        d3dtest::makeRenderTarget(device.get(), kWidth, kHeight, D3DFMT_A8R8G8B8);
    ASSERT_TRUE(argb && d3dtest::fill(device.get(), argb.get(), D3DCOLOR_ARGB(0, 1, 2, 3)));
    const RECT whole = {0, 0, kWidth, kHeight};
    ASSERT_EQ(notify(argb.get(), &whole).code(), VXError::eNoError);
    EXPECT_EQ(rgbAt(*image, kWidth - 1, kHeight - 1), 0x010203u);

    ASSERT_TRUE(notify(nullptr).isError());
    EXPECT_TRUE(notify(target.get()).isError()) << "a later good notification does not clear the failure";
    EXPECT_EQ(reader->getCallbackCount(), 4u);
}

TEST_F(ReaderNotification, CompareAndCopyLookAtEveryPixelIgnoringAlpha) {
    // Two readbacks of opaque black, the second then with one blue unit in the last pixel.
    C_ComPtr<IDirect3DSurface9> argb =
        d3dtest::makeRenderTarget(device.get(), kWidth, kHeight, D3DFMT_A8R8G8B8);
    C_ComPtr<IDirect3DSurface9> one =
        d3dtest::makeSystemMemorySurface(device.get(), kWidth, kHeight, D3DFMT_A8R8G8B8);
    C_ComPtr<IDirect3DSurface9> two =
        d3dtest::makeSystemMemorySurface(device.get(), kWidth, kHeight, D3DFMT_A8R8G8B8);
    ASSERT_TRUE(argb && d3dtest::fill(device.get(), argb.get(), D3DCOLOR_ARGB(0xFF, 0, 0, 0)));
    ASSERT_TRUE(SUCCEEDED(device->GetRenderTargetData(argb.get(), one.get())));
    const RECT last = {kWidth - 1, kHeight - 1, kWidth, kHeight};
    ASSERT_TRUE(d3dtest::fill(device.get(), argb.get(), D3DCOLOR_ARGB(0xFF, 0, 0, 1), &last));
    ASSERT_TRUE(SUCCEEDED(device->GetRenderTargetData(argb.get(), two.get())));

    bool different = false;
    ASSERT_EQ(MagD3DScreenReader::compareSurfaces(one.get(), two.get(), different).code(), VXError::eNoError);
    EXPECT_TRUE(different);
    const VXRect whole(0, 0, kWidth, kHeight);
    bool anyNotBlack = false;
    ASSERT_EQ(MagD3DScreenReader::copySurfaceToImage(one.get(), whole, image, anyNotBlack).code(),
              VXError::eNoError);
    EXPECT_FALSE(anyNotBlack) << "opaque black is black";
    ASSERT_EQ(MagD3DScreenReader::copySurfaceToImage(two.get(), whole, image, anyNotBlack).code(),
              VXError::eNoError);
    EXPECT_TRUE(anyNotBlack);
    EXPECT_EQ(rgbAt(*image, kWidth - 1, kHeight - 1), 1u);

    // In one pass: a difference leaves the copy undone and the flag as it was; readbacks that
    // agree are copied (only the rectangle) and scanned.
    C_ComPtr<IDirect3DSurface9> three =
        d3dtest::makeSystemMemorySurface(device.get(), kWidth, kHeight, D3DFMT_A8R8G8B8);
    ASSERT_TRUE(three && SUCCEEDED(device->GetRenderTargetData(argb.get(), three.get())));
    std::memset(image->getBits(), 0xEE, static_cast<size_t>(image->getImageSize()));
    MagD3DScreenReader::CopyTarget copy{VXRect(kWidth - 2, kHeight - 2, kWidth, kHeight), image};
    ASSERT_EQ(MagD3DScreenReader::compareAndCopy(one.get(), two.get(), copy, different).code(),
              VXError::eNoError);
    EXPECT_TRUE(different);
    EXPECT_FALSE(copy.done || copy.anyNotBlack);
    ASSERT_EQ(MagD3DScreenReader::compareAndCopy(two.get(), three.get(), copy, different).code(),
              VXError::eNoError);
    EXPECT_FALSE(different);
    EXPECT_TRUE(copy.done && copy.anyNotBlack);
    EXPECT_EQ(rgbAt(*image, kWidth - 1, kHeight - 1), 1u);
    EXPECT_EQ(rgbAt(*image, kWidth - 2, kHeight - 2), 0u);
    EXPECT_EQ(rgbAt(*image, kWidth - 3, kHeight - 1), 0xEEEEEEu) << "outside the rectangle";

    C_ComPtr<IDirect3DSurface9> other = d3dtest::makeSystemMemorySurface(device.get(), kWidth, kHeight + 1);
    EXPECT_EQ(text(MagD3DScreenReader::compareSurfaces(one.get(), other.get(), different))
                  .rfind("Surfaces different in size or format at ", 0),
              0u);
}

TEST_F(ReaderNotification, ReadbackSurfaceIsKeptOnlyForItsDeviceAndFailuresComeBack) {
    D3DSURFACE_DESC desc = {};
    ASSERT_TRUE(SUCCEEDED(target->GetDesc(&desc)));
    C_ComPtr<IDirect3DSurface9> surface;
    ASSERT_EQ(MagD3DScreenReader::readbackOnce(device.get(), target.get(), &desc, surface).code(),
              VXError::eNoError);
    const C_ComPtr<IDirect3DSurface9> first = surface;  // held, so no new surface can take its address
    ASSERT_EQ(MagD3DScreenReader::readbackOnce(device.get(), target.get(), &desc, surface).code(),
              VXError::eNoError);
    EXPECT_EQ(surface.get(), first.get()) << "reused on the same device";

    C_ComPtr<IDirect3DDevice9> other = d3dtest::makeDevice();
    ASSERT_TRUE(other);
    C_ComPtr<IDirect3DSurface9> otherTarget = d3dtest::makeRenderTarget(other.get(), kWidth, kHeight);
    ASSERT_TRUE(otherTarget && d3dtest::fill(other.get(), otherTarget.get(), kTeal));
    ASSERT_EQ(MagD3DScreenReader::readbackOnce(other.get(), otherTarget.get(), &desc, surface).code(),
              VXError::eNoError);
    C_ComPtr<IDirect3DDevice9> owner;
    ASSERT_TRUE(SUCCEEDED(surface->GetDevice(owner.put())));
    EXPECT_EQ(owner.get(), other.get()) << "a surface of the earlier device is not reused";

    // A format no surface can have: the readback surface cannot be made.
    D3DSURFACE_DESC unknown = desc;
    unknown.Format = D3DFMT_UNKNOWN;
    IDirect3DSurface9* result = nullptr;
    const VXResult failed = reader->stableReadback(device.get(), target.get(), &unknown, 500, result);
    EXPECT_EQ(text(failed).rfind("Method \"CreateOffscreenPlainSurface\" returned HRESULT [", 0), 0u)
        << text(failed);
    EXPECT_EQ(result, nullptr);
}
