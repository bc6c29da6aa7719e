// The decoded forms of the records the server writes for the host.
#pragma once

#include <cstdint>

#include "VXString.h"

namespace Vistrel {

// How long the capture engine waited for a fresh frame (block "FMO_WaitResult_").
struct WaitRecord {
    uint32_t iterations = 0;
    uint32_t milliseconds = 0;
    bool timedOut = false;
};

// A request's outcome (block "FMO_Result_"): the result code and its text.
struct ResultRecord {
    int32_t code = 0;
    VXString text;
};

}  // namespace Vistrel
