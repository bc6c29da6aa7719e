// The message of a result as UTF-8, for comparisons and failure output.
#pragma once

#include <string>

#include "VXResult.h"

inline std::string text(const VXResult& result) {
    return result.message().toUtf8();
}
