// Base64 with the standard alphabet and '=' padding: the text form in which crash dumps
// travel through the log.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "VXResult.h"

class VXBase64 {
public:
    static std::string encode(const uint8_t* data, size_t size);
    // Skips blanks and line breaks; anything else outside the alphabet, a misplaced '=' or a
    // length that no encoder produces is 2017 (eBadFormat) and leaves out unchanged.
    static VXResult decode(std::string_view text, std::vector<uint8_t>& out);
};
