// The host's copy-out with the updated region against a plain memcpy of the same frame: the
// comparison rides on the copy, so it must cost about what the copy alone does.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "FrameDiff.h"

namespace {

enum Change : int64_t { eUnchanged, eSmall, eEverything };

struct Frames {
    int32_t width;
    int32_t height;
    std::vector<uint8_t> block;     // the server's packed rows
    std::vector<uint8_t> previous;  // what the host holds from the last capture
};

Frames makeFrames(int32_t width, int32_t height) {
    Frames f{width, height, {}, {}};
    f.block.resize(static_cast<size_t>(width) * height * 4);
    for (size_t i = 0; i < f.block.size(); ++i)
        f.block[i] = static_cast<uint8_t>(i * 13 + (i >> 12));
    f.previous = f.block;
    return f;
}

// Sets the previous frame up for one more round of the given change. Counted outside the
// timing: a host's previous frame is whatever the last capture left.
void prepare(Frames& f, Change change) {
    if (change == eSmall) {
        // A 20 x 12 patch, as a blinking caret or a ticking clock gives: one or two tiles.
        for (int32_t y = 500; y < 512; ++y)
            for (int32_t x = 700; x < 720; ++x)
                f.previous[(static_cast<size_t>(y) * f.width + x) * 4] ^= 0xFF;
    } else if (change == eEverything) {
        // The first pixel of every tile row differs: the worst case, nothing compares long.
        for (size_t i = 0; i < f.previous.size(); i += 128)
            f.previous[i] = static_cast<uint8_t>(f.block[i] ^ 0xFF);
    }
}

void BM_CopyWithRegion(benchmark::State& state) {
    Frames f = makeFrames(static_cast<int32_t>(state.range(0)), static_cast<int32_t>(state.range(1)));
    const auto change = static_cast<Change>(state.range(2));
    const size_t stride = static_cast<size_t>(f.width) * 4;
    Vistrel::FrameDiff diff;
    std::vector<VXRect> region;
    size_t rects = 0;
    for (auto _ : state) {
        state.PauseTiming();
        prepare(f, change);
        state.ResumeTiming();
        diff.copyChanged(f.block.data(), stride, f.previous.data(), stride, f.width, f.height, region);
        benchmark::DoNotOptimize(region.data());
        benchmark::ClobberMemory();
        rects = region.size();
    }
    state.counters["rects"] = static_cast<double>(rects);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(f.block.size()));
}

void BM_Memcpy(benchmark::State& state) {
    Frames f = makeFrames(static_cast<int32_t>(state.range(0)), static_cast<int32_t>(state.range(1)));
    const auto change = static_cast<Change>(state.range(2));
    for (auto _ : state) {
        state.PauseTiming();
        prepare(f, change);  // the same untimed work as above, so both see the same caches
        state.ResumeTiming();
        std::memcpy(f.previous.data(), f.block.data(), f.block.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(f.block.size()));
}

// Row by row, as the record reader copies: what the host did before it found regions.
void BM_MemcpyRows(benchmark::State& state) {
    Frames f = makeFrames(static_cast<int32_t>(state.range(0)), static_cast<int32_t>(state.range(1)));
    const auto change = static_cast<Change>(state.range(2));
    const size_t stride = static_cast<size_t>(f.width) * 4;
    for (auto _ : state) {
        state.PauseTiming();
        prepare(f, change);
        state.ResumeTiming();
        for (int32_t y = 0; y < f.height; ++y)
            std::memcpy(&f.previous[y * stride], &f.block[y * stride], stride);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(f.block.size()));
}

void sizesAndChanges(benchmark::internal::Benchmark* b) {
    b->ArgNames({"w", "h", "change"});
    for (const auto& size : {std::pair{1920, 1080}, std::pair{3840, 2160}})
        for (const int64_t change : {eUnchanged, eSmall, eEverything})
            b->Args({size.first, size.second, change});
    // The machine is shared: the fastest repetition is the one least disturbed by others. Run
    // with --benchmark_repetitions=N --benchmark_enable_random_interleaving=true.
    b->Unit(benchmark::kMicrosecond)->ComputeStatistics("min", [](const std::vector<double>& v) {
        return *std::min_element(v.begin(), v.end());
    });
}

BENCHMARK(BM_Memcpy)->Apply(sizesAndChanges);
BENCHMARK(BM_MemcpyRows)->Apply(sizesAndChanges);
BENCHMARK(BM_CopyWithRegion)->Apply(sizesAndChanges);

}  // namespace
