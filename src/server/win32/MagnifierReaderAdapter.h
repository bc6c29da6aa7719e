// The magnifier's screen reader behind the interface the request loop drives: window handles
// come from the list record as 64-bit values and go to the magnifier as HWNDs. Results pass
// through unchanged. Main thread only, like the reader it holds.
#pragma once

#include <windows.h>

#include <vector>

#include "MagD3DScreenReader.h"
#include "ScreenReader.h"

namespace Vistrel {

class MagnifierReaderAdapter : public ScreenReader {
public:
    VXResult setup(const VXRect& captureRect, const std::shared_ptr<VXImage>& image) override;
    VXResult setExcludedWindows(const std::vector<uint64_t>& windows) override;
    VXResult setCaptureCursor(bool show) override;
    VXResult readScreen() override;

    uint32_t getStabilizationRounds() const override;
    uint32_t getStabilizationTimeMs() const override;
    bool isStabilizationTimedOut() const override;

private:
    MagD3DScreenReader _reader;
    // Reused from request to request: a request allocates only the window list.
    std::vector<HWND> _windows;
};

}  // namespace Vistrel
