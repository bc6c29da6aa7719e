// Params for the shared-object tests, made the way the server makes them: from a command line.
#pragma once

#include <windows.h>

#include <atomic>
#include <memory>

#include "VistrelExchange.h"
#include "VistrelParams.h"

inline VXString uniqueGuid() {
    static std::atomic<int> counter{0};
    return vxFormat(u"VXTest%u_%d", static_cast<uint32_t>(GetCurrentProcessId()), ++counter);
}

inline std::shared_ptr<Vistrel::Params> paramsFor(const VXRect& rect, const VXString& guid) {
    VXString line;
    std::shared_ptr<Vistrel::Params> params;
    if (Vistrel::Params::makeCommandLine(rect, guid.c_str(), false, line).isError())
        return params;
    Vistrel::Params::create(line.c_str(), Vistrel::kEventStartPrefix, Vistrel::kEventCompletedPrefix,
                            Vistrel::kExclWndsPrefix, Vistrel::kCaptureCursorPrefix, Vistrel::kImagePrefix,
                            Vistrel::kWaitResultPrefix, Vistrel::kResultPrefix, params);
    return params;
}
