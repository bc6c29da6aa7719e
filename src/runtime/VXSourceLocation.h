// Where an error site is: "Class::method, file.cpp:42". The file is cut to its name and
// lower-cased, so locations read the same whatever path the compiler saw.
#pragma once

#include "VXFunctionName.h"

class VXSourceLocation {
public:
    static constexpr int kCapacity = 256;

    VXSourceLocation(const char* function, const char* file, int line);
    const char16_t* text() const { return _text; }

    // The file part of a path: after the last backslash or slash, lower-cased (A-Z only).
    static const char* fileName(const char* path);

private:
    char16_t _text[kCapacity];
};

#define VX_SITE ::VXSourceLocation(VX_FUNC, __FILE__, __LINE__)
// Parameter checks name no function: their location begins with ", ".
#define VX_SITE_NOFUNC ::VXSourceLocation("", __FILE__, __LINE__)
