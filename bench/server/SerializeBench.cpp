// The image record at full-HD size: written by the server for every capture and read back
// by the host, so both directions sit on the per-frame path.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "SerializeUtils.h"
#include "VistrelExchange.h"

namespace {

constexpr int32_t kWidth = 1920;
constexpr int32_t kHeight = 1080;

std::shared_ptr<VXImage> makeCaptureImage() {
    std::shared_ptr<VXImage> image;
    if (VXImage::create(kWidth, kHeight, 32, image).isError() || image->allocate().isError())
        return nullptr;
    std::memset(image->getBits(), 0x5A, static_cast<size_t>(image->getImageSize()));
    return image;
}

void BM_WriteImage1080p(benchmark::State& state) {
    const std::shared_ptr<VXImage> image = makeCaptureImage();
    std::vector<uint8_t> block(Vistrel::imageBlockSize(VXRect(0, 0, kWidth, kHeight)));
    for (auto _ : state) {
        uint8_t* end = SerializeUtils::writeImage(block.data(), block.size(), image);
        benchmark::DoNotOptimize(end);
        if (end == nullptr)
            state.SkipWithError("write failed");
    }
    state.SetBytesProcessed(state.iterations() * int64_t{kWidth} * kHeight * 4);
}
BENCHMARK(BM_WriteImage1080p)->Unit(benchmark::kMicrosecond);

void BM_ReadImageInto1080p(benchmark::State& state) {
    const std::shared_ptr<VXImage> source = makeCaptureImage();
    const std::shared_ptr<VXImage> target = makeCaptureImage();
    std::vector<uint8_t> block(Vistrel::imageBlockSize(VXRect(0, 0, kWidth, kHeight)));
    SerializeUtils::writeImage(block.data(), block.size(), source);
    for (auto _ : state) {
        const uint8_t* end = SerializeUtils::readImageInto(block.data(), block.size(), *target, VXPoint());
        benchmark::DoNotOptimize(end);
        if (end == nullptr)
            state.SkipWithError("read failed");
    }
    state.SetBytesProcessed(state.iterations() * int64_t{kWidth} * kHeight * 4);
}
BENCHMARK(BM_ReadImageInto1080p)->Unit(benchmark::kMicrosecond);

}  // namespace
