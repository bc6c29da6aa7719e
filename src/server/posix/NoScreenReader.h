// The reader of a Linux server that has no way to read the screen yet: it takes the window list
// and the cursor flag (so unit-test mode works without a display) and answers every capture
// with a failure that says so, never with made-up pixels. Main thread only.
#pragma once

#include "ScreenReader.h"

namespace Vistrel {

class NoScreenReader : public ScreenReader {
public:
    VXResult setup(const VXRect& captureRect, const std::shared_ptr<VXImage>& image) override;
    VXResult setExcludedWindows(const std::vector<uint64_t>& windows) override;
    VXResult setCaptureCursor(bool show) override;
    // 2018 "No screen reader is available on this display".
    VXResult readScreen() override;

    uint32_t getStabilizationRounds() const override { return 0; }
    uint32_t getStabilizationTimeMs() const override { return 0; }
    bool isStabilizationTimedOut() const override { return false; }
};

}  // namespace Vistrel
