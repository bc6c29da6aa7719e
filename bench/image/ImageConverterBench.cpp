// 32 -> 16 conversion of a full-HD frame: the plain one-pixel rule against four pixels per
// step, and the whole conversion through the image interface.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>

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
BENCHMARK(BM_Pack32To16Rows<true>)->Name("BM_Pack32To16_FourPixelsAtATime")->Unit(benchmark::kMicrosecond);

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

}  // namespace
