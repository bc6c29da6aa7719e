// Log levels: the number callers pass, the name result logging prints, the line prefix.
#pragma once

#include <cstdint>

namespace VXLogLevel {
enum : int32_t {
    eResultDefault = -1,  // logResult: take the result's own level; elsewhere: no prefix
    eDebug = 0,
    eInfo = 1,
    eWarning = 2,
    eError = 3,
    eSystem = 5,
    eCritical = 6,
};

// Null for levels the formatter refuses (4 and above 6).
const char16_t* prefix(int32_t level);
// "Debug message", "Information", "Warning", "Error"; empty for the others.
const char16_t* name(int32_t level);
}  // namespace VXLogLevel
