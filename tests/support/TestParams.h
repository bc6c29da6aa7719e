// Server parameters under names no other test, process or run uses, on either platform.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <random>

#include "VistrelExchange.h"
#include "VistrelParams.h"

// Null when the command line is refused.
inline std::shared_ptr<Vistrel::Params> testParams(const VXRect& rect, bool unitTestMode = false) {
    static const uint32_t run = std::random_device{}();
    static std::atomic<int> counter{0};
    const VXString guid = vxFormat(
        u"VXTest%08X_%llX_%d", run,
        static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()), ++counter);
    VXString line;
    std::shared_ptr<Vistrel::Params> params;
    if (Vistrel::Params::makeCommandLine(rect, guid.c_str(), unitTestMode, line).isError())
        return params;
    Vistrel::Params::create(line.c_str(), Vistrel::kEventStartPrefix, Vistrel::kEventCompletedPrefix,
                            Vistrel::kExclWndsPrefix, Vistrel::kCaptureCursorPrefix, Vistrel::kImagePrefix,
                            Vistrel::kWaitResultPrefix, Vistrel::kResultPrefix, params);
    return params;
}
