#include "FrameDiff.h"

#include <algorithm>
#include <cstring>

namespace Vistrel {

namespace {

constexpr size_t kTileRowBytes = FrameDiff::kTileSize * FrameDiff::kBytesPerPixel;

// Equality only, no ordering: a fixed-length XOR-OR over whole words lets the compiler keep it
// branch-free and in vector registers, which memcmp's search for the first difference cannot.
inline bool sameSpan(const uint8_t* a, const uint8_t* b, size_t bytes) {
    if (bytes != kTileRowBytes)
        return std::memcmp(a, b, bytes) == 0;
    uint64_t differ = 0;
    for (size_t i = 0; i < kTileRowBytes; i += sizeof(uint64_t)) {
        uint64_t x;
        uint64_t y;
        std::memcpy(&x, a + i, sizeof(x));
        std::memcpy(&y, b + i, sizeof(y));
        differ |= x ^ y;
    }
    return differ == 0;
}

}  // namespace

void FrameDiff::copyChanged(const uint8_t* source, size_t sourceStride, uint8_t* target, size_t targetStride,
                            int32_t width, int32_t height, std::vector<VXRect>& region) {
    region.clear();
    _previousRuns.clear();
    if (width <= 0 || height <= 0)
        return;
    const size_t rowBytes = static_cast<size_t>(width) * kBytesPerPixel;
    const int32_t tiles = (width + kTileSize - 1) / kTileSize;
    _changed.resize(static_cast<size_t>(tiles));

    for (int32_t top = 0; top < height; top += kTileSize) {
        const int32_t bottom = std::min(height, top + kTileSize);
        std::fill(_changed.begin(), _changed.end(), uint8_t{0});
        int32_t changedTiles = 0;
        for (int32_t y = top; y < bottom; ++y) {
            const uint8_t* from = source + static_cast<size_t>(y) * sourceStride;
            uint8_t* to = target + static_cast<size_t>(y) * targetStride;
            // A tile row that has changed throughout needs no more looking at: the rest of the
            // band is copied whole, which is all a fully changed frame costs beyond the copy.
            if (changedTiles == tiles) {
                copyRows_(from, sourceStride, to, targetStride, rowBytes, bottom - y);
                break;
            }
            // Spans to copy are gathered into runs, so that a changed stretch is one memcpy.
            size_t runStart = 0;
            size_t runEnd = 0;
            for (int32_t t = 0; t < tiles; ++t) {
                const size_t begin = static_cast<size_t>(t) * kTileRowBytes;
                const size_t bytes = std::min(kTileRowBytes, rowBytes - begin);
                // Once a tile is known to have changed, its later rows are copied unread.
                if (!_changed[static_cast<size_t>(t)]) {
                    if (sameSpan(from + begin, to + begin, bytes)) {
                        if (runEnd > runStart)
                            std::memcpy(to + runStart, from + runStart, runEnd - runStart);
                        runStart = runEnd = 0;
                        continue;
                    }
                    _changed[static_cast<size_t>(t)] = 1;
                    ++changedTiles;
                }
                if (runEnd == runStart)
                    runStart = begin;
                runEnd = begin + bytes;
            }
            if (runEnd > runStart)
                std::memcpy(to + runStart, from + runStart, runEnd - runStart);
        }
        addRuns_(top, bottom, width, region);
    }
}

void FrameDiff::copyRows_(const uint8_t* source, size_t sourceStride, uint8_t* target, size_t targetStride,
                          size_t rowBytes, int32_t rows) {
    if (sourceStride == rowBytes && targetStride == rowBytes) {
        std::memcpy(target, source, rowBytes * static_cast<size_t>(rows));
        return;
    }
    for (int32_t y = 0; y < rows; ++y)
        std::memcpy(target + static_cast<size_t>(y) * targetStride,
                    source + static_cast<size_t>(y) * sourceStride, rowBytes);
}

void FrameDiff::addRuns_(int32_t top, int32_t bottom, int32_t width, std::vector<VXRect>& region) {
    _currentRuns.clear();
    size_t above = 0;  // runs of each row are in x order, so one forward pointer finds a match
    const int32_t tiles = static_cast<int32_t>(_changed.size());
    for (int32_t t = 0; t < tiles;) {
        if (!_changed[static_cast<size_t>(t)]) {
            ++t;
            continue;
        }
        const int32_t first = t;
        while (t < tiles && _changed[static_cast<size_t>(t)])
            ++t;
        const int32_t left = first * kTileSize;
        const int32_t right = std::min(width, t * kTileSize);
        while (above < _previousRuns.size() && region[_previousRuns[above]].getLeft() < left)
            ++above;
        if (above < _previousRuns.size()) {
            VXRect& r = region[_previousRuns[above]];
            if (r.getLeft() == left && r.getRight() == right) {
                r.set(left, r.getTop(), right, bottom);
                _currentRuns.push_back(_previousRuns[above]);
                continue;
            }
        }
        region.emplace_back(left, top, right, bottom);
        _currentRuns.push_back(region.size() - 1);
    }
    _previousRuns.swap(_currentRuns);
}

void FrameDiff::copyAll(const uint8_t* source, size_t sourceStride, uint8_t* target, size_t targetStride,
                        int32_t width, int32_t height, std::vector<VXRect>& region) {
    region.clear();
    if (width <= 0 || height <= 0)
        return;
    copyRows_(source, sourceStride, target, targetStride, static_cast<size_t>(width) * kBytesPerPixel,
              height);
    region.emplace_back(0, 0, width, height);
}

int64_t FrameDiff::area(const std::vector<VXRect>& region) {
    int64_t pixels = 0;
    for (const VXRect& r : region)
        pixels += int64_t{r.getWidth()} * r.getHeight();
    return pixels;
}

}  // namespace Vistrel
