#include "ChangingContent.h"

#include "PixelPacker.h"

#include <algorithm>
#include <vector>

namespace {

// One pixel per counter bit, black or white: every format keeps those apart, whereas a
// counter encoded as one colour would lose its low bits in a 16-bit format and repeat.
constexpr UINT kCounterBits = 32;
constexpr uint32_t kBitSet = 0x00FFFFFF;
constexpr uint32_t kBitClear = 0x00000000;

}  // namespace

ChangingContent::ChangingContent(IDirect3DDevice9* device, IDirect3DSurface9* target, D3DFORMAT format,
                                 std::atomic<uint32_t>& counter)
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
    // Reacting to the readbacks themselves, rather than racing them from another thread,
    // makes every single one differ from the one before.
    if (ReadbackHook::install(device_)) {
        ReadbackHook::add(this);
        listening_ = true;
    }
}

ChangingContent::~ChangingContent() {
    if (listening_) {
        ReadbackHook::remove(this);
    }
}

void ChangingContent::afterReadback(IDirect3DDevice9* device) {
    if (device == device_) {
        writeNext();
    }
}

void ChangingContent::writeNext() {
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
