#include "VXSourceLocation.h"

namespace {

void put(char16_t* text, int& n, const char* s) {
    for (; s != nullptr && *s != '\0' && n < VXSourceLocation::kCapacity - 1; ++s) {
        text[n++] = static_cast<char16_t>(static_cast<unsigned char>(*s));
    }
}

}  // namespace

const char* VXSourceLocation::fileName(const char* path) {
    if (path == nullptr) return "";
    const char* name = path;
    for (const char* p = path; *p != '\0'; ++p) {
        if (*p == '\\' || *p == '/') name = p + 1;
    }
    return name;
}

VXSourceLocation::VXSourceLocation(const char* function, const char* file, int line) {
    int n = 0;
    put(_text, n, function);
    put(_text, n, ", ");
    const int fileStart = n;
    put(_text, n, fileName(file));
    for (int i = fileStart; i < n; ++i) {
        if (_text[i] >= u'A' && _text[i] <= u'Z') _text[i] = static_cast<char16_t>(_text[i] + 32);
    }
    char number[16];
    int digits = 0;
    unsigned value = line < 0 ? 0u : static_cast<unsigned>(line);
    do {
        number[digits++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0 && digits < 15);
    if (n < kCapacity - 1) _text[n++] = u':';
    while (digits > 0 && n < kCapacity - 1) _text[n++] = static_cast<char16_t>(number[--digits]);
    _text[n] = u'\0';
}
