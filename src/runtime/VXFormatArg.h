// One argument of the printf-style formatter, captured with its type so that the
// same format gives the same text on every platform and a wrong type never crashes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

class VXString;

struct VXFormatArg {
    enum class Kind : uint8_t { eSigned, eUnsigned, eDouble, ePointer, eText16, eText8, eString };

    Kind kind;
    uint8_t bytes = 0;  // width of the original integer, so that %x of -1 as int gives 8 digits
    union {
        int64_t i;
        uint64_t u;
        double d;
        const void* p;
        const char16_t* t16;
        const char* t8;
        const VXString* s;
    };

    template <typename T, std::enable_if_t<std::is_integral_v<T> && std::is_signed_v<T>, int> = 0>
    VXFormatArg(T v) : kind(Kind::eSigned), bytes(sizeof(T)), i(v) {}
    template <typename T, std::enable_if_t<std::is_integral_v<T> && !std::is_signed_v<T> &&
                                               !std::is_same_v<T, bool>,
                                           int> = 0>
    VXFormatArg(T v) : kind(Kind::eUnsigned), bytes(sizeof(T)), u(v) {}
    VXFormatArg(bool v) : kind(Kind::eSigned), bytes(4), i(v ? 1 : 0) {}
    template <typename T, std::enable_if_t<std::is_enum_v<T>, int> = 0>
    VXFormatArg(T v) : VXFormatArg(static_cast<std::underlying_type_t<T>>(v)) {}
    VXFormatArg(double v) : kind(Kind::eDouble), d(v) {}
    VXFormatArg(float v) : kind(Kind::eDouble), d(v) {}
    VXFormatArg(const char16_t* v) : kind(Kind::eText16), t16(v) {}
    VXFormatArg(const char* v) : kind(Kind::eText8), t8(v) {}
    VXFormatArg(const VXString& v) : kind(Kind::eString), s(&v) {}
#ifdef _WIN32
    static_assert(sizeof(wchar_t) == sizeof(char16_t), "Windows text is UTF-16");
    VXFormatArg(const wchar_t* v) : kind(Kind::eText16), t16(reinterpret_cast<const char16_t*>(v)) {}
#endif
    VXFormatArg(std::nullptr_t) : kind(Kind::ePointer), p(nullptr) {}
    template <typename T, std::enable_if_t<!std::is_same_v<std::remove_cv_t<T>, char> &&
                                               !std::is_same_v<std::remove_cv_t<T>, char16_t> &&
                                               !std::is_same_v<std::remove_cv_t<T>, wchar_t>,
                                           int> = 0>
    VXFormatArg(T* v) : kind(Kind::ePointer), p(reinterpret_cast<const void*>(v)) {}
};
