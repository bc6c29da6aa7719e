// VX_FUNC: "Class::method" of the enclosing function, as a static narrow text. On GCC and
// clang it is cut out of __PRETTY_FUNCTION__ at compile time; MSVC's __FUNCTION__ already has that form.
#pragma once

namespace vxdetail {

struct FunctionName {
    char text[192];
};

constexpr FunctionName extractFunctionName(const char* pretty) {
    int length = 0;
    while (pretty[length] != '\0') ++length;
    // GCC appends " [with T = ...]" to templates; the name ends before it.
    for (int i = 0; i + 6 < length; ++i) {
        if (pretty[i] == ' ' && pretty[i + 1] == '[' && pretty[i + 2] == 'w' && pretty[i + 3] == 'i' &&
            pretty[i + 4] == 't' && pretty[i + 5] == 'h') {
            length = i;
            break;
        }
    }
    // The argument list is the last bracket group; scanning back past it finds where the
    // name ends, which also works for local classes ("f()::Local::g(int)").
    int end = length;
    int close = length - 1;
    while (close >= 0 && pretty[close] != ')') --close;
    if (close >= 0) {
        int depth = 0;
        for (int i = close; i >= 0; --i) {
            if (pretty[i] == ')') ++depth;
            if (pretty[i] == '(' && --depth == 0) {
                end = i;
                break;
            }
        }
    }
    // It begins after the last blank outside brackets (return type, "static", ...).
    int begin = 0;
    int depth = 0;
    for (int i = 0; i < end; ++i) {
        const char c = pretty[i];
        if (c == '<' || c == '(') ++depth;
        if ((c == '>' || c == ')') && depth > 0) --depth;
        if (c == ' ' && depth == 0) begin = i + 1;
    }
    while (begin < end && (pretty[begin] == '*' || pretty[begin] == '&')) ++begin;
    // clang writes "(anonymous namespace)" where GCC writes "{anonymous}": logs read the same
    // whichever compiler built the program.
    constexpr char kClangAnonymous[] = "(anonymous namespace)";
    constexpr char kAnonymous[] = "{anonymous}";
    constexpr int kClangLength = sizeof(kClangAnonymous) - 1;
    FunctionName name{};
    int n = 0;
    for (int i = begin; i < end && n < static_cast<int>(sizeof(name.text)) - 1; ++i) {
        bool anonymous = i + kClangLength <= end;
        for (int k = 0; anonymous && k < kClangLength; ++k) anonymous = pretty[i + k] == kClangAnonymous[k];
        if (!anonymous) {
            name.text[n++] = pretty[i];
            continue;
        }
        for (int k = 0; kAnonymous[k] != '\0' && n < static_cast<int>(sizeof(name.text)) - 1; ++k)
            name.text[n++] = kAnonymous[k];
        i += kClangLength - 1;
    }
    name.text[n] = '\0';
    return name;
}

template <FunctionName N>
struct FunctionNameHolder {
    static constexpr const char* value = N.text;
};

}  // namespace vxdetail

#if defined(_MSC_VER)
#define VX_FUNC __FUNCTION__
#else
#define VX_FUNC (::vxdetail::FunctionNameHolder<::vxdetail::extractFunctionName(__PRETTY_FUNCTION__)>::value)
#endif
