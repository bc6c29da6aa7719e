// Texts as UTF-8, for comparisons and failure output.
#pragma once

#include <gmock/gmock.h>

#include <string>

#include "VXResult.h"
#include "VXString.h"

inline std::string text(const VXResult& result) {
    return result.message().toUtf8();
}
inline std::string text(const VXString& s) {
    return s.toUtf8();
}
#ifdef _WIN32
inline std::string text(const wchar_t* wide) {
    return VXString::fromWide(wide).toUtf8();
}
#endif

// The matchers message checks use.
using ::testing::HasSubstr;
using ::testing::StartsWith;
