// 32 -> 16 conversion of a full-HD frame: the plain one-pixel rule against the packed rows,
// the whole conversion through the image interface, and libyuv's ARGBToRGB565 as the reference
// (its output must be ours, byte for byte, or the benchmark reports an error).
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#ifdef VX_HAVE_LIBYUV
#include <libyuv/convert_from_argb.h>
#endif

#include "VXImageConverter.h"
#include "VXImageUtils.h"

namespace {

constexpr int32_t kWidth = 1920;
constexpr int32_t kHeight = 1080;

struct Frame {
    std::shared_ptr<VXImage> source;
    std::shared_ptr<VXImage> target;
};

Frame makeFrame() {
    Frame frame;
    if (VXImageUtils::createImage(VXSize(kWidth, kHeight), 32, nullptr, frame.source).isError() ||
        VXImageUtils::createImage(VXSize(kWidth, kHeight), 16, nullptr, frame.target).isError()) {
        return Frame();
    }
    std::mt19937 generator(1);
    uint8_t* bits = frame.source->getBits();
    for (int64_t i = 0; i < frame.source->getImageSize(); ++i)
        bits[i] = static_cast<uint8_t>(generator());
    return frame;
}

template <bool kFourAtATime>
void BM_Pack32To16Rows(benchmark::State& state) {
    const Frame frame = makeFrame();
    if (!frame.source) {
        state.SkipWithError("no images");
        return;
    }
    const VXImageConverter::Packer16 packer(*frame.source->getColorInfo(), *frame.target->getColorInfo());
    for (auto _ : state) {
        for (int32_t y = 0; y < kHeight; ++y) {
            const uint8_t* src = frame.source->getLinePtr(y);
            uint8_t* dst = frame.target->getLinePtr(y);
            if (kFourAtATime)
                packer.packRow(src, dst, kWidth);
            else
                packer.packRowPerPixel(src, dst, kWidth);
        }
        benchmark::DoNotOptimize(frame.target->getBits());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * int64_t{kWidth} * kHeight);
}
BENCHMARK(BM_Pack32To16Rows<false>)->Name("BM_Pack32To16_OnePixelAtATime")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Pack32To16Rows<true>)->Name("BM_Pack32To16_PackedRows")->Unit(benchmark::kMicrosecond);

void BM_Convert32To16_1080p(benchmark::State& state) {
    const Frame frame = makeFrame();
    if (!frame.source) {
        state.SkipWithError("no images");
        return;
    }
    const VXRect all(0, 0, kWidth, kHeight);
    for (auto _ : state) {
        const VXResult r = VXImageConverter::convert32To16(frame.source, all, frame.target, VXPoint());
        if (r.isError())
            state.SkipWithError("conversion failed");
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * int64_t{kWidth} * kHeight);
}
BENCHMARK(BM_Convert32To16_1080p)->Unit(benchmark::kMicrosecond);

#ifdef VX_HAVE_LIBYUV
// Whole rows of 16-bit pixels, without the padding of either image.
std::vector<uint8_t> packedRows(const VXImage& image) {
    std::vector<uint8_t> rows;
    for (int32_t y = 0; y < image.getHeight(); ++y)
        rows.insert(rows.end(), image.getLinePtr(y), image.getLinePtr(y) + 2 * image.getWidth());
    return rows;
}

void BM_LibyuvARGBToRGB565_1080p(benchmark::State& state) {
    const Frame frame = makeFrame();
    std::shared_ptr<VXImage> reference;
    if (!frame.source ||
        VXImageUtils::createImage(VXSize(kWidth, kHeight), 16, nullptr, reference).isError()) {
        state.SkipWithError("no images");
        return;
    }
    auto convert = [&] {
        return libyuv::ARGBToRGB565(frame.source->getLinePtr(0), frame.source->getBytesPerLine(),
                                    reference->getLinePtr(0), reference->getBytesPerLine(), kWidth, kHeight);
    };
    if (convert() != 0 ||
        VXImageConverter::convert32To16(frame.source, VXRect(0, 0, kWidth, kHeight), frame.target, VXPoint())
            .isError()) {
        state.SkipWithError("conversion failed");
        return;
    }
    if (packedRows(*reference) != packedRows(*frame.target)) {
        state.SkipWithError("libyuv's output differs from convert32To16's");
        return;
    }
    for (auto _ : state) {
        convert();
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * int64_t{kWidth} * kHeight);
}
BENCHMARK(BM_LibyuvARGBToRGB565_1080p)->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
