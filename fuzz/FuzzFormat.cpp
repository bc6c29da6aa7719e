// The formatter with any format text and a fixed mix of arguments: never a crash, never more
// than the string limit.
#include <cstring>
#include <vector>

#include "VXString.h"

namespace {

// What one input may ask for: wide fields only add padding, so numbers in the format keep at
// most two digits and the format at most kMaxInput units; the fuzzer's time then goes to
// paths rather than to megabytes of blanks.
constexpr size_t kMaxInput = 1024;
constexpr int kMaxDigits = 2;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<char16_t> fmt;
    int digits = 0;
    for (size_t i = 0; i < size && fmt.size() < kMaxInput; ++i) {
        const char16_t c = data[i] == 0 ? u'%' : static_cast<char16_t>(data[i]);
        digits = (c >= u'0' && c <= u'9') ? digits + 1 : 0;
        if (digits <= kMaxDigits)
            fmt.push_back(c);
    }
    fmt.push_back(u'\0');
    const VXString text(u"text");
    VXString out;
    out.format(fmt.data(), 42, -7, 3.5, text, "narrow", static_cast<const void*>(data), 0xFFFFFFFFFFull);
    if (out.length() > VXString::kMaxLength)
        __builtin_trap();
    out.appendFormat(fmt.data());
    return 0;
}
