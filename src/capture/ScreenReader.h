// The capture engine as the request loop sees it. Each platform's reader (the magnifier on
// Windows, Composite on X11) implements it; the loop makes one reader before the first request
// and drives it from one thread only.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "VXImage.h"
#include "VXRect.h"
#include "VXResult.h"

class ScreenReader {
public:
    virtual ~ScreenReader() = default;

    // captureRect in physical screen pixels; image 32-bit, exactly captureRect's size, with
    // pixels. The reader keeps a share of the image and fills it on every readScreen.
    virtual VXResult setup(const VXRect& captureRect, const std::shared_ptr<VXImage>& image) = 0;
    // Windows to leave out, as the list record carries them (HWND or X window id, widened to
    // 64 bits). Values that name no window are ignored.
    virtual VXResult setExcludedWindows(const std::vector<uint64_t>& windows) = 0;
    virtual VXResult setCaptureCursor(bool show) = 0;
    // Captures the rectangle of the last setup into its image.
    virtual VXResult readScreen() = 0;

    // Wait indicators of the last readScreen (all zero before the first).
    virtual uint32_t getStabilizationRounds() const = 0;
    virtual uint32_t getStabilizationTimeMs() const = 0;
    virtual bool isStabilizationTimedOut() const = 0;

    // The screen itself is gone for good (an X server that closed the connection): after
    // answering the request that found it, the loop ends with that request's result.
    virtual bool isSourceLost() const { return false; }
};
