#include "VXResult.h"

#include "VXLog.h"
#include "VXPlatform.h"

VXResult::VXResult(const VXResult& cause, int32_t newCode, const VXSourceLocation& site) : _code(newCode) {
    if (newCode <= VXError::eNoError)
        return;
    _message = cause._message;
    addContext(u"Error (%d) \"%s\" returned at %s", newCode, codeName(newCode), site.text());
}

void VXResult::addText_(const VXString& text) {
    // A text that would pass the string limit is left out rather than cut in the middle.
    VXString grown(_message);
    if (!grown.isEmpty() && !grown.append(kSeparator))
        return;
    if (!grown.append(text))
        return;
    _message = std::move(grown);
}

VXResult& VXResult::append(const VXResult& other, const VXSourceLocation& site) {
    if (!other.isError())
        return *this;
    if (!isError())
        _code = other._code;
    addContext(u"Appended: %s at %s%s[%s]", codeName(other._code), site.text(), kSeparator, other._message);
    return *this;
}

VXString VXResult::describe(const char16_t* prefix) const {
    VXString text;
    if (prefix != nullptr) {
        text.append(prefix);
        text.append(kSeparator);
    }
    text.appendFormat(u"(%d) \"%s\"", _code, codeName(_code));
    if (!_message.isEmpty()) {
        text.append(kSeparator);
        text.append(_message);
    }
    return text;
}

bool VXResult::logIfError(const VXSourceLocation& site) const {
    if (!isError())
        return false;
    VXLog::logResult(VXLogLevel::eError, site.text(), *this);
    return true;
}

bool VXResult::logIfError(int32_t code, const VXSourceLocation& site) {
    return VXResult(code).logIfError(site);
}

VXResult VXResult::fromWin32Error(const char16_t* method, uint32_t error) {
    if (static_cast<int32_t>(error) < 0)
        return fromHResult(method, static_cast<int32_t>(error));
    VXResult r(mapWin32Error(error));
    formatWin32Message(error, r._message);
    r._message.prepend(vxFormat(u"Method \"%s\" returned Win32 error [%d]. ", method ? method : u"<Unknown>",
                                static_cast<int32_t>(error)));
    return r;
}

VXResult VXResult::fromHResult(const char16_t* method, int32_t hr) {
    VXResult r(mapHResult(hr));
    formatWin32Message(static_cast<uint32_t>(hr), r._message);
    r._message.prepend(vxFormat(u"Method \"%s\" returned HRESULT [%#X]. ", method ? method : u"<Unknown>",
                                static_cast<uint32_t>(hr)));
    return r;
}

VXResult VXResult::fromWin32Error(const char16_t* method, uint32_t error, const VXSourceLocation& site) {
    VXResult r = fromWin32Error(method, error);
    // Some calls fail without setting a last error: the call said it failed, so must we.
    if (r.isSuccess())
        r._code = VXError::eUnexpected;
    r.addContext(u"Error returned to %s", site.text());
    return r;
}

VXResult VXResult::fromHResult(const char16_t* method, int32_t hr, const VXSourceLocation& site,
                               int32_t overrideCode) {
    VXResult r = fromHResult(method, hr);
    if (overrideCode != 0)
        r._code = overrideCode;
    // A success HRESULT that left its out-pointer empty still failed.
    if (r.isSuccess())
        r._code = VXError::eUnexpected;
    r.addContext(u"Error returned to %s", site.text());
    return r;
}

VXResult VXResult::fromCrtError(const char16_t* method, int32_t error, const VXSourceLocation& site) {
    VXResult r = fromCrtError(method, error);
    r.addContext(u"Error returned to %s", site.text());
    return r;
}

VXResult VXResult::badParameter(const char* expression, const VXSourceLocation& site) {
    return VXResult(VXError::eBadParameter, u"Parameter check \"%hs\" failed at %s.", expression,
                    site.text());
}
