// Server parameters under names no other test, process or run uses, made as the host makes them.
#pragma once

#include <windows.h>

#include <atomic>
#include <memory>

#include "VistrelExchange.h"
#include "VistrelParams.h"

// Null when the command line is refused.
inline std::shared_ptr<Vistrel::Params> uniqueParams(const VXRect& rect) {
    static std::atomic<int> counter{0};
    const VXString guid = vxFormat(u"VXTest%u_%d", static_cast<uint32_t>(GetCurrentProcessId()), ++counter);
    VXString line;
    std::shared_ptr<Vistrel::Params> params;
    if (Vistrel::Params::makeCommandLine(rect, guid.c_str(), false, line).isError())
        return params;
    Vistrel::Params::create(line.c_str(), Vistrel::kEventStartPrefix, Vistrel::kEventCompletedPrefix,
                            Vistrel::kExclWndsPrefix, Vistrel::kCaptureCursorPrefix, Vistrel::kImagePrefix,
                            Vistrel::kWaitResultPrefix, Vistrel::kResultPrefix, params);
    return params;
}
