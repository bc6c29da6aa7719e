#include "RenderSwitches.h"

#include <cwchar>

namespace {

constexpr wchar_t kRenderVariable[] = L"VXMAG_RENDER";
constexpr wchar_t kFormatVariable[] = L"VXMAG_FORMAT";
constexpr wchar_t kFilterLimitVariable[] = L"VXMAG_FILTER_LIMIT";
constexpr wchar_t kFaultSourceVariable[] = L"VXMAG_FAULT_SOURCE";
constexpr wchar_t kFailUninitializeVariable[] = L"VXMAG_FAIL_UNINITIALIZE";
constexpr wchar_t kFailVariable[] = L"VXMAG_FAIL";
constexpr wchar_t kRenderBlack[] = L"black";
constexpr wchar_t kRenderChanging[] = L"changing";
// The system library's own limit is undocumented; the server only needs some limit to exist.
constexpr int kDefaultFilterListLimit = 1000;
constexpr DWORD kValueChars = 64;

// False when the variable is unset, empty or too long to be one of ours.
bool readVariable(const wchar_t* name, wchar_t (&value)[kValueChars]) {
    DWORD length = GetEnvironmentVariableW(name, value, kValueChars);
    return length > 0 && length < kValueChars;
}

// Whole decimal number or nothing: a typo must not silently select format 0 or limit 0.
bool parseNumber(const wchar_t* text, long& number) {
    wchar_t* end = nullptr;
    number = std::wcstol(text, &end, 10);
    return end != text && *end == L'\0';
}

}  // namespace

RenderSwitches RenderSwitches::read() {
    RenderSwitches switches;
    wchar_t value[kValueChars];
    if (readVariable(kRenderVariable, value)) {
        if (lstrcmpiW(value, kRenderBlack) == 0) {
            switches.mode = RenderMode::Black;
        } else if (lstrcmpiW(value, kRenderChanging) == 0) {
            switches.mode = RenderMode::Changing;
        }
    }
    long number = 0;
    if (readVariable(kFormatVariable, value) && parseNumber(value, number) && number > 0) {
        switches.format = static_cast<D3DFORMAT>(number);
    }
    return switches;
}

int filterListLimit() {
    wchar_t value[kValueChars];
    long number = 0;
    if (readVariable(kFilterLimitVariable, value) && parseNumber(value, number) && number >= 0) {
        return static_cast<int>(number);
    }
    return kDefaultFilterListLimit;
}

bool faultInWindowSource() {
    wchar_t value[kValueChars];
    long number = 0;
    return readVariable(kFaultSourceVariable, value) && parseNumber(value, number) && number != 0;
}

DWORD uninitializeFailure() {
    wchar_t value[kValueChars];
    long number = 0;
    if (readVariable(kFailUninitializeVariable, value) && parseNumber(value, number) && number > 0) {
        return static_cast<DWORD>(number);
    }
    return 0;
}

bool failsSilently(const wchar_t* exportName) {
    wchar_t value[kValueChars];
    return readVariable(kFailVariable, value) && lstrcmpW(value, exportName) == 0;
}
