// The reader's StretchRect notification fed directly with surfaces of our own: the checks of
// the source, the stabilising readback, the comparison and the copy into the image.
#include <gtest/gtest.h>

#include "D3DTestSupport.h"
#include "FakeSurface.h"
#include "MagD3DScreenReader.h"
#include "ScreenFixture.h"

namespace {

constexpr int32_t kWidth = 64;
constexpr int32_t kHeight = 48;
constexpr D3DCOLOR kTeal = D3DCOLOR_XRGB(10, 120, 130);

D3DSURFACE_DESC describe(D3DFORMAT format, DWORD usage, D3DPOOL pool, UINT width = kWidth,
                         UINT height = kHeight) {
    D3DSURFACE_DESC desc = {};
    desc.Format = format;
    desc.Type = D3DRTYPE_SURFACE;
    desc.Usage = usage;
    desc.Pool = pool;
    desc.Width = width;
    desc.Height = height;
    return desc;
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

    // One notification on a fresh count; the stored result.
    VXResult notify(IDirect3DSurface9* source, const RECT* sourceRect = nullptr,
                    IDirect3DDevice9* dev = nullptr) {
        reader->onStretchRect(dev != nullptr ? dev : device.get(), source, sourceRect, nullptr, nullptr,
                              D3DTEXF_NONE);
        return reader->getCallbackResult();
    }
    void expectFailure(IDirect3DSurface9* source, const RECT* sourceRect, const std::string& message) {
        auto fresh = std::make_unique<MagD3DScreenReader>();
        ASSERT_EQ(fresh->setup(VXRect(0, 0, kWidth, kHeight), image).code(), VXError::eNoError);
        reader = std::move(fresh);
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
    const RECT tooHigh = {0, 0, kWidth, kHeight + 1};
    expectFailure(target.get(), &tooHigh, "pSourceRect out of bounds (0, 0, 64, 49)");
    const RECT negative = {-1, 0, 10, 10};
    expectFailure(target.get(), &negative, "pSourceRect out of bounds (-1, 0, 10, 10)");
    expectFailure(nullptr, nullptr, "pSourceSurface is nullptr");

    C_ComPtr<IDirect3DSurface9> small = d3dtest::makeRenderTarget(device.get(), 32, 32);
    expectFailure(small.get(), nullptr, "Unexpected src surface size (32, 32)");
    FakeSurface rgb24(describe(D3DFMT_R8G8B8, D3DUSAGE_RENDERTARGET, D3DPOOL_DEFAULT));
    expectFailure(&rgb24, nullptr, "Unexpected src surface format (20)");
    C_ComPtr<IDirect3DSurface9> plain;
    ASSERT_TRUE(SUCCEEDED(device->CreateOffscreenPlainSurface(kWidth, kHeight, D3DFMT_X8R8G8B8,
                                                              D3DPOOL_DEFAULT, plain.put(), nullptr)));
    expectFailure(plain.get(), nullptr, "Unexpected src surface usage (0x0)");
    FakeSurface systemMemory(describe(D3DFMT_X8R8G8B8, D3DUSAGE_RENDERTARGET, D3DPOOL_SYSTEMMEM));
    expectFailure(&systemMemory, nullptr, "Unexpected src surface pool (2)");

    reader->onStretchRect(nullptr, target.get(), nullptr, nullptr, nullptr, D3DTEXF_NONE);
    EXPECT_EQ(text(reader->getCallbackResult()).rfind("Device (pThis) is nullptr at ", 0), 0u);

    FakeSurface noDesc(describe(D3DFMT_X8R8G8B8, D3DUSAGE_RENDERTARGET, D3DPOOL_DEFAULT), D3DERR_INVALIDCALL);
    VXResult result = notify(&noDesc);
    EXPECT_NE(text(result).find("Method \"GetDesc\" returned HRESULT [0X8876086C]"), std::string::npos)
        << text(result);
}

TEST_F(ReaderNotification, AcceptedSourceIsCopiedAndAnEarlierFailureStays) {
    const RECT whole = {0, 0, kWidth, kHeight};  // right and bottom on the edge are inside
    ASSERT_EQ(notify(target.get(), &whole).code(), VXError::eNoError);
    EXPECT_EQ(reader->getStabilizationRounds(), 0u) << "two equal readbacks at once";
    EXPECT_FALSE(reader->isStabilizationTimedOut());
    EXPECT_TRUE(reader->isAnyPixelNotBlack());
    EXPECT_EQ(rgbAt(*image, 0, 0), 0x0A7882u);
    EXPECT_EQ(rgbAt(*image, kWidth - 1, kHeight - 1), 0x0A7882u);

    // Format 21 is as good as 22.
    C_ComPtr<IDirect3DSurface9> argb =
        d3dtest::makeRenderTarget(device.get(), kWidth, kHeight, D3DFMT_A8R8G8B8);
    ASSERT_TRUE(argb && d3dtest::fill(device.get(), argb.get(), D3DCOLOR_ARGB(0, 1, 2, 3)));
    ASSERT_EQ(notify(argb.get()).code(), VXError::eNoError);
    EXPECT_EQ(rgbAt(*image, 5, 5), 0x010203u);

    FakeSurface rgb24(describe(D3DFMT_R8G8B8, D3DUSAGE_RENDERTARGET, D3DPOOL_DEFAULT));
    ASSERT_TRUE(notify(&rgb24).isError());
    EXPECT_TRUE(notify(target.get()).isError()) << "a later good notification does not clear the failure";
    EXPECT_EQ(reader->getCallbackCount(), 4u);
}

TEST_F(ReaderNotification, SourceRectangleCopiesOnlyThatPart) {
    const RECT part = {8, 4, 24, 20};
    ASSERT_EQ(notify(target.get(), &part).code(), VXError::eNoError);
    EXPECT_EQ(rgbAt(*image, 8, 4), 0x0A7882u);
    EXPECT_EQ(rgbAt(*image, 23, 19), 0x0A7882u);
    EXPECT_EQ(rgbAt(*image, 7, 4), 0x5A5A5Au) << "left of the rectangle untouched";
    EXPECT_EQ(rgbAt(*image, 24, 19), 0x5A5A5Au);
    EXPECT_EQ(rgbAt(*image, 8, 20), 0x5A5A5Au);
}

TEST_F(ReaderNotification, ReadbacksReuseTheirSurfaces) {
    D3DSURFACE_DESC desc = {};
    ASSERT_TRUE(SUCCEEDED(target->GetDesc(&desc)));
    C_ComPtr<IDirect3DSurface9> slot;
    ASSERT_EQ(MagD3DScreenReader::readbackOnce(device.get(), target.get(), &desc, slot).code(),
              VXError::eNoError);
    IDirect3DSurface9* first = slot.get();
    ASSERT_EQ(MagD3DScreenReader::readbackOnce(device.get(), target.get(), &desc, slot).code(),
              VXError::eNoError);
    EXPECT_EQ(slot.get(), first) << "same device, size and format: no new surface";

    C_ComPtr<IDirect3DSurface9> small = d3dtest::makeRenderTarget(device.get(), 16, 16);
    D3DSURFACE_DESC smallDesc = {};
    ASSERT_TRUE(SUCCEEDED(small->GetDesc(&smallDesc)));
    ASSERT_EQ(MagD3DScreenReader::readbackOnce(device.get(), small.get(), &smallDesc, slot).code(),
              VXError::eNoError);
    ASSERT_TRUE(SUCCEEDED(slot->GetDesc(&desc)));
    EXPECT_EQ(desc.Width, 16u) << "another size gets a surface of its own";

    VXResult missing = MagD3DScreenReader::readbackOnce(device.get(), nullptr, &smallDesc, slot);
    EXPECT_NE(text(missing).find("Parameter check \"pRenderTargetSurface\" failed"), std::string::npos);
    IDirect3DSurface9* out = nullptr;
    VXResult noDesc = reader->stableReadback(device.get(), target.get(), nullptr, 500, out);
    EXPECT_NE(text(noDesc).find("Parameter check \"pRenderTargetSurfaceDesc\" failed"), std::string::npos);
}

TEST_F(ReaderNotification, CompareFindsADifferenceInTheLastRow) {
    C_ComPtr<IDirect3DSurface9> one = d3dtest::makeSystemMemorySurface(device.get(), kWidth, kHeight);
    C_ComPtr<IDirect3DSurface9> two = d3dtest::makeSystemMemorySurface(device.get(), kWidth, kHeight);
    ASSERT_TRUE(SUCCEEDED(device->GetRenderTargetData(target.get(), one.get())));
    ASSERT_TRUE(SUCCEEDED(device->GetRenderTargetData(target.get(), two.get())));
    bool different = true;
    ASSERT_EQ(MagD3DScreenReader::compareSurfaces(one.get(), two.get(), different).code(), VXError::eNoError);
    EXPECT_FALSE(different);
    ASSERT_TRUE(d3dtest::setPixel(two.get(), kWidth - 1, kHeight - 1, 0x000A7883));
    ASSERT_EQ(MagD3DScreenReader::compareSurfaces(one.get(), two.get(), different).code(), VXError::eNoError);
    EXPECT_TRUE(different);

    C_ComPtr<IDirect3DSurface9> other = d3dtest::makeSystemMemorySurface(device.get(), kWidth, kHeight + 1);
    different = false;
    VXResult result = MagD3DScreenReader::compareSurfaces(one.get(), other.get(), different);
    EXPECT_EQ(text(result).rfind("Surfaces different in size or format at ", 0), 0u) << text(result);
    EXPECT_FALSE(different) << "no answer written on failure";
    EXPECT_NE(text(MagD3DScreenReader::compareSurfaces(one.get(), nullptr, different)).find("\"pSurface2\""),
              std::string::npos);
}

TEST_F(ReaderNotification, CopyTellsBlackFromColourIgnoringAlpha) {
    // Opaque black everywhere: copied, but nothing counts as colour.
    C_ComPtr<IDirect3DSurface9> opaque = d3dtest::makeSystemMemorySurface(device.get(), kWidth, kHeight);
    ASSERT_TRUE(d3dtest::setAllPixels(opaque.get(), 0xFF000000u));
    bool anyNotBlack = false;
    const VXRect whole(0, 0, kWidth, kHeight);
    ASSERT_EQ(MagD3DScreenReader::copySurfaceToImage(opaque.get(), whole, image, anyNotBlack).code(),
              VXError::eNoError);
    EXPECT_FALSE(anyNotBlack);
    EXPECT_EQ(rgbAt(*image, 63, 47), 0u);
    // One blue unit in the last pixel is colour.
    ASSERT_TRUE(d3dtest::setPixel(opaque.get(), kWidth - 1, kHeight - 1, 0x00000001u));
    ASSERT_EQ(MagD3DScreenReader::copySurfaceToImage(opaque.get(), whole, image, anyNotBlack).code(),
              VXError::eNoError);
    EXPECT_TRUE(anyNotBlack);
    EXPECT_EQ(rgbAt(*image, 63, 47), 1u);

    VXResult outside = MagD3DScreenReader::copySurfaceToImage(opaque.get(), VXRect(0, 0, kWidth + 1, kHeight),
                                                              image, anyNotBlack);
    EXPECT_NE(text(outside).find("Parameter check \"VXRect(imageDst->getSize()).isEnclosing(rect)\" failed"),
              std::string::npos)
        << text(outside);
    VXResult wrongDepth =
        MagD3DScreenReader::copySurfaceToImage(opaque.get(), whole, makeImage(64, 48, 24), anyNotBlack);
    EXPECT_NE(text(wrongDepth).find("\"imageDst->getBytesPerPixel() == 4\""), std::string::npos);
}
