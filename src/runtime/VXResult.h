// VXResult: the status value of every operation that can fail. A chain of message texts,
// a code and a default log level; an error exactly when the code is above 2000.
#pragma once

#include <cstdint>
#include <system_error>

#include "VXResultCodes.h"
#include "VXSourceLocation.h"
#include "VXString.h"

class VXResult {
public:
    using CodeNameResolver = const char16_t* (*)(int32_t code);
    static constexpr const char16_t* kSeparator = u"\n\t";

    VXResult() = default;
    VXResult(int32_t code) : _code(code) {}  // NOLINT: a plain code converts on purpose
    template <typename... Args>
    VXResult(int32_t code, const char16_t* fmt, const Args&... args) : _code(code) {
        _message.format(fmt, args...);
    }
    // Re-code: a success code drops the cause's message; an error code adds
    // "Error (%d) "%s" returned at %s".
    VXResult(const VXResult& cause, int32_t newCode, const VXSourceLocation& site);
    // Re-code with a text: "%s, error (%d) "%s" at %s".
    template <typename... Args>
    VXResult(const VXResult& cause, int32_t newCode, const VXSourceLocation& site, const char16_t* fmt,
             const Args&... args)
        : _message(cause._message), _code(newCode) {
        addContext(u"%s, error (%d) \"%s\" at %s", vxFormat(fmt, args...), newCode, codeName(newCode),
                   site.text());
    }
    // Pass on with a text: "%s at %s"; code and level kept.
    template <typename... Args>
    VXResult(const VXResult& cause, const VXSourceLocation& site, const char16_t* fmt, const Args&... args)
        : _message(cause._message), _code(cause._code), _defaultLevel(cause._defaultLevel) {
        addContext(u"%s at %s", vxFormat(fmt, args...), site.text());
    }
    // Fresh with a text: "%s at %s".
    template <typename... Args>
    VXResult(int32_t code, const VXSourceLocation& site, const char16_t* fmt, const Args&... args)
        : _code(code) {
        addContext(u"%s at %s", vxFormat(fmt, args...), site.text());
    }

    bool isError() const { return _code > VXError::eNoError; }
    bool isSuccess() const { return !isError(); }
    int32_t code() const { return _code; }
    const VXString& message() const { return _message; }
    uint8_t defaultLevel() const { return _defaultLevel; }
    void setDefaultLevel(uint8_t level) { _defaultLevel = level; }

    // Adds "\n\t" (when there is a message already) and the text; false for a null format.
    template <typename... Args>
    bool addContext(const char16_t* fmt, const Args&... args) {
        if (fmt == nullptr)
            return false;
        addText_(vxFormat(fmt, args...));
        return true;
    }
    // Takes on another result's failure: "Appended: %s at %s%s[%s]".
    VXResult& append(const VXResult& other, const VXSourceLocation& site);
    // [prefix "\n\t"] "(%d) "%s"" ["\n\t" message]
    VXString describe(const char16_t* prefix = nullptr) const;
    // Logs at level 3 when this is an error; returns whether it was.
    bool logIfError(const VXSourceLocation& site) const;
    // The same for a bare code.
    static bool logIfError(int32_t code, const VXSourceLocation& site);

    static const char16_t* codeName(int32_t code);
    static void registerCodeNameResolver(CodeNameResolver resolver);
    static int32_t mapWin32Error(uint32_t error);
    static int32_t mapHResult(int32_t hr);
    static int32_t mapCrtError(int32_t error);
    // Puts the system's one-line text for a Win32 code in front of out.
    static void formatWin32Message(uint32_t error, VXString& out);

    static VXResult fromWin32Error(const char16_t* method, uint32_t error);
    static VXResult fromHResult(const char16_t* method, int32_t hr);
    static VXResult fromCrtError(const char16_t* method, int32_t error);
    static VXResult fromSystemError(const std::system_error& error);
    // The same, with "Error returned to %s" added for the site. The Win32 and HRESULT forms
    // serve error sites, where the call reported failure: a value that maps to success (Win32
    // error 0, S_OK with no object) becomes 2020 with the same text, never a success.
    static VXResult fromWin32Error(const char16_t* method, uint32_t error, const VXSourceLocation& site);
    static VXResult fromHResult(const char16_t* method, int32_t hr, const VXSourceLocation& site,
                                int32_t overrideCode = 0);
    static VXResult fromCrtError(const char16_t* method, int32_t error, const VXSourceLocation& site);
    // 2005 "Parameter check "%s" failed at %s."
    static VXResult badParameter(const char* expression, const VXSourceLocation& site);

private:
    void addText_(const VXString& text);

    VXString _message;
    int32_t _code = VXError::eNoError;
    uint8_t _defaultLevel = 0;
};

inline bool vxIsError(const VXResult& r) {
    return r.isError();
}
