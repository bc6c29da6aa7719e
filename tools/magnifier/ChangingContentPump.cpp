#include "ChangingContentPump.h"

#include "PixelPacker.h"

#include <algorithm>
#include <vector>

namespace {

// One pixel per counter bit, black or white: every format keeps that apart, whereas
// a counter encoded as a colour would lose its low bits in a 16-bit format and repeat.
constexpr UINT kCounterBits = 32;
constexpr uint32_t kBitSet = 0x00FFFFFF;
constexpr uint32_t kBitClear = 0x00000000;

}  // namespace

ChangingContentPump::ChangingContentPump(IDirect3DDevice9* device, IDirect3DSurface9* target,
                                         D3DFORMAT format, std::atomic<uint32_t>& counter)
    : device_(device), target_(target), format_(format), counter_(counter) {
    D3DSURFACE_DESC desc;
    if (FAILED(target_->GetDesc(&desc))) {
        return;
    }
    stripWidth_ = std::min(kCounterBits, desc.Width);
    if (FAILED(device_->CreateOffscreenPlainSurface(stripWidth_, 1, format_, D3DPOOL_SYSTEMMEM, strip_.put(),
                                                    nullptr))) {
        return;
    }
    writeNext();
    thread_ = std::thread([this] { run(); });
}

ChangingContentPump::~ChangingContentPump() {
    stop_ = true;
    if (thread_.joinable()) {
        thread_.join();
    }
}

void ChangingContentPump::writeNext() {
    const uint32_t value = ++counter_;
    std::vector<uint32_t> row(stripWidth_);
    for (UINT bit = 0; bit < stripWidth_; ++bit) {
        row[bit] = (value >> bit) & 1 ? kBitSet : kBitClear;
    }
    D3DLOCKED_RECT locked;
    if (FAILED(strip_->LockRect(&locked, nullptr, 0))) {
        return;
    }
    PixelPacker::packRow(format_, row.data(), static_cast<uint8_t*>(locked.pBits),
                         static_cast<int>(stripWidth_));
    strip_->UnlockRect();
    const POINT origin = {0, 0};
    device_->UpdateSurface(strip_.get(), nullptr, target_, &origin);
}

void ChangingContentPump::run() {
    while (!stop_) {
        writeNext();
        // Give the reading thread its turn at the device lock between two writes.
        SwitchToThread();
    }
}
