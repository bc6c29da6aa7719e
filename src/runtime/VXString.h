// VXString: the system's text type. UTF-16 code units with a 16-bit length, so no text is
// longer than 65,534 characters; operations that would exceed that refuse and change nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <locale>
#include <string>
#include <string_view>

#include "VXFormatArg.h"

class VXResult;

// Where a string's buffer comes from. A string without one uses the process heap.
class IVXAllocator {
public:
    virtual ~IVXAllocator() = default;
    virtual void* allocate(size_t bytes) = 0;
    virtual void* reallocate(void* buffer, size_t bytes) = 0;
    virtual void release(void* buffer) = 0;
};

class VXString {
public:
    static constexpr uint32_t kMaxLength = 65534;
    static constexpr int32_t kDefaultDoublePrecision = 6;  // as "%g"

    VXString() noexcept;
    // Empty; every buffer it ever holds comes from and goes back to allocator.
    explicit VXString(IVXAllocator* allocator) noexcept;
    VXString(const char16_t* text);  // null reads "(null)"
    VXString(const char16_t* text, int32_t count);
    VXString(char16_t ch, int32_t count);
    VXString(std::u16string_view text);
    // printf "%.*g"; a precision above 17 is a fatal precondition (clamped when execution continues).
    VXString(double value, int32_t precision);
    // The same number as the locale writes it (its decimal point and digit grouping).
    VXString(double value, const std::locale& locale, int32_t precision = kDefaultDoublePrecision);
    VXString(const VXString& other);
    VXString(VXString&& other) noexcept;
    ~VXString();

    VXString& operator=(const VXString& other);
    VXString& operator=(VXString&& other) noexcept;
    VXString& operator=(const char16_t* text);
    VXString& operator+=(const VXString& other);
    VXString& operator+=(const char16_t* text);
    VXString& operator+=(char16_t ch);

    // UTF-8 (invalid bytes taken as Latin-1) in and out: for narrow names and native logs.
    static VXString fromUtf8(std::string_view text);
    std::string toUtf8() const;
#ifdef _WIN32
    static VXString fromWide(const wchar_t* text) {
        return VXString(reinterpret_cast<const char16_t*>(text));
    }
    const wchar_t* wstr() const {
        return reinterpret_cast<const wchar_t*>(_buffer);
    }

    // The module (an HINSTANCE) whose string table formatFromResource reads; null forgets it.
    static void setInstance(void* module);
    // format with string resource id of that module as the format. False, logged, when no
    // module was set, the resource is missing or the text cannot be formatted.
    template <typename... Args>
    bool formatFromResource(uint32_t id, const Args&... args) {
        const VXFormatArg list[] = {VXFormatArg(args)..., VXFormatArg(0)};
        return formatFromResourceArgs(id, list, sizeof...(Args));
    }
    bool formatFromResourceArgs(uint32_t id, const VXFormatArg* args, size_t count);
    // String resource id of module, or of the executable when module is null.
    static VXResult fromRes(uint32_t id, VXString& out, void* module = nullptr);
#endif

    const char16_t* c_str() const {
        return _buffer;
    }
    uint32_t length() const {
        return _length;
    }
    bool isEmpty() const {
        return _length == 0;
    }
    std::u16string_view view() const {
        return {_buffer, _length};
    }
    char16_t operator[](uint32_t index) const {
        return index < _length ? _buffer[index] : u'\0';
    }

    // count < 0 takes the text up to its terminator. False, unchanged, for a null source or
    // when the result would exceed the limit. The source may lie inside this string.
    bool append(const char16_t* text, int32_t count = -1);
    bool append(const VXString& other) {
        return append(other._buffer, static_cast<int32_t>(other._length));
    }
    bool append(char16_t ch) {
        return append(&ch, 1);
    }
    bool appendUtf8(std::string_view text);
    bool prepend(const char16_t* text, int32_t count = -1);
    bool prepend(const VXString& other) {
        return prepend(other._buffer, static_cast<int32_t>(other._length));
    }
    bool assign(const char16_t* text, int32_t count = -1);
    void clear();

    // Replaces the contents with the formatted text; false for a null format.
    template <typename... Args>
    bool format(const char16_t* fmt, const Args&... args) {
        const VXFormatArg list[] = {VXFormatArg(args)..., VXFormatArg(0)};
        return formatArgs(fmt, list, sizeof...(Args));
    }
    bool formatArgs(const char16_t* fmt, const VXFormatArg* args, size_t count);
    template <typename... Args>
    bool appendFormat(const char16_t* fmt, const Args&... args) {
        const VXFormatArg list[] = {VXFormatArg(args)..., VXFormatArg(0)};
        return appendFormatArgs(fmt, list, sizeof...(Args));
    }
    bool appendFormatArgs(const char16_t* fmt, const VXFormatArg* args, size_t count);

    VXResult substr(int32_t start, VXString& out) const;
    VXResult substr(int32_t start, int32_t count, VXString& out) const;
    VXResult replaceFirst(const char16_t* oldText, const char16_t* newText);
    VXResult replaceAll(const char16_t* oldText, const char16_t* newText);
    // Signed long in the radix (2..36); trailing characters after the number are ignored.
    VXResult toInt(int32_t radix, int32_t& value) const;
    int32_t find(const char16_t* text, uint32_t from = 0) const;  // -1 when absent
    int32_t find(char16_t ch, uint32_t from = 0) const;
    VXString& trim();
    VXString& trimLeft();
    VXString& trimRight();
    VXResult endsWith(const char16_t* text) const;  // VXStatus::eYes / eNo
    bool startsWith(const char16_t* text) const;
    // Folds A-Z only, as command-line switches are compared.
    int32_t compareNoCase(const char16_t* text) const;
    bool equalsNoCase(const char16_t* text) const {
        return compareNoCase(text) == 0;
    }
    VXString& makeLower();
    VXString& removeChars(const char16_t* chars);

    // Direct access for system calls that fill the buffer: at least size + 1 code units.
    // releaseWritableBuffer sets the length (or finds the terminator when given -1).
    char16_t* getWritableBuffer(uint32_t size);
    void releaseWritableBuffer(int32_t length = -1);
    // Copies with the terminator when the buffer is large enough; returns length + 1 (the
    // size needed) when buffer is null, 0 when it is too small.
    uint32_t copyTo(char16_t* buffer, uint32_t size) const;

    IVXAllocator* allocator() const {
        return _allocator;
    }

    void setSecure(bool secure) {
        _secure = secure;
    }
    bool isSecure() const {
        return _secure;
    }
    // What a log may show: "(secure)" for a secure string.
    const char16_t* printable() const {
        return _secure ? u"(secure)" : _buffer;
    }

    int32_t compare(const VXString& other) const;
    bool operator==(const VXString& other) const {
        return view() == other.view();
    }
    bool operator==(const char16_t* text) const;
    bool operator<(const VXString& other) const {
        return compare(other) < 0;
    }

private:
    bool reserve_(uint32_t needed);  // capacity for needed code units, terminator included
    void release_();

    IVXAllocator* _allocator = nullptr;
    char16_t* _buffer;
    uint16_t _capacity = 0;
    uint16_t _length = 0;
    bool _secure = false;
};

VXString operator+(const VXString& a, const VXString& b);

// Formats into a new string (empty for a null format).
template <typename... Args>
VXString vxFormat(const char16_t* fmt, const Args&... args) {
    VXString out;
    out.format(fmt, args...);
    return out;
}
