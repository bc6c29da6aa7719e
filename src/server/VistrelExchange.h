// The named objects and block sizes that server and host agree on. Each object's name is
// its prefix followed directly by the identifier given with /g.
#pragma once

#include <cstdint>

#include "VXRect.h"

namespace Vistrel {

// Events: the host sets Start_, the server answers with Completed_ (both auto-reset).
constexpr const char16_t* kEventStartPrefix = u"Start_";
constexpr const char16_t* kEventCompletedPrefix = u"Completed_";
// Shared-memory blocks.
constexpr const char16_t* kExclWndsPrefix = u"FMO_ExclWnds_";
constexpr const char16_t* kCaptureCursorPrefix = u"FMO_CaptureCursor_";
constexpr const char16_t* kImagePrefix = u"FMO_Image_";
constexpr const char16_t* kWaitResultPrefix = u"FMO_WaitResult_";
constexpr const char16_t* kResultPrefix = u"FMO_Result_";

constexpr uint32_t kExclWndsBlockSize = 8192;
constexpr uint32_t kCaptureCursorBlockSize = 128;
constexpr uint32_t kWaitResultBlockSize = 128;
constexpr uint32_t kResultBlockSize = 8192;
// The image block holds the record header within this slack beyond its pixels.
constexpr uint32_t kImageBlockSlack = 128;
// 8 + 8 x 1023 = 8192: the longest window list the list block holds.
constexpr uint32_t kMaxExcludedWindows = (kExclWndsBlockSize - 8) / 8;

// (width + 4) x height x 4 + 128, in unsigned 32-bit arithmetic like the server's own
// mapping, with width and height the absolute extents of the rectangle.
uint32_t imageBlockSize(const VXRect& captureRect);

}  // namespace Vistrel
