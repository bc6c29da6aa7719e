// The reader's StretchRect notification fed directly with surfaces of our own.
#include <gtest/gtest.h>

#include "D3DTestSupport.h"
#include "FakeSurface.h"
#include "ScreenFixture.h"

namespace {

constexpr int32_t kWidth = 64;
constexpr int32_t kHeight = 48;
constexpr RECT kWhole = {0, 0, kWidth, kHeight};

// An A8R8G8B8 render target (the stand-in's captures bring X8R8G8B8) and a reader set up for it.
class ReaderNotification : public ScreenFixture {
protected:
    void SetUp() override {
        ScreenFixture::SetUp();
        image = makeImage(kWidth, kHeight);
        device = d3dtest::makeDevice();
        ASSERT_TRUE(device);
        target = d3dtest::makeSurface(device.get(), kWidth, kHeight, D3DPOOL_DEFAULT, D3DFMT_A8R8G8B8);
        ASSERT_TRUE(target && fill(D3DCOLOR_XRGB(10, 120, 130)));
        newReader();
    }
    void TearDown() override {
        reader.reset();
        ScreenFixture::TearDown();
    }
    void newReader() {
        reader = std::make_unique<MagD3DScreenReader>();
        ASSERT_EQ(reader->setup(VXRect(0, 0, kWidth, kHeight), image).code(), VXError::eNoError);
    }
    bool fill(D3DCOLOR color, const RECT* rect = nullptr) {
        return SUCCEEDED(device->ColorFill(target.get(), rect, color));
    }
    // One notification; the stored result.
    VXResult notify(IDirect3DSurface9* source, const RECT* sourceRect = nullptr) {
        reader->onStretchRect(device.get(), source, sourceRect, nullptr, nullptr, D3DTEXF_NONE);
        return reader->getCallbackResult();
    }

    std::shared_ptr<VXImage> image;
    std::unique_ptr<MagD3DScreenReader> reader;
    C_ComPtr<IDirect3DDevice9> device;
    C_ComPtr<IDirect3DSurface9> target;
};

}  // namespace

TEST_F(ReaderNotification, AcceptedSourceIsCopiedEachRefusalHasItsMessageAndAFailureStays) {
    const RECT part = {8, 4, 24, 20};
    ASSERT_EQ(notify(target.get(), &part).code(), VXError::eNoError);
    EXPECT_EQ(reader->getStabilizationRounds(), 0u) << "two equal readbacks at once";
    EXPECT_EQ(rgbAt(*image, 23, 19), 0x0A7882u);
    EXPECT_EQ(rgbAt(*image, 7, 4), 0x5A5A5Au) << "outside the rectangle untouched";
    EXPECT_EQ(rgbAt(*image, 24, 20), 0x5A5A5Au);

    const RECT tooWide = {0, 0, kWidth + 1, kHeight};
    const RECT negative = {-1, 0, 10, 10};
    C_ComPtr<IDirect3DSurface9> tiny = d3dtest::makeSurface(device.get(), 32, 32);
    C_ComPtr<IDirect3DSurface9> plain = d3dtest::makeSurface(device.get(), kWidth, kHeight, D3DPOOL_SCRATCH);
    ASSERT_TRUE(tiny && plain);
    FakeSurface systemMemory({D3DFMT_X8R8G8B8, D3DRTYPE_SURFACE, D3DUSAGE_RENDERTARGET, D3DPOOL_SYSTEMMEM,
                              D3DMULTISAMPLE_NONE, 0, kWidth, kHeight});
    const struct {
        IDirect3DSurface9* source;
        const RECT* rect;
        const char* message;
    } refusals[] = {
        {target.get(), &tooWide, "pSourceRect out of bounds (0, 0, 65, 48)"},
        {target.get(), &negative, "pSourceRect out of bounds (-1, 0, 10, 10)"},
        {nullptr, nullptr, "pSourceSurface is nullptr"},
        {tiny.get(), nullptr, "Unexpected src surface size (32, 32)"},
        {plain.get(), nullptr, "Unexpected src surface usage (0x0)"},
        {&systemMemory, nullptr, "Unexpected src surface pool (2)"},
    };
    for (const auto& r : refusals) {
        newReader();
        const VXResult result = notify(r.source, r.rect);
        EXPECT_EQ(result.code(), VXError::eUnexpected) << r.message;
        EXPECT_EQ(text(result).rfind(std::string(r.message) + " at MagD3DScreenReader::", 0), 0u)
            << text(result);
    }
    FakeSurface noDesc({}, D3DERR_INVALIDCALL);
    EXPECT_EQ(text(notify(&noDesc)).rfind("Method \"GetDesc\" returned HRESULT [0X8876086C]", 0), 0u);
    EXPECT_TRUE(notify(target.get()).isError()) << "a later good notification does not clear the failure";
    EXPECT_EQ(reader->getCallbackCount(), 3u);
}

TEST_F(ReaderNotification, ComparisonAndCopyLookAtEveryPixelIgnoringAlpha) {
    // Readbacks of opaque black and of the same with one blue unit in the last pixel.
    auto readback = [&] {
        C_ComPtr<IDirect3DSurface9> copy =
            d3dtest::makeSurface(device.get(), kWidth, kHeight, D3DPOOL_SYSTEMMEM, D3DFMT_A8R8G8B8);
        EXPECT_TRUE(copy && SUCCEEDED(device->GetRenderTargetData(target.get(), copy.get())));
        return copy;
    };
    ASSERT_TRUE(fill(D3DCOLOR_ARGB(0xFF, 0, 0, 0)));
    const C_ComPtr<IDirect3DSurface9> black = readback();
    ASSERT_EQ(notify(target.get()).code(), VXError::eNoError);
    EXPECT_FALSE(reader->isAnyPixelNotBlack()) << "opaque black is black";
    const RECT last = {kWidth - 1, kHeight - 1, kWidth, kHeight};
    ASSERT_TRUE(fill(D3DCOLOR_ARGB(0xFF, 0, 0, 1), &last));
    const C_ComPtr<IDirect3DSurface9> blue = readback();
    ASSERT_EQ(notify(target.get(), &kWhole).code(), VXError::eNoError) << "right and bottom on the edge";
    EXPECT_TRUE(reader->isAnyPixelNotBlack());
    EXPECT_EQ(rgbAt(*image, kWidth - 1, kHeight - 1), 1u);

    // A difference in the last pixel leaves the copy undone; the copy after a time-out scans too.
    MagD3DScreenReader::CopyTarget copy{VXRect(0, 0, kWidth, kHeight), image};
    bool different = false;
    ASSERT_EQ(MagD3DScreenReader::compareAndCopy(black.get(), blue.get(), copy, different).code(),
              VXError::eNoError);
    EXPECT_TRUE(different);
    EXPECT_FALSE(copy.done || copy.anyNotBlack);
    bool anyNotBlack = false;
    ASSERT_EQ(MagD3DScreenReader::copySurfaceToImage(black.get(), copy.rect, image, anyNotBlack).code(),
              VXError::eNoError);
    EXPECT_FALSE(anyNotBlack) << "opaque black is black";
    EXPECT_EQ(rgbAt(*image, kWidth - 1, kHeight - 1), 0u);

    C_ComPtr<IDirect3DSurface9> other =
        d3dtest::makeSurface(device.get(), kWidth, kHeight + 1, D3DPOOL_SYSTEMMEM);
    EXPECT_EQ(text(MagD3DScreenReader::compareSurfaces(black.get(), other.get(), different))
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
    C_ComPtr<IDirect3DSurface9> otherTarget =
        d3dtest::makeSurface(other.get(), kWidth, kHeight, D3DPOOL_DEFAULT, D3DFMT_A8R8G8B8);
    ASSERT_TRUE(otherTarget);
    ASSERT_EQ(MagD3DScreenReader::readbackOnce(other.get(), otherTarget.get(), &desc, surface).code(),
              VXError::eNoError);
    C_ComPtr<IDirect3DDevice9> owner;
    ASSERT_TRUE(SUCCEEDED(surface->GetDevice(owner.put())));
    EXPECT_EQ(owner.get(), other.get()) << "a surface of the earlier device is not reused";

    // A format no surface can have: the readback surface cannot be made.
    desc.Format = D3DFMT_UNKNOWN;
    IDirect3DSurface9* result = nullptr;
    const VXResult failed = reader->stableReadback(device.get(), target.get(), &desc, 500, result);
    EXPECT_EQ(text(failed).rfind("Method \"CreateOffscreenPlainSurface\" returned HRESULT [", 0), 0u)
        << text(failed);
    EXPECT_EQ(result, nullptr);
}
