// VX_FUNC: "Class::method" of the enclosing function, as a static narrow text. On GCC it is
// cut out of __PRETTY_FUNCTION__ at compile time; MSVC's __FUNCTION__ already has that form.
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
    FunctionName name{};
    int n = 0;
    for (int i = begin; i < end && n < static_cast<int>(sizeof(name.text)) - 1; ++i) name.text[n++] = pretty[i];
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
