// The printf-style formatter behind VXString::format. It reads its arguments from typed
// VXFormatArg records, so that %s means UTF-16 text on every platform (vswprintf would read
// a narrow string on glibc) and a wrong or missing argument never reads stray memory.
#include <cstdio>
#include <cstring>
#include <string>

#include "VXString.h"

namespace {

struct Directive {
    bool left = false, plus = false, space = false, alt = false, zero = false;
    int width = 0;
    int precision = -1;
    bool wide64 = false;      // ll, I64, j, z, t
    bool narrowText = false;  // h on %s
    char16_t conversion = 0;
};

void pad(std::u16string& out, size_t n, char16_t c) {
    out.append(n, c);
}

void emitPadded(std::u16string& out, const Directive& directive, std::u16string_view body) {
    const size_t width = directive.width > 0 ? static_cast<size_t>(directive.width) : 0;
    if (!directive.left && body.size() < width)
        pad(out, width - body.size(), u' ');
    out.append(body);
    if (directive.left && body.size() < width)
        pad(out, width - body.size(), u' ');
}

std::u16string widen(const char* text, int maxChars) {
    VXString s = VXString::fromUtf8(text);
    std::u16string out(s.view());
    if (maxChars >= 0 && out.size() > static_cast<size_t>(maxChars))
        out.resize(static_cast<size_t>(maxChars));
    return out;
}

void emitText(std::u16string& out, const Directive& directive, const VXFormatArg* arg) {
    std::u16string body;
    if (arg == nullptr) {
        body = u"";
    } else if (arg->kind == VXFormatArg::Kind::eText16 || arg->kind == VXFormatArg::Kind::eString) {
        const char16_t* text = arg->kind == VXFormatArg::Kind::eString ? arg->s->printable() : arg->t16;
        if (text == nullptr)
            text = u"(null)";
        std::u16string_view v(text);
        if (directive.precision >= 0 && v.size() > static_cast<size_t>(directive.precision))
            v = v.substr(0, directive.precision);
        body.assign(v);
    } else if (arg->kind == VXFormatArg::Kind::eText8) {
        body = widen(arg->t8 ? arg->t8 : "(null)", directive.precision);
    } else if (arg->kind == VXFormatArg::Kind::ePointer && arg->p == nullptr) {
        body = u"(null)";
    } else {
        body = u"(bad arg)";
    }
    emitPadded(out, directive, body);
}

void emitInteger(std::u16string& out, const Directive& directive, const VXFormatArg* arg) {
    if (arg == nullptr)
        return;  // a missing argument prints nothing rather than a made-up 0
    uint64_t bits = 0;
    unsigned bytes = 4;
    {
        switch (arg->kind) {
            case VXFormatArg::Kind::eSigned:
            case VXFormatArg::Kind::eUnsigned:
                bits = arg->u;
                bytes = arg->bytes;
                break;
            case VXFormatArg::Kind::eDouble:
                bits = static_cast<uint64_t>(static_cast<int64_t>(arg->d));
                bytes = 8;
                break;
            default:
                bits = reinterpret_cast<uintptr_t>(arg->p);
                bytes = sizeof(void*);
                break;
        }
    }
    // A 32-bit conversion of a value that came as 64 bits keeps all of it: the caller
    // passed the wider type on purpose, and truncating would hide the value.
    const bool is64 = directive.wide64 || bytes > 4 || directive.conversion == u'p';
    const char16_t conv = directive.conversion;
    const bool isSigned = conv == u'd' || conv == u'i';
    bool negative = false;
    uint64_t magnitude;
    if (is64) {
        magnitude = bits;
        if (isSigned && static_cast<int64_t>(bits) < 0)
            negative = true, magnitude = 0 - bits;
    } else {
        const auto low = static_cast<uint32_t>(bits);
        magnitude = low;
        if (isSigned && static_cast<int32_t>(low) < 0)
            negative = true,
            magnitude = 0u - static_cast<uint64_t>(static_cast<int64_t>(static_cast<int32_t>(low)));
    }
    unsigned base = 10;
    const char* digitsSet = "0123456789abcdef";
    if (conv == u'x')
        base = 16;
    if (conv == u'X' || conv == u'p')
        base = 16, digitsSet = "0123456789ABCDEF";
    if (conv == u'o')
        base = 8;

    std::u16string digits;
    for (uint64_t v = magnitude; v != 0; v /= base)
        digits.insert(digits.begin(), static_cast<char16_t>(digitsSet[v % base]));
    int precision = directive.precision;
    if (conv == u'p')
        precision = 16;  // the Windows form: all 16 hex digits, no prefix
    if (precision < 0) {
        if (digits.empty())
            digits = u"0";
    } else if (digits.size() < static_cast<size_t>(precision)) {
        digits.insert(0, static_cast<size_t>(precision) - digits.size(), u'0');
    }
    std::u16string prefix;
    if (negative) {
        prefix = u"-";
    } else if (isSigned && directive.plus) {
        prefix = u"+";
    } else if (isSigned && directive.space) {
        prefix = u" ";
    }
    if (directive.alt && magnitude != 0 && conv != u'p') {
        if (conv == u'x')
            prefix += u"0x";
        if (conv == u'X')
            prefix += u"0X";
        if (conv == u'o' && digits[0] != u'0')
            digits.insert(0, 1, u'0');
    }
    const size_t width = directive.width > 0 ? static_cast<size_t>(directive.width) : 0;
    if (directive.zero && !directive.left && directive.precision < 0 &&
        prefix.size() + digits.size() < width) {
        digits.insert(0, width - prefix.size() - digits.size(), u'0');
    }
    emitPadded(out, directive, prefix + digits);
}

void emitDouble(std::u16string& out, const Directive& directive, const VXFormatArg* arg) {
    double value = 0.0;
    if (arg != nullptr) {
        if (arg->kind == VXFormatArg::Kind::eDouble)
            value = arg->d;
        if (arg->kind == VXFormatArg::Kind::eSigned)
            value = static_cast<double>(arg->i);
        if (arg->kind == VXFormatArg::Kind::eUnsigned)
            value = static_cast<double>(arg->u);
    }
    char narrowSpec[32];
    char* p = narrowSpec;
    *p++ = '%';
    if (directive.left)
        *p++ = '-';
    if (directive.plus)
        *p++ = '+';
    if (directive.space)
        *p++ = ' ';
    if (directive.alt)
        *p++ = '#';
    if (directive.zero)
        *p++ = '0';
    *p++ = '*';
    *p++ = '.';
    *p++ = '*';
    *p++ = static_cast<char>(directive.conversion);
    *p = '\0';
    char buffer[512];
    const int precision = directive.precision < 0 ? 6 : (directive.precision > 60 ? 60 : directive.precision);
    const int width = directive.width > 200 ? 200 : directive.width;
    std::snprintf(buffer, sizeof buffer, narrowSpec, width, precision, value);
    out += widen(buffer, -1);
}

int readNumber(const char16_t*& f) {
    int n = 0;
    while (*f >= u'0' && *f <= u'9') {
        if (n < 100000)
            n = n * 10 + (*f - u'0');
        ++f;
    }
    return n;
}

int argAsInt(const VXFormatArg* arg) {
    if (arg == nullptr)
        return 0;
    if (arg->kind == VXFormatArg::Kind::eSigned || arg->kind == VXFormatArg::Kind::eUnsigned) {
        return static_cast<int>(arg->i);
    }
    return 0;
}

}  // namespace

bool VXString::appendFormatArgs(const char16_t* fmt, const VXFormatArg* args, size_t count) {
    if (fmt == nullptr)
        return false;
    std::u16string out;
    size_t next = 0;
    auto take = [&]() -> const VXFormatArg* { return next < count ? &args[next++] : nullptr; };
    for (const char16_t* f = fmt; *f;) {
        if (*f != u'%') {
            const char16_t* start = f;
            while (*f && *f != u'%')
                ++f;
            out.append(start, static_cast<size_t>(f - start));
            continue;
        }
        const char16_t* directiveStart = f++;
        if (*f == u'%') {
            out.push_back(u'%');
            ++f;
            continue;
        }
        Directive directive;
        for (;; ++f) {
            if (*f == u'-')
                directive.left = true;
            else if (*f == u'+')
                directive.plus = true;
            else if (*f == u' ')
                directive.space = true;
            else if (*f == u'#')
                directive.alt = true;
            else if (*f == u'0')
                directive.zero = true;
            else
                break;
        }
        if (*f == u'*') {
            directive.width = argAsInt(take());
            if (directive.width < 0)
                directive.left = true, directive.width = -directive.width;
            ++f;
        } else {
            directive.width = readNumber(f);
        }
        if (*f == u'.') {
            ++f;
            if (*f == u'*') {
                directive.precision = argAsInt(take());
                ++f;
            } else {
                directive.precision = readNumber(f);
            }
        }
        for (bool more = true; more;) {
            switch (*f) {
                case u'h':
                    directive.narrowText = true, ++f;
                    break;
                case u'l':
                    ++f;
                    if (*f == u'l')
                        directive.wide64 = true, ++f;
                    break;
                case u'j':
                case u'z':
                case u't':
                case u'L':
                case u'q':
                    directive.wide64 = true, ++f;
                    break;
                case u'I':
                    if (f[1] == u'6' && f[2] == u'4')
                        directive.wide64 = true, f += 3;
                    else if (f[1] == u'3' && f[2] == u'2')
                        f += 3;
                    else
                        directive.wide64 = true, ++f;
                    break;
                case u'w':
                    ++f;
                    break;
                default:
                    more = false;
            }
        }
        directive.conversion = *f;
        if (*f)
            ++f;
        switch (directive.conversion) {
            case u'd':
            case u'i':
            case u'u':
            case u'x':
            case u'X':
            case u'o':
            case u'p':
                emitInteger(out, directive, take());
                break;
            case u'f':
            case u'F':
            case u'e':
            case u'E':
            case u'g':
            case u'G':
            case u'a':
            case u'A':
                emitDouble(out, directive, take());
                break;
            case u's':
            case u'S':
                emitText(out, directive, take());
                break;
            case u'c':
            case u'C': {
                const VXFormatArg* a = take();
                const char16_t c = static_cast<char16_t>(argAsInt(a));
                emitPadded(out, directive, std::u16string_view(&c, c ? 1 : 0));
                break;
            }
            default:  // unknown conversion: keep the text as written
                out.append(directiveStart, static_cast<size_t>(f - directiveStart));
                break;
        }
        if (out.size() > kMaxLength)
            break;
    }
    if (out.size() + _length > kMaxLength)
        out.resize(kMaxLength - _length);  // cut, never refuse
    return append(out.data(), static_cast<int32_t>(out.size()));
}
