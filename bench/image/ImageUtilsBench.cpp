// Nearest-neighbour scaling of 32-bit frames and the left/right difference searches over two
// full-HD frames that differ in one small block, the way consecutive screen frames do. Each
// checks its answer first (the scaled pixels against a plain per-pixel form, the columns
// against the block) and reports an error instead of a time when it is wrong.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>

#include "VXImageUtils.h"

namespace {

using ImagePtr = std::shared_ptr<VXImage>;

ImagePtr makeImage(int32_t width, int32_t height, uint32_t seed) {
    ImagePtr image;
    if (VXImageUtils::createImage(VXSize(width, height), 32, nullptr, image).isError())
        return nullptr;
    std::mt19937 generator(seed);
    uint8_t* bits = image->getBits();
    for (int64_t i = 0; i < image->getImageSize(); ++i)
        bits[i] = static_cast<uint8_t>(generator());
    return image;
}

bool scaledAsExpected(const ImagePtr& src, const ImagePtr& dst) {
    const int64_t sw = src->getWidth(), sh = src->getHeight(), dw = dst->getWidth(), dh = dst->getHeight();
    for (int64_t y = 0; y < dh; ++y) {
        const int64_t sy = ((2 * y + 1) * sh) / (2 * dh);
        for (int64_t x = 0; x < dw; ++x) {
            const int64_t sx = ((2 * x + 1) * sw) / (2 * dw);
            if (std::memcmp(dst->getPixelPtr(static_cast<int32_t>(x), static_cast<int32_t>(y)),
                            src->getPixelPtr(static_cast<int32_t>(sx), static_cast<int32_t>(sy)), 4) != 0) {
                return false;
            }
        }
    }
    return true;
}

// Args: source width, height, destination width, height.
void BM_Scale32(benchmark::State& state) {
    const ImagePtr src =
        makeImage(static_cast<int32_t>(state.range(0)), static_cast<int32_t>(state.range(1)), 1);
    const ImagePtr dst =
        makeImage(static_cast<int32_t>(state.range(2)), static_cast<int32_t>(state.range(3)), 2);
    if (!src || !dst) {
        state.SkipWithError("no images");
        return;
    }
    const VXRect from(src->getSize());
    const VXRect to(dst->getSize());
    if (VXImageUtils::scale(src, from, dst, to).isError() || !scaledAsExpected(src, dst)) {
        state.SkipWithError("scale gave other pixels than nearest neighbour");
        return;
    }
    for (auto _ : state) {
        VXImageUtils::scale(src, from, dst, to);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * state.range(2) * state.range(3));
}
BENCHMARK(BM_Scale32)
    ->Args({1920, 1080, 1280, 720})
    ->Args({960, 540, 1920, 1080})
    ->Unit(benchmark::kMicrosecond);

constexpr int32_t kWidth = 1920;
constexpr int32_t kHeight = 1080;
constexpr int32_t kBlockLeft = 860;
constexpr int32_t kBlockRight = 1059;  // the last column that differs

template <bool kLeft>
void BM_FindDifference(benchmark::State& state) {
    const ImagePtr a = makeImage(kWidth, kHeight, 3);
    ImagePtr b;
    if (!a || VXImageUtils::createCopy(a, b).isError()) {
        state.SkipWithError("no images");
        return;
    }
    for (int32_t y = 500; y < 600; ++y) {
        for (int32_t x = kBlockLeft; x <= kBlockRight; ++x)
            b->getPixelPtr(x, y)[1] ^= 0x40;
    }
    auto search = [&](int32_t& column) {
        return kLeft ? VXImageUtils::findLeftMostDifference(a, b, 0, kHeight, column)
                     : VXImageUtils::findRightMostDifference(a, b, 0, kHeight, column);
    };
    int32_t column = -1;
    if (search(column).code() != VXStatus::eYes || column != (kLeft ? kBlockLeft : kBlockRight)) {
        state.SkipWithError("wrong column");
        return;
    }
    for (auto _ : state) {
        search(column);
        benchmark::DoNotOptimize(column);
    }
    state.SetBytesProcessed(state.iterations() * 2 * a->getImageSize());
}
BENCHMARK(BM_FindDifference<true>)->Name("BM_FindLeftMostDifference_1080p")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FindDifference<false>)->Name("BM_FindRightMostDifference_1080p")->Unit(benchmark::kMicrosecond);

}  // namespace
