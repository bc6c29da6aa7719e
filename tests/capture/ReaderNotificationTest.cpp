// The reader's StretchRect notification fed directly with surfaces of our own.
#include <gtest/gtest.h>

#include "D3DTestSupport.h"
#include "FakeSurface.h"
#include "ScreenFixture.h"

namespace {

constexpr int32_t kWidth = 64;
constexpr int32_t kHeight = 48;

using ReaderNotification = ScreenFixture;

}  // namespace

// One A8R8G8B8 render target (the stand-in's captures bring X8R8G8B8) through each step in turn.
TEST_F(ReaderNotification, SourcesAreCheckedCopiedAndScannedAndReadbackSurfacesKeptPerDevice) {
    const auto image = makeImage(kWidth, kHeight);
    C_ComPtr<IDirect3DDevice9> device;
    ASSERT_TRUE(HookD3D::createDummyDevice(device.put()).isSuccess());
    const C_ComPtr<IDirect3DSurface9> target =
        d3dtest::makeSurface(device.get(), kWidth, kHeight, D3DPOOL_DEFAULT, D3DFMT_A8R8G8B8);
    auto fill = [&](D3DCOLOR color, const RECT* rect = nullptr) {
        return SUCCEEDED(device->ColorFill(target.get(), rect, color));
    };
    ASSERT_TRUE(target && fill(D3DCOLOR_XRGB(10, 120, 130)));
    std::unique_ptr<MagD3DScreenReader> reader;
    auto newReader = [&] {
        reader = std::make_unique<MagD3DScreenReader>();
        return reader->setup(VXRect(0, 0, kWidth, kHeight), image).code();
    };
    // One notification; the stored result.
    auto notify = [&](IDirect3DSurface9* source, const RECT* sourceRect = nullptr) {
        reader->onStretchRect(device.get(), source, sourceRect, nullptr, nullptr, D3DTEXF_NONE);
        return reader->getCallbackResult();
    };

    // An accepted source: its rectangle is copied, nothing else.
    ASSERT_EQ(newReader(), VXError::eNoError);
    const RECT part = {8, 4, 24, 20};
    ASSERT_EQ(notify(target.get(), &part).code(), VXError::eNoError);
    EXPECT_EQ(reader->getStabilizationRounds(), 0u) << "two equal readbacks at once";
    EXPECT_EQ(rgbAt(*image, 23, 19), 0x0A7882u);
    EXPECT_EQ(rgbAt(*image, 7, 4), 0x5A5A5Au) << "outside the rectangle untouched";
    EXPECT_EQ(rgbAt(*image, 24, 20), 0x5A5A5Au);

    // Opaque black, then the same with one blue unit in the last pixel: the colour scan ignores
    // alpha and goes to the last pixel, and so does the comparison.
    auto readback = [&] {
        C_ComPtr<IDirect3DSurface9> copy =
            d3dtest::makeSurface(device.get(), kWidth, kHeight, D3DPOOL_SYSTEMMEM, D3DFMT_A8R8G8B8);
        EXPECT_TRUE(copy && SUCCEEDED(device->GetRenderTargetData(target.get(), copy.get())));
        return copy;
    };
    ASSERT_EQ(newReader(), VXError::eNoError);
    ASSERT_TRUE(fill(D3DCOLOR_ARGB(0xFF, 0, 0, 0)));
    const C_ComPtr<IDirect3DSurface9> black = readback();
    ASSERT_EQ(notify(target.get()).code(), VXError::eNoError);
    EXPECT_FALSE(reader->isAnyPixelNotBlack()) << "opaque black is black";
    const RECT last = {kWidth - 1, kHeight - 1, kWidth, kHeight};
    ASSERT_TRUE(fill(D3DCOLOR_ARGB(0xFF, 0, 0, 1), &last));
    const C_ComPtr<IDirect3DSurface9> blue = readback();
    const RECT whole = {0, 0, kWidth, kHeight};
    ASSERT_EQ(notify(target.get(), &whole).code(), VXError::eNoError) << "right and bottom on the edge";
    EXPECT_TRUE(reader->isAnyPixelNotBlack());
    EXPECT_EQ(rgbAt(*image, kWidth - 1, kHeight - 1), 1u);
    MagD3DScreenReader::CopyTarget copy{VXRect(0, 0, kWidth, kHeight), image};
    bool different = false;
    ASSERT_EQ(MagD3DScreenReader::compareAndCopy(black.get(), blue.get(), copy, different).code(),
              VXError::eNoError);
    EXPECT_TRUE(different);
    EXPECT_FALSE(copy.done || copy.anyNotBlack) << "a difference leaves the copy undone";
    // The copy taken after a time-out scans as well.
    bool anyNotBlack = false;
    ASSERT_EQ(MagD3DScreenReader::copySurfaceToImage(black.get(), copy.rect, image, anyNotBlack).code(),
              VXError::eNoError);
    EXPECT_FALSE(anyNotBlack) << "opaque black is black";
    EXPECT_EQ(rgbAt(*image, kWidth - 1, kHeight - 1), 0u);
    // Inverted rectangles lie "inside" the image by their corners; both copies refuse them.
    for (const VXRect& wrong : {VXRect(kWidth - 1, 0, 0, kHeight), VXRect(0, kHeight - 1, kWidth, 0)}) {
        MagD3DScreenReader::CopyTarget inverted{wrong, image};
        EXPECT_EQ(MagD3DScreenReader::compareAndCopy(black.get(), black.get(), inverted, different).code(),
                  VXError::eBadParameter);
        EXPECT_EQ(MagD3DScreenReader::copySurfaceToImage(black.get(), wrong, image, anyNotBlack).code(),
                  VXError::eBadParameter);
    }
    C_ComPtr<IDirect3DSurface9> taller =
        d3dtest::makeSurface(device.get(), kWidth, kHeight + 1, D3DPOOL_SYSTEMMEM);
    EXPECT_THAT(text(MagD3DScreenReader::compareSurfaces(black.get(), taller.get(), different)),
                StartsWith("Surfaces different in size or format at "));

    // The readback surface is reused on its own device only; one that cannot be made fails.
    D3DSURFACE_DESC desc = {};
    ASSERT_TRUE(SUCCEEDED(target->GetDesc(&desc)));
    C_ComPtr<IDirect3DSurface9> surface;
    ASSERT_EQ(MagD3DScreenReader::readbackOnce(device.get(), target.get(), &desc, surface).code(),
              VXError::eNoError);
    const C_ComPtr<IDirect3DSurface9> first = surface;  // held, so no new surface can take its address
    ASSERT_EQ(MagD3DScreenReader::readbackOnce(device.get(), target.get(), &desc, surface).code(),
              VXError::eNoError);
    EXPECT_EQ(surface.get(), first.get()) << "reused on the same device";
    C_ComPtr<IDirect3DDevice9> other;
    ASSERT_TRUE(HookD3D::createDummyDevice(other.put()).isSuccess());
    C_ComPtr<IDirect3DSurface9> otherTarget =
        d3dtest::makeSurface(other.get(), kWidth, kHeight, D3DPOOL_DEFAULT, D3DFMT_A8R8G8B8);
    ASSERT_TRUE(otherTarget);
    ASSERT_EQ(MagD3DScreenReader::readbackOnce(other.get(), otherTarget.get(), &desc, surface).code(),
              VXError::eNoError);
    C_ComPtr<IDirect3DDevice9> owner;
    ASSERT_TRUE(SUCCEEDED(surface->GetDevice(owner.put())));
    EXPECT_EQ(owner.get(), other.get()) << "a surface of the earlier device is not reused";
    D3DSURFACE_DESC unknown = desc;  // a format no surface can have
    unknown.Format = D3DFMT_UNKNOWN;
    IDirect3DSurface9* result = nullptr;
    const VXResult failed = reader->stableReadback(device.get(), target.get(), &unknown, 500, result);
    EXPECT_THAT(text(failed), StartsWith("Method \"CreateOffscreenPlainSurface\" returned HRESULT ["));
    EXPECT_EQ(result, nullptr);

    // Each refusal with its message, on a fresh reader; a failure stays for the capture.
    const RECT tooWide = {0, 0, kWidth + 1, kHeight};
    const RECT negative = {-1, 0, 10, 10};
    const RECT inverted = {kWidth - 1, 0, 0, kHeight};
    const RECT upsideDown = {0, kHeight - 1, kWidth, 0};
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
        {target.get(), &inverted, "pSourceRect out of bounds (63, 0, 0, 48)"},
        {target.get(), &upsideDown, "pSourceRect out of bounds (0, 47, 64, 0)"},
        {nullptr, nullptr, "pSourceSurface is nullptr"},
        {tiny.get(), nullptr, "Unexpected src surface size (32, 32)"},
        {plain.get(), nullptr, "Unexpected src surface usage (0x0)"},
        {&systemMemory, nullptr, "Unexpected src surface pool (2)"},
    };
    for (const auto& r : refusals) {
        ASSERT_EQ(newReader(), VXError::eNoError);
        const VXResult refused = notify(r.source, r.rect);
        EXPECT_EQ(refused.code(), VXError::eUnexpected) << r.message;
        EXPECT_THAT(text(refused), StartsWith(std::string(r.message) + " at MagD3DScreenReader::"));
    }
    FakeSurface noDesc({}, D3DERR_INVALIDCALL);
    EXPECT_THAT(text(notify(&noDesc)), StartsWith("Method \"GetDesc\" returned HRESULT [0X8876086C]"));
    EXPECT_TRUE(notify(target.get()).isError()) << "a later good notification does not clear the failure";
}
