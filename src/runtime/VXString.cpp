#include "VXString.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <sstream>

#include "VXChecks.h"
#include "VXLog.h"
#include "VXResult.h"

namespace {

// Every empty string points here, so that c_str() is never null and nothing is allocated.
char16_t kEmptyText[1] = {u'\0'};
constexpr char16_t kWhitespace[] = u" \n\r\t";
constexpr int32_t kMaxDoublePrecision = 17;

uint32_t textLength(const char16_t* text) {
    uint32_t n = 0;
    while (text[n] != u'\0')
        ++n;
    return n;
}

bool isIn(char16_t c, const char16_t* set) {
    for (; *set; ++set) {
        if (*set == c)
            return true;
    }
    return false;
}

char16_t foldAscii(char16_t c) {
    return (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c + 32) : c;
}

void* allocateWith(IVXAllocator* allocator, size_t bytes) {
    return allocator != nullptr ? allocator->allocate(bytes) : std::malloc(bytes);
}

void* reallocateWith(IVXAllocator* allocator, void* buffer, size_t bytes) {
    return allocator != nullptr ? allocator->reallocate(buffer, bytes) : std::realloc(buffer, bytes);
}

void releaseWith(IVXAllocator* allocator, void* buffer) {
    if (allocator != nullptr) {
        allocator->release(buffer);
    } else {
        std::free(buffer);
    }
}

int32_t checkedPrecision(int32_t precision, const VXSourceLocation& site) {
    if (precision > kMaxDoublePrecision) {
        VXAssert::failed(site);
        VXPlatform::raiseFatalPrecondition();
        precision = kMaxDoublePrecision;
    }
    return precision;
}

VXResult stringError(int32_t code, const char16_t* fmt, const char16_t* where) {
    VXResult r(code, fmt, where);
    VX_LOG(VXLogLevel::eError, u"%s", r.message());
    return r;
}

}  // namespace

VXString::VXString() noexcept : _buffer(kEmptyText) {}

VXString::VXString(const char16_t* text) : _buffer(kEmptyText) {
    assign(text ? text : u"(null)");
}

VXString::VXString(const char16_t* text, int32_t count) : _buffer(kEmptyText) {
    assign(text, count);
}

VXString::VXString(char16_t ch, int32_t count) : _buffer(kEmptyText) {
    if (count <= 0 || static_cast<uint32_t>(count) > kMaxLength ||
        !reserve_(static_cast<uint32_t>(count) + 1)) {
        return;
    }
    std::fill(_buffer, _buffer + count, ch);
    _length = static_cast<uint16_t>(count);
    _buffer[_length] = u'\0';
}

VXString::VXString(std::u16string_view text) : _buffer(kEmptyText) {
    if (text.size() <= kMaxLength)
        append(text.data(), static_cast<int32_t>(text.size()));
}

VXString::VXString(IVXAllocator* allocator) noexcept : _allocator(allocator), _buffer(kEmptyText) {}

VXString::VXString(double value, int32_t precision) : _buffer(kEmptyText) {
    precision = checkedPrecision(precision, VX_SITE);
    char narrow[64];
    std::snprintf(narrow, sizeof narrow, "%.*g", precision, value);
    appendUtf8(narrow);
}

VXString::VXString(double value, const std::locale& locale, int32_t precision) : _buffer(kEmptyText) {
    precision = checkedPrecision(precision, VX_SITE);
    std::ostringstream text;
    text.imbue(locale);
    text << std::setprecision(precision) << value;
    appendUtf8(text.str());
}

VXString::VXString(const VXString& other) : _buffer(kEmptyText), _secure(other._secure) {
    append(other);
}

VXString::VXString(VXString&& other) noexcept
    : _allocator(other._allocator),
      _buffer(other._buffer),
      _capacity(other._capacity),
      _length(other._length),
      _secure(other._secure) {
    other._buffer = kEmptyText;
    other._capacity = 0;
    other._length = 0;
}

VXString::~VXString() {
    release_();
}

void VXString::release_() {
    if (_capacity != 0)
        releaseWith(_allocator, _buffer);
    _buffer = kEmptyText;
    _capacity = 0;
    _length = 0;
}

bool VXString::reserve_(uint32_t needed) {
    if (needed > kMaxLength + 1)
        return false;
    if (needed <= _capacity)
        return true;
    uint32_t grown = std::max<uint32_t>(needed, _capacity + _capacity / 2);
    grown = std::min<uint32_t>(std::max<uint32_t>(grown, 16), kMaxLength + 1);
    void* fresh = _capacity != 0 ? reallocateWith(_allocator, _buffer, grown * sizeof(char16_t))
                                 : allocateWith(_allocator, grown * sizeof(char16_t));
    if (fresh == nullptr)
        return false;
    if (_capacity == 0)
        static_cast<char16_t*>(fresh)[0] = u'\0';
    _buffer = static_cast<char16_t*>(fresh);
    _capacity = static_cast<uint16_t>(grown);
    return true;
}

VXString& VXString::operator=(const VXString& other) {
    if (this != &other && !assign(other._buffer, static_cast<int32_t>(other._length))) {
        VX_LOG(VXLogLevel::eError, u"Failure in VXString = operator");
        // The old contents stay, and so does their flag.
        _secure = _secure || other._secure;
        return *this;
    }
    _secure = other._secure;
    return *this;
}

VXString& VXString::operator=(VXString&& other) noexcept {
    if (this == &other)
        return *this;
    if (_allocator != other._allocator) {
        // A buffer always goes back to the allocator it came from: take a copy instead.
        if (!assign(other._buffer, static_cast<int32_t>(other._length))) {
            VX_LOG(VXLogLevel::eError, u"Failure in VXString = operator");
            _secure = _secure || other._secure;
            return *this;
        }
        _secure = other._secure;
        return *this;
    }
    release_();
    std::swap(_buffer, other._buffer);
    std::swap(_capacity, other._capacity);
    std::swap(_length, other._length);
    _secure = other._secure;
    return *this;
}

VXString& VXString::operator=(const char16_t* text) {
    if (!assign(text ? text : u"(null)"))
        VX_LOG(VXLogLevel::eError, u"Failure in VXString = operator");
    return *this;
}

VXString& VXString::operator+=(const VXString& other) {
    if (!append(other))
        VX_LOG(VXLogLevel::eError, u"Failure in VXString += operator");
    return *this;
}

VXString& VXString::operator+=(const char16_t* text) {
    if (!append(text))
        VX_LOG(VXLogLevel::eError, u"Failure in VXString += operator");
    return *this;
}

VXString& VXString::operator+=(char16_t ch) {
    if (!append(ch))
        VX_LOG(VXLogLevel::eError, u"Failure in VXString += operator");
    return *this;
}

bool VXString::append(const char16_t* text, int32_t count) {
    if (text == nullptr)
        return false;
    const uint32_t n = count < 0 ? textLength(text) : static_cast<uint32_t>(count);
    if (n == 0)
        return true;
    if (static_cast<uint64_t>(_length) + n + 1 > kMaxLength + 1)
        return false;
    // A source inside our own buffer moves when the buffer grows: keep its offset.
    const bool inside = text >= _buffer && text < _buffer + _capacity;
    const size_t offset = inside ? static_cast<size_t>(text - _buffer) : 0;
    if (!reserve_(_length + n + 1))
        return false;
    if (inside)
        text = _buffer + offset;
    std::memmove(_buffer + _length, text, n * sizeof(char16_t));
    _length = static_cast<uint16_t>(_length + n);
    _buffer[_length] = u'\0';
    return true;
}

bool VXString::prepend(const char16_t* text, int32_t count) {
    if (text == nullptr)
        return false;
    const uint32_t n = count < 0 ? textLength(text) : static_cast<uint32_t>(count);
    if (n == 0)
        return true;
    if (static_cast<uint64_t>(_length) + n + 1 > kMaxLength + 1)
        return false;
    std::u16string copy(text, n);  // the source may lie in the part we are about to move
    if (!reserve_(_length + n + 1))
        return false;
    std::memmove(_buffer + n, _buffer, (_length + 1) * sizeof(char16_t));
    std::memcpy(_buffer, copy.data(), n * sizeof(char16_t));
    _length = static_cast<uint16_t>(_length + n);
    return true;
}

bool VXString::assign(const char16_t* text, int32_t count) {
    if (text == nullptr)
        return false;
    const uint32_t n = count < 0 ? textLength(text) : static_cast<uint32_t>(count);
    if (n > kMaxLength)
        return false;
    if (text >= _buffer && text < _buffer + _capacity) {
        // Part of our own text: still ours, flag and all.
        VXString copy(text, static_cast<int32_t>(n));
        copy._secure = _secure;
        *this = std::move(copy);
        return true;
    }
    if (n == 0) {
        clear();
        return true;
    }
    if (!reserve_(n + 1))
        return false;
    std::memcpy(_buffer, text, n * sizeof(char16_t));
    _length = static_cast<uint16_t>(n);
    _buffer[_length] = u'\0';
    return true;
}

void VXString::clear() {
    _length = 0;
    if (_capacity != 0)
        _buffer[0] = u'\0';
}

VXString VXString::fromUtf8(std::string_view text) {
    VXString out;
    out.appendUtf8(text);
    return out;
}

bool VXString::appendUtf8(std::string_view text) {
    std::u16string wide;
    wide.reserve(text.size());
    for (size_t i = 0; i < text.size();) {
        const auto b0 = static_cast<unsigned char>(text[i]);
        uint32_t cp = b0;
        size_t extra = 0;
        if (b0 >= 0xC0 && b0 < 0xE0) {
            cp = b0 & 0x1Fu, extra = 1;
        } else if (b0 >= 0xE0 && b0 < 0xF0) {
            cp = b0 & 0x0Fu, extra = 2;
        } else if (b0 >= 0xF0 && b0 < 0xF8) {
            cp = b0 & 0x07u, extra = 3;
        }
        bool valid = b0 < 0x80 || extra > 0;
        for (size_t k = 1; valid && k <= extra; ++k) {
            if (i + k >= text.size() || (static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) {
                valid = false;
            } else {
                cp = (cp << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3Fu);
            }
        }
        if (!valid) {  // a stray byte is taken as Latin-1 rather than dropped
            wide.push_back(static_cast<char16_t>(b0));
            ++i;
            continue;
        }
        if (cp >= 0x10000) {
            cp -= 0x10000;
            wide.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
            wide.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
        } else {
            wide.push_back(static_cast<char16_t>(cp));
        }
        i += extra + 1;
    }
    if (wide.size() + _length > kMaxLength)
        return false;
    return append(wide.data(), static_cast<int32_t>(wide.size()));
}

std::string VXString::toUtf8() const {
    std::string out;
    out.reserve(_length);
    for (uint32_t i = 0; i < _length; ++i) {
        uint32_t cp = _buffer[i];
        if (cp >= 0xD800 && cp < 0xDC00 && i + 1 < _length && _buffer[i + 1] >= 0xDC00 &&
            _buffer[i + 1] < 0xE000) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (_buffer[i + 1] - 0xDC00u);
            ++i;
        }
        if (cp < 0x80) {
            out.push_back(static_cast<char>(cp));
        } else if (cp < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else if (cp < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        }
    }
    return out;
}

bool VXString::formatArgs(const char16_t* fmt, const VXFormatArg* args, size_t count) {
    if (fmt == nullptr)
        return false;
    VXString out(_allocator);
    if (!out.appendFormatArgs(fmt, args, count))
        return false;
    *this = std::move(out);
    return true;
}

VXResult VXString::substr(int32_t start, VXString& out) const {
    if (start < 0 || static_cast<uint32_t>(start) > _length) {
        return stringError(VXError::eBadIndex, u"Bounds check failed in %s", u"VXString::substr(int32)");
    }
    if (!out.assign(_buffer + start, static_cast<int32_t>(_length) - start)) {
        return stringError(VXError::eNoMemory, u"Unexpected error in %s", u"VXString::substr(int32)");
    }
    return VXError::eNoError;
}

VXResult VXString::substr(int32_t start, int32_t count, VXString& out) const {
    const char16_t* where = u"VXString::substr(int32, int32)";
    if (count < 0)
        return stringError(VXError::eBadParameter, u"Negative length in %s", where);
    if (start < 0 || static_cast<int64_t>(start) + count > _length) {
        return stringError(VXError::eBadIndex, u"Bounds check failed in %s", where);
    }
    if (!out.assign(_buffer + start, count)) {
        return stringError(VXError::eNoMemory, u"Unexpected error in %s", where);
    }
    return VXError::eNoError;
}

int32_t VXString::find(const char16_t* text, uint32_t from) const {
    if (text == nullptr || from > _length)
        return -1;
    const size_t pos = view().find(std::u16string_view(text), from);
    return pos == std::u16string_view::npos ? -1 : static_cast<int32_t>(pos);
}

int32_t VXString::find(char16_t ch, uint32_t from) const {
    const size_t pos = view().find(ch, from);
    return pos == std::u16string_view::npos ? -1 : static_cast<int32_t>(pos);
}

VXResult VXString::replaceFirst(const char16_t* oldText, const char16_t* newText) {
    const char16_t* where = u"replaceFirst()";
    if (oldText == nullptr || newText == nullptr)
        return stringError(VXError::eNullPointer, u"NULL pointer in %s", where);
    if (*oldText == u'\0')
        return stringError(VXError::eBadParameter, u"Empty string in %s", where);
    const int32_t pos = find(oldText);
    if (pos < 0)
        return VXStatus::eNo;
    VXString out(_buffer, pos);
    const uint32_t oldLength = textLength(oldText);
    if (!out.append(newText) ||
        !out.append(_buffer + pos + oldLength, static_cast<int32_t>(_length - pos - oldLength))) {
        return stringError(VXError::eTooLong, u"Unexpected error in %s", where);
    }
    out._secure = _secure;
    *this = std::move(out);
    return VXError::eNoError;
}

VXResult VXString::replaceAll(const char16_t* oldText, const char16_t* newText) {
    const char16_t* where = u"replaceAll()";
    if (oldText == nullptr || newText == nullptr)
        return stringError(VXError::eNullPointer, u"NULL pointer in %s", where);
    if (*oldText == u'\0')
        return stringError(VXError::eBadParameter, u"Empty string in %s", where);
    const uint32_t oldLength = textLength(oldText);
    VXString out;
    uint32_t from = 0;
    bool found = false;
    for (int32_t pos = find(oldText, 0); pos >= 0; pos = find(oldText, from)) {
        found = true;
        if (!out.append(_buffer + from, static_cast<int32_t>(pos - from)) || !out.append(newText)) {
            return stringError(VXError::eTooLong, u"Unexpected error in %s", where);
        }
        from = static_cast<uint32_t>(pos) + oldLength;
    }
    if (!found)
        return VXStatus::eNo;
    if (!out.append(_buffer + from, static_cast<int32_t>(_length - from))) {
        return stringError(VXError::eTooLong, u"Unexpected error in %s", where);
    }
    out._secure = _secure;
    *this = std::move(out);
    return VXError::eNoError;
}

VXResult VXString::toInt(int32_t radix, int32_t& value) const {
    const char16_t* where = u"VXString::toInt()";
    if (radix < 2 || radix > 36) {
        VXResult r(VXError::eBadParameter, u"Radix %d in %s", radix, where);
        VX_LOG(VXLogLevel::eError, u"%s", r.message());
        return r;
    }
    // wcstol semantics: leading white space, a sign, then digits; "0x" is allowed in radix 16.
    uint32_t i = 0;
    while (i < _length && isIn(_buffer[i], u" \t\n\r\v\f"))
        ++i;
    bool negative = false;
    if (i < _length && (_buffer[i] == u'+' || _buffer[i] == u'-'))
        negative = _buffer[i++] == u'-';
    if (radix == 16 && i + 1 < _length && _buffer[i] == u'0' && foldAscii(_buffer[i + 1]) == u'x')
        i += 2;
    int64_t magnitude = 0;
    bool any = false;
    bool overflow = false;
    for (; i < _length; ++i) {
        const char16_t c = foldAscii(_buffer[i]);
        int32_t digit = -1;
        if (c >= u'0' && c <= u'9')
            digit = c - u'0';
        if (c >= u'a' && c <= u'z')
            digit = c - u'a' + 10;
        if (digit < 0 || digit >= radix)
            break;
        any = true;
        magnitude = magnitude * radix + digit;
        if (magnitude > static_cast<int64_t>(INT32_MAX) + 1)
            overflow = true, magnitude = static_cast<int64_t>(INT32_MAX) + 1;
    }
    if (!any) {
        VXResult r(VXError::eBadFormat, u"String \"%s\" not a number in %s", printable(), where);
        VX_LOG(VXLogLevel::eError, u"%s", r.message());
        return r;
    }
    // Out of range saturates, as strtol does.
    int64_t signedValue = negative ? -magnitude : magnitude;
    if (signedValue > INT32_MAX || (overflow && !negative))
        signedValue = INT32_MAX;
    value = static_cast<int32_t>(signedValue);
    return VXError::eNoError;
}

VXString& VXString::trimLeft() {
    uint32_t start = 0;
    while (start < _length && isIn(_buffer[start], kWhitespace))
        ++start;
    if (start > 0) {
        std::memmove(_buffer, _buffer + start, (_length - start + 1) * sizeof(char16_t));
        _length = static_cast<uint16_t>(_length - start);
    }
    return *this;
}

VXString& VXString::trimRight() {
    while (_length > 0 && isIn(_buffer[_length - 1], kWhitespace))
        --_length;
    if (_capacity != 0)
        _buffer[_length] = u'\0';
    return *this;
}

VXString& VXString::trim() {
    return trimLeft().trimRight();
}

VXResult VXString::endsWith(const char16_t* text) const {
    if (text == nullptr)
        return VXStatus::eNo;
    const uint32_t n = textLength(text);
    return n <= _length && view().substr(_length - n) == std::u16string_view(text, n) ? VXStatus::eYes
                                                                                      : VXStatus::eNo;
}

bool VXString::startsWith(const char16_t* text) const {
    return text != nullptr && view().substr(0, textLength(text)) == std::u16string_view(text);
}

int32_t VXString::compareNoCase(const char16_t* text) const {
    if (text == nullptr)
        return 1;
    for (uint32_t i = 0;; ++i) {
        const char16_t a = i < _length ? foldAscii(_buffer[i]) : u'\0';
        const char16_t b = foldAscii(text[i]);
        if (a != b)
            return a < b ? -1 : 1;
        if (a == u'\0')
            return 0;
    }
}

VXString& VXString::makeLower() {
    for (uint32_t i = 0; i < _length; ++i)
        _buffer[i] = foldAscii(_buffer[i]);
    return *this;
}

VXString& VXString::removeChars(const char16_t* chars) {
    uint32_t kept = 0;
    for (uint32_t i = 0; i < _length; ++i) {
        if (!isIn(_buffer[i], chars))
            _buffer[kept++] = _buffer[i];
    }
    _length = static_cast<uint16_t>(kept);
    if (_capacity != 0)
        _buffer[_length] = u'\0';
    return *this;
}

char16_t* VXString::getWritableBuffer(uint32_t size) {
    if (size > kMaxLength || !reserve_(size + 1)) {
        VX_LOG(VXLogLevel::eError, u"Failure in VXString::getWritableBuffer");
        return nullptr;
    }
    return _buffer;
}

void VXString::releaseWritableBuffer(int32_t length) {
    if (_capacity == 0)
        return;
    const uint32_t limit = _capacity - 1u;
    uint32_t n = 0;
    if (length < 0) {
        while (n < limit && _buffer[n] != u'\0')
            ++n;
    } else {
        n = std::min<uint32_t>(static_cast<uint32_t>(length), limit);
    }
    _length = static_cast<uint16_t>(n);
    _buffer[_length] = u'\0';
}

uint32_t VXString::copyTo(char16_t* buffer, uint32_t size) const {
    if (buffer == nullptr)
        return _length + 1u;
    if (size < _length + 1u)
        return 0;
    std::memcpy(buffer, _buffer, (_length + 1u) * sizeof(char16_t));
    return _length + 1u;
}

int32_t VXString::compare(const VXString& other) const {
    const int c = view().compare(other.view());
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

bool VXString::operator==(const char16_t* text) const {
    return text != nullptr && view() == std::u16string_view(text);
}

VXString operator+(const VXString& a, const VXString& b) {
    VXString out(a);
    out += b;
    return out;
}
