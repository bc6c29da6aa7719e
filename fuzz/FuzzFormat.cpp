// The formatter with any format text and a fixed mix of arguments: never a crash, never more
// than the string limit.
#include <cstring>
#include <vector>

#include "VXString.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<char16_t> fmt(size + 1, u'\0');
    for (size_t i = 0; i < size; ++i)
        fmt[i] = data[i] == 0 ? u'%' : static_cast<char16_t>(data[i]);
    const VXString text(u"text");
    VXString out;
    out.format(fmt.data(), 42, -7, 3.5, text, "narrow", static_cast<const void*>(data), 0xFFFFFFFFFFull);
    if (out.length() > VXString::kMaxLength)
        __builtin_trap();
    out.appendFormat(fmt.data());
    return 0;
}
