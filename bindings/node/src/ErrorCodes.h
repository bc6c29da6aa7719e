// Errors the addon hands to JavaScript: an Error with the message and a `.code`, numeric for
// the C interface's results, a string for conditions the binding itself detects.
#pragma once

#include <napi.h>

#include <string>

namespace vistrel_node {

inline Napi::Error makeError(Napi::Env env, int32_t code, const std::u16string& message) {
    Napi::Error error = Napi::Error::New(env, Napi::String::New(env, message).Utf8Value());
    error.Set("code", Napi::Number::New(env, code));
    return error;
}

inline Napi::Error makeError(Napi::Env env, const char* code, const char* message) {
    Napi::Error error = Napi::Error::New(env, message);
    error.Set("code", Napi::String::New(env, code));
    return error;
}

// The C interface's texts are UTF-16 wchar_t (two bytes on Windows).
inline std::u16string fromWide(const wchar_t* text) {
    static_assert(sizeof(wchar_t) == sizeof(char16_t));
    return text == nullptr ? std::u16string() : std::u16string(reinterpret_cast<const char16_t*>(text));
}

}  // namespace vistrel_node
